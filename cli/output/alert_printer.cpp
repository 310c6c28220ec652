#include "output/alert_printer.h"

#include <algorithm>

#include "alerts/csv_text.h"
#include "alerts/visible_text.h"
#include "output/color.h"
#include "output/columns.h"
#include "output/out.h"

namespace qel::cli {

using AlertSpan = std::span<const ALERT_RECORD_INFO* const>;

class AlertPrinter::Form {
 public:
  explicit Form(const Presentation& presentation, Fields usual)
      : presentation_(presentation), fields_(presentation.fields) {
    if (fields_.empty()) fields_ = std::move(usual);
  }
  virtual ~Form() = default;
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;

  virtual std::string head() const { return {}; }
  virtual void prepare(AlertSpan) {}
  virtual std::string text(const ALERT_RECORD_INFO& alert) = 0;

 protected:
  const Fields& fields() const { return fields_; }
  std::string value(const ALERT_RECORD_INFO& alert, Field field) const {
    return field_value(alert, field, presentation_.zone);
  }
  // As it is, unless a terminal gets it.
  std::string data(const ALERT_RECORD_INFO& alert, Field field) const {
    return presentation_.terminal ? visible(value(alert, field)) : value(alert, field);
  }
  std::string painted(const ALERT_RECORD_INFO& alert, const std::string& line) const {
    return presentation_.color ? in_color_of(alert, line) : line;
  }
  const Presentation& presentation() const { return presentation_; }

 private:
  const Presentation presentation_;
  Fields fields_;
};

namespace {

using Form = AlertPrinter::Form;

const Fields kEveryField = {Field::kRaised, Field::kWritten, Field::kLevel, Field::kServer,
                            Field::kId,     Field::kModule,  Field::kEvent, Field::kMessage};
const Fields kTableFields = {Field::kRaised, Field::kLevel, Field::kServer, Field::kId,
                             Field::kModule, Field::kEvent, Field::kMessage};
const Fields kFullFields = {Field::kAlert,  Field::kRaised, Field::kWritten, Field::kLevel,
                            Field::kModule, Field::kEvent,  Field::kMessage};

class ShortForm : public Form {
 public:
  explicit ShortForm(const Presentation& presentation) : Form(presentation, {}) {}
  std::string text(const ALERT_RECORD_INFO& alert) override {
    const auto seen = [&](Field field) { return visible(value(alert, field)); };
    const std::string line = seen(Field::kRaised) + " " + seen(Field::kLevel) + " " +
                             seen(Field::kAlert) + " " + seen(Field::kModule) + "[" +
                             seen(Field::kEvent) + "]: " + seen(Field::kMessage);
    return painted(alert, line) + "\n";
  }
};

std::string title(Field field) {
  std::string text(field_name(field));
  text[0] = static_cast<char>(text[0] - 'a' + 'A');
  return text + ":";
}

class FullForm : public Form {
 public:
  explicit FullForm(const Presentation& presentation) : Form(presentation, kFullFields) {}
  std::string text(const ALERT_RECORD_INFO& alert) override {
    std::vector<Row> rows;
    for (const Field field : fields()) rows.push_back({title(field), value(alert, field)});
    std::string block = first_ ? "" : "\n";
    first_ = false;
    return block + align_columns(rows, 0);
  }

 private:
  bool first_ = true;
};

class TableForm : public Form {
 public:
  explicit TableForm(const Presentation& presentation)
      : Form(presentation, kTableFields), aligner_(presentation.width) {}
  // Titles wait for the first alerts, whose texts tell how wide the columns are.
  void prepare(AlertSpan alerts) override {
    if (alerts.empty()) return;
    std::vector<Row> rows = {titles()};
    for (const ALERT_RECORD_INFO* alert : alerts) rows.push_back(row(*alert));
    aligner_.fit(rows);
    if (!titled_) print(bold_titles() + "\n");
    titled_ = true;
  }
  std::string text(const ALERT_RECORD_INFO& alert) override {
    return painted(alert, aligner_.line(row(alert))) + "\n";
  }

