// Alerts and the state of the log as JSON and CSV.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "alert_types.h"
#include "log_view.h"

namespace qel::web {

using Json = nlohmann::ordered_json;  // members in the order in which they were added

// One line that is always valid UTF-8: other bytes become U+FFFD.
std::string json_text(const Json& document);

Json alert_json(const ALERT_RECORD_INFO& alert);

// Condition, cause, last good time, revision, fault of the indexes.
Json log_json(const LogView& view);

// "2024-01-31T23:59:59.123Z", or null.
Json utc_json(std::optional<LogView::Clock::time_point> time);

// Lines of CSV with their line ends. A value that a spreadsheet would take for a formula has an
// apostrophe before it; bytes that are no UTF-8 and control characters are shown as \xHH.
std::string csv_head();
std::string csv_line(const ALERT_RECORD_INFO& alert);

}  // namespace qel::web
