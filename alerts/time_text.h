// Times as operators write them and as records hold them: local time, "2024/01/31 23:59:59.123".
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qel {

using Clock = std::chrono::system_clock;

// The stored form of a point in time; empty outside the years 1 to 9999.
std::string format_time(Clock::time_point time);

// The stored form of "YYYY/MM/DD HH:MM:SS" with or without ".mmm" (absent: ".000"); the date may
// have "-" in place of "/". Nothing when the text has another form or names no real time.
std::optional<std::string> parse_time(std::string_view text);

// As parse_time, for the ends of a period. Also: a date alone (its midnight); a time alone (today);
// "today" and "yesterday" (their midnight); "now"; "-" with a span: so long before `now`; and the
// form of RFC 3339, such as "2024-01-31T23:59:59Z" or "...59.123+01:00" (without a zone: local).
std::optional<std::string> parse_bound(std::string_view text, Clock::time_point now);

// The time that lies a span back: a number and one of s, sec, m, min, h, d, w.
std::optional<std::string> parse_span_back(std::string_view span, Clock::time_point now);

// The point in time of a stored one, in milliseconds since 1970 in UTC. Of a time that the end of
// summer time repeats, the first. Nothing when the text is no stored time.
std::optional<int64_t> unix_ms(std::string_view stored);

// The same in the form of RFC 3339, "2024-01-31T23:59:59.123Z".
std::string utc_text(int64_t unix_ms);

// How far the clocks here are ahead of UTC at that point in time, in milliseconds.
int64_t local_offset_ms(int64_t unix_ms);

// The UTC time of a stored one in that form. Nothing when the text is no stored time.
std::optional<std::string> utc_time(std::string_view stored);

}  // namespace qel