 private:
  Row titles() const {
    Row row;
    for (const Field field : fields()) {
      std::string& text = row.emplace_back(field_name(field));
      std::transform(text.begin(), text.end(), text.begin(), toupper);
    }
    return row;
  }
  std::string bold_titles() const {
    const std::string line = aligner_.line(titles());
    return presentation().color ? in_bold(line) : line;
  }
  Row row(const ALERT_RECORD_INFO& alert) const {
    Row texts;
    for (const Field field : fields()) texts.push_back(visible(value(alert, field)));
    return texts;
  }

  ColumnAligner aligner_;
  bool titled_ = false;
};

class JsonForm : public Form {
 public:
  JsonForm(const Presentation& presentation, bool spread)
      : Form(presentation, kEveryField), spread_(spread) {}
  std::string text(const ALERT_RECORD_INFO& alert) override {
    Json object = Json::object();
    for (const Field field : fields()) {
      Json& member = object[std::string(field_name(field))];
      if (field == Field::kId) {
        member = alert.alert_id;
      } else {
        member = value(alert, field);
      }
    }
    return spread_ ? json_text(object) : json_line(object);
  }

 private:
  bool spread_;
};

std::string joined(const std::vector<std::string>& texts, const char* between) {
  std::string line;
  for (size_t i = 0; i < texts.size(); ++i) line += (i > 0 ? between : "") + texts[i];
  return line;
}

class CsvForm : public Form {
 public:
  explicit CsvForm(const Presentation& presentation) : Form(presentation, kEveryField) {}
  std::string head() const override {
    std::vector<std::string> names;
    for (const Field field : fields()) names.emplace_back(field_name(field));
    return joined(names, ",") + "\n";
  }
  std::string text(const ALERT_RECORD_INFO& alert) override {
    std::vector<std::string> values;
    for (const Field field : fields()) values.push_back(csv_value(data(alert, field)));
    return joined(values, ",") + "\n";
  }
};

class CatForm : public Form {
 public:
  explicit CatForm(const Presentation& presentation) : Form(presentation, {Field::kMessage}) {}
  std::string text(const ALERT_RECORD_INFO& alert) override {
    std::vector<std::string> texts;
    for (const Field field : fields()) texts.push_back(data(alert, field));
    return painted(alert, joined(texts, " ")) + "\n";
  }
};

struct NamedForm {
  std::string_view name;
  std::unique_ptr<Form> (*make)(const Presentation& presentation);
};

template <typename T, auto... options>
std::unique_ptr<Form> made(const Presentation& presentation) {
  return std::make_unique<T>(presentation, options...);
}

constexpr NamedForm kForms[] = {{"short", made<ShortForm>},
                                {"full", made<FullForm>},
                                {"table", made<TableForm>},
                                {"json", made<JsonForm, false>},
                                {"json-pretty", made<JsonForm, true>},
                                {"csv", made<CsvForm>},
                                {"cat", made<CatForm>}};

}  // namespace

std::vector<std::string> output_forms() {
  std::vector<std::string> names;
  for (const NamedForm& form : kForms) names.emplace_back(form.name);
  return names;
}

AlertPrinter::AlertPrinter(const Presentation& presentation) {
  const auto* const form =
      std::find_if(std::begin(kForms), std::end(kForms),
                   [&](const NamedForm& candidate) { return candidate.name == presentation.form; });
  form_ = form->make(presentation);
}

AlertPrinter::~AlertPrinter() = default;

void AlertPrinter::print_head() {
  if (!started_) print(form_->head());
  started_ = true;
}

void AlertPrinter::print_batch(AlertSpan alerts) {
  print_head();
  form_->prepare(alerts);
  for (const ALERT_RECORD_INFO* alert : alerts) print(form_->text(*alert));
}

}  // namespace qel::cli
