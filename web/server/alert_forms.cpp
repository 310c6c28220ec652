#include "alert_forms.h"

#include "alerts/csv_text.h"
#include "alerts/fields.h"
#include "alerts/record_text.h"
#include "alerts/time_text.h"
#include "alerts/visible_text.h"

namespace qel::web {
namespace {

constexpr Field kCsvFields[] = {Field::kAlert,  Field::kServer,  Field::kId,
                                Field::kEvent,  Field::kLevel,   Field::kModule,
                                Field::kRaised, Field::kWritten, Field::kMessage};

std::string guarded(std::string text) {
  constexpr std::string_view kFormulaBegins = "=+-@\t\r";
  if (!text.empty() && kFormulaBegins.find(text[0]) != std::string_view::npos) text.insert(0, "'");
  return text;
}

}  // namespace

std::string json_text(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json alert_json(const ALERT_RECORD_INFO& alert) {
  const std::optional<std::string> utc = utc_time(field_text(alert.szServerTime));
  return {{"alert", alert_name(alert)},
          {"server", field_text(alert.szServer)},
          {"id", alert.alert_id},
          {"event", field_text(alert.szEventID)},
          {"level", field_text(alert.szLevel)},
          {"module", field_text(alert.szModType)},
          {"raised", field_text(alert.szServerTime)},
          {"raised_utc", utc.has_value() ? Json(*utc) : Json()},
          {"written", field_text(alert.szWriteTime)},
          {"message", field_text(alert.szAlertMessage)}};
}

Json utc_json(std::optional<LogView::Clock::time_point> time) {
  using namespace std::chrono;
  if (!time.has_value()) return {};
  return utc_text(floor<milliseconds>(time->time_since_epoch()).count());
}

Json log_json(const LogView& view) {
  return {{"state", condition_name(view.condition())},
          {"cause", view.cause()},
          {"last_good", utc_json(view.last_good())},
          {"revision", view.revision()},
          {"index_fault", view.indexes().fault()}};
}

std::string csv_head() {
  std::string line;
  for (const Field field : kCsvFields) {
    line += (line.empty() ? "" : ",") + std::string(field_name(field));
  }
  return line + "\r\n";
}

std::string csv_line(const ALERT_RECORD_INFO& alert) {
  std::string line;
  for (const Field field : kCsvFields) {
    const std::string value = guarded(visible(field_value(alert, field, Zone::kLocal)));
    line += (field == kCsvFields[0] ? "" : ",") + csv_value(value);
  }
  return line + "\r\n";
}

}  // namespace qel::web
