#include "alerts/fields.h"

#include <algorithm>
#include <iterator>

#include "alerts/record_text.h"
#include "alerts/time_text.h"

namespace qel {
namespace {

struct Named {
  Field field;
  std::string_view name;
};

constexpr Named kFields[] = {
    {Field::kAlert, "alert"},     {Field::kId, "id"},         {Field::kEvent, "event"},
    {Field::kLevel, "level"},     {Field::kServer, "server"}, {Field::kModule, "module"},
    {Field::kWritten, "written"}, {Field::kRaised, "raised"}, {Field::kMessage, "message"}};

template <size_t N>
std::string text_of(const char (&field)[N]) {
  return std::string(field_text(field));
}

std::string time_in(Zone zone, std::string stored) {
  if (zone == Zone::kLocal) return stored;
  return utc_time(stored).value_or(stored);
}

}  // namespace

std::string_view field_name(Field field) { return kFields[static_cast<size_t>(field)].name; }

std::optional<Field> field_by_name(std::string_view name) {
  const auto* found = std::find_if(std::begin(kFields), std::end(kFields),
                                   [name](const Named& named) { return named.name == name; });
  if (found == std::end(kFields)) return std::nullopt;
  return found->field;
}

std::vector<std::string> field_names() {
  std::vector<std::string> names;
  for (const Named& named : kFields) names.emplace_back(named.name);
  return names;
}

std::string field_value(const ALERT_RECORD_INFO& alert, Field field, Zone zone) {
  switch (field) {
    case Field::kAlert:
      return alert_name(alert);
    case Field::kId:
      return std::to_string(alert.alert_id);
    case Field::kEvent:
      return text_of(alert.szEventID);
    case Field::kLevel:
      return text_of(alert.szLevel);
    case Field::kServer:
      return text_of(alert.szServer);
    case Field::kModule:
      return text_of(alert.szModType);
    case Field::kWritten:
      return time_in(zone, text_of(alert.szWriteTime));
    case Field::kRaised:
      return time_in(zone, text_of(alert.szServerTime));
    case Field::kMessage:
      return text_of(alert.szAlertMessage);
  }
  return {};
}

std::string alert_name(const ALERT_RECORD_INFO& alert) {
  return text_of(alert.szServer) + "/" + std::to_string(alert.alert_id);
}

}  // namespace qel
