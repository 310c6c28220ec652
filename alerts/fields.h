// The fields of an alert as the tool names and shows them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alert_types.h"

namespace qel {

enum class Field { kAlert, kId, kEvent, kLevel, kServer, kModule, kWritten, kRaised, kMessage };

using Fields = std::vector<Field>;

// "raised", "level" ...: names in options, JSON and CSV; the title of its column is the same in
// capital letters.
std::string_view field_name(Field field);
std::optional<Field> field_by_name(std::string_view name);
std::vector<std::string> field_names();

// How times are shown: as they are stored (local time), or as UTC in the form of RFC 3339.
enum class Zone { kLocal, kUtc };

// The text of a field as it stands in the record; a time that is none stays in any zone.
std::string field_value(const ALERT_RECORD_INFO& alert, Field field, Zone zone);

// "node1/17": how an alert is named.
std::string alert_name(const ALERT_RECORD_INFO& alert);

}  // namespace qel
