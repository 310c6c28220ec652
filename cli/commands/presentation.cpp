#include "commands/presentation.h"

#include <vector>

#include "alerts/failure.h"
#include "alerts/visible_text.h"
#include "commands/options.h"
#include "output/color.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kGroup[] = "Output";

std::string field_list() { return joined(field_names(), ", "); }

ValueCheck known_field() {
  return [](std::string& text) {
    return field_by_name(text).has_value() ? std::string()
                                           : in_quotes(text) + " is not one of " + field_list();
  };
}

}  // namespace

void add_presentation_options(CLI::App& app, PresentationOptions& options, const char* usual_form) {
  add_choice(app, "-o,--output", options.form, output_forms(),
             "Form of the alerts (default: " + std::string(usual_form) + ")")
      .hides_default()
      .group(kGroup);
  const auto take_fields = [&options](const std::vector<std::string>& names) {
    for (const std::string& name : names) options.fields.push_back(*field_by_name(name));
  };
  add_option(app, "--fields", TakeValues(take_fields),
             "What is shown of each alert: " + field_list())
      .type_name("NAME")
      .delimiter(',')
      .one_each_time()
      .check(known_field())
      .group(kGroup);
  add_utc_option(app, options.utc);
  add_choice(app, "--color", options.color, {"auto", "always", "never"},
             "Levels in colours; auto, which is usual: on a terminal, unless NO_COLOR is set")
      .hides_default()
      .group(kGroup);
}

void add_utc_option(CLI::App& app, bool& utc) {
  add_flag(app, "--utc", utc, "Times as UTC, 2024-01-31T23:59:59.123Z").group(kGroup);
}

void add_pager_option(CLI::App& app, PresentationOptions& options) {
  add_flag(app, "--no-pager", options.no_pager,
           "Straight to the terminal, not through QELALERT_PAGER, PAGER or less")
      .group(kGroup);
}

Presentation presentation_of(const PresentationOptions& options, const char* usual_form) {
  Presentation presentation;
  presentation.form = !options.form.empty()    ? options.form
                      : options.fields.empty() ? usual_form
                                               : "table";
  if (presentation.form == "short" && !options.fields.empty()) {
    throw UsageError("--fields", "the form \"short\" has no choice of fields; use table");
  }
  presentation.fields = options.fields;
  presentation.zone = options.utc ? Zone::kUtc : Zone::kLocal;
  presentation.color = use_color(options.color);
  presentation.terminal = output_is_terminal();
  presentation.width = terminal_width();
  return presentation;
}

}  // namespace qel::cli
