// Times as operators write them and as records hold them: local time, "2024/01/31 23:59:59.123".
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace qel::cli {

using Clock = std::chrono::system_clock;

// The stored form of a point in time; empty outside the years 1 to 9999.
std::string format_time(Clock::time_point time);

// The stored form of "YYYY/MM/DD HH:MM:SS" with or without ".mmm" (absent: ".000"); the date may
// have "-" in place of "/". Nothing when the text has another form or names no real time.
std::optional<std::string> parse_time(std::string_view text);

// As parse_time, for the ends of a period: also a date alone (its midnight), "today" and
// "yesterday" (their midnight), "now", and "-" with a number and one of s, sec, m, min, h, d, w: so
// long before `now`.
std::optional<std::string> parse_bound(std::string_view text, Clock::time_point now);

}  // namespace qel::cli
