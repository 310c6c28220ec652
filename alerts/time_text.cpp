#include "alerts/time_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace qel {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::string_view kDateForm = "dddd/dd/dd";
constexpr std::string_view kSecondForm = "dddd/dd/dd dd:dd:dd";
constexpr std::string_view kMillisecondForm = "dddd/dd/dd dd:dd:dd.ddd";

struct Unit {
  std::string_view name;
  int64_t length_s;
};
constexpr Unit kUnits[] = {{"s", 1},    {"sec", 1},   {"m", 60},    {"min", 60},
                           {"h", 3600}, {"d", 86400}, {"w", 604800}};
// Nine digits of weeks still fit a 64-bit count of milliseconds.
constexpr size_t kAmountDigitsMax = 9;

// The years that the clock's unit, a nanosecond, can tell for certain.
constexpr int kClockYearMin = 1700;
constexpr int kClockYearMax = 2200;

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// "d" in a form stands for a digit, any other character for itself.
bool has_form(std::string_view text, std::string_view form) {
  return text.size() == form.size() &&
         std::equal(text.begin(), text.end(), form.begin(),
                    [](char c, char f) { return f == 'd' ? is_digit(c) : c == f; });
}

int number_at(std::string_view text, size_t begin, size_t length) {
  int number = 0;
  std::from_chars(text.data() + begin, text.data() + begin + length, number);
  return number;
}

// The text with the date's "-" separators as "/".
std::string with_slashes(std::string_view text) {
  std::string result(text);
  if (result.size() >= kDateForm.size() && result[4] == '-' && result[7] == '-') {
    result[4] = result[7] = '/';
  }
  return result;
}

// Of a text in kSecondForm, longer or not.
bool is_real_time(std::string_view text) {
  using namespace std::chrono;
  const year_month_day date{year{number_at(text, 0, 4)},
                            month{static_cast<unsigned>(number_at(text, 5, 2))},
                            day{static_cast<unsigned>(number_at(text, 8, 2))}};
  return date.ok() && date.year() >= year{1} && number_at(text, 11, 2) < 24 &&
         number_at(text, 14, 2) < 60 && number_at(text, 17, 2) < 60;
}

std::optional<std::string> stored_form(int year, int month, int day, int hour, int minute,
                                       int second, int millisecond) {
  if (year < 1 || year > 9999) return std::nullopt;
  char text[96];
  snprintf(text, sizeof text, "%04d/%02d/%02d %02d:%02d:%02d.%03d", year, month, day, hour, minute,
           second, millisecond);
  return text;
}

bool local_time(Clock::time_point time, tm* parts) {
  const time_t count = Clock::to_time_t(std::chrono::floor<seconds>(time));
  return localtime_r(&count, parts) != nullptr;
}

// The midnight that begins the day `days_back` days before the day of `now`.
std::optional<std::string> midnight(Clock::time_point now, int days_back) {
  tm parts{};
  if (!local_time(now, &parts)) return std::nullopt;
  const std::chrono::sys_days today{std::chrono::year{parts.tm_year + 1900} /
                                    std::chrono::month{static_cast<unsigned>(parts.tm_mon + 1)} /
                                    std::chrono::day{static_cast<unsigned>(parts.tm_mday)}};
  const std::chrono::year_month_day date{today - std::chrono::days{days_back}};
  return stored_form(static_cast<int>(date.year()),
                     static_cast<int>(static_cast<unsigned>(date.month())),
                     static_cast<int>(static_cast<unsigned>(date.day())), 0, 0, 0, 0);
}

// A fraction of a second, ".1" to ".123456789", in milliseconds; -1 for another text.
int fraction_ms(std::string_view text) {
  if (text.size() < 2 || text.size() > 10 || text[0] != '.') return -1;
  if (!std::all_of(text.begin() + 1, text.end(), is_digit)) return -1;
  const std::string digits = std::string(text.substr(1)) + "00";
  return number_at(digits, 0, 3);
}

// What a zone such as "Z", "+01:00" or "-0330" lies ahead of UTC.
std::optional<seconds> zone_offset(std::string_view zone) {
  if (zone == "Z" || zone == "z") return seconds{0};
  std::string digits(zone);
  if (digits.size() == 6 && digits[3] == ':') digits.erase(3, 1);
  if (!has_form(digits, "+dddd") && !has_form(digits, "-dddd")) return std::nullopt;
  const int hours = number_at(digits, 1, 2);
  const int minutes = number_at(digits, 3, 2);
  if (hours > 23 || minutes > 59) return std::nullopt;
  const seconds offset{hours * 3600 + minutes * 60};
  return digits[0] == '-' ? -offset : offset;
}

// `time` is in kSecondForm and real.
Clock::time_point utc_point(std::string_view time, int ms) {
  using namespace std::chrono;
  const sys_days day{year{number_at(time, 0, 4)} /
                     month{static_cast<unsigned>(number_at(time, 5, 2))} /
                     std::chrono::day{static_cast<unsigned>(number_at(time, 8, 2))}};
  return day + hours{number_at(time, 11, 2)} + minutes{number_at(time, 14, 2)} +
         seconds{number_at(time, 17, 2)} + milliseconds{ms};
}

// "YYYY-MM-DDTHH:MM:SS", with a fraction or not, with a zone or not.
std::optional<std::string> parse_rfc3339(std::string_view text) {
  constexpr size_t kSeconds = kSecondForm.size();
  if (text.size() < kSeconds || (text[10] != 'T' && text[10] != 't')) return std::nullopt;
  std::string time = with_slashes(text.substr(0, kSeconds));
  time[10] = ' ';
  if (!has_form(time, kSecondForm) || !is_real_time(time)) return std::nullopt;
  std::string_view rest = text.substr(kSeconds);
  const size_t zone_at = std::min(rest.find_first_of("Zz+-"), rest.size());
  const int ms = zone_at == 0 ? 0 : fraction_ms(rest.substr(0, zone_at));
  if (ms < 0) return std::nullopt;
  rest.remove_prefix(zone_at);
  if (rest.empty()) return time + '.' + std::to_string(1000 + ms).substr(1);
  const std::optional<seconds> ahead = zone_offset(rest);
  const int year = number_at(time, 0, 4);
  if (!ahead.has_value() || year < kClockYearMin || year > kClockYearMax) return std::nullopt;
  return format_time(utc_point(time, ms) - *ahead);
}

std::optional<std::string> parse_relative(std::string_view text, Clock::time_point now) {
  if (text.empty() || text[0] != '-') return std::nullopt;
  return parse_span_back(text.substr(1), now);
}

// Seconds by which clocks here are ahead of UTC.
long offset_at(time_t point) {
  tm parts{};
  return localtime_r(&point, &parts) != nullptr ? parts.tm_gmtoff : 0;
}

// The first point in time at which clocks here show the time; of an hour that is skipped, as if
// they had not been changed yet. mktime would choose for an hour that the end of summer time
// repeats by what it was asked before, and searches for years when it is told which one is meant.
time_t first_point(tm parts) {
  constexpr time_t kDay = 24 * 60 * 60;
  const time_t in_utc = timegm(&parts);
  const long before = offset_at(in_utc - kDay);
  const long after = offset_at(in_utc + kDay);
  if (before == after) return in_utc - before;
  for (const long offset : {std::max(before, after), std::min(before, after)}) {
    if (offset_at(in_utc - offset) == offset) return in_utc - offset;
  }
  return in_utc - before;
}

// "HH:MM" or "HH:MM:SS": today at that time.
std::optional<std::string> parse_time_of_day(std::string_view text, Clock::time_point now) {
  std::string time(text);
  if (has_form(time, "dd:dd")) time += ":00";
  if (!has_form(time, "dd:dd:dd")) return std::nullopt;
  const std::optional<std::string> today = midnight(now, 0);
  if (!today.has_value()) return std::nullopt;
  return parse_time(today->substr(0, kDateForm.size() + 1) + time);
}

}  // namespace

std::string format_time(Clock::time_point time) {
  tm parts{};
  if (!local_time(time, &parts)) return {};
  const auto fraction = std::chrono::floor<milliseconds>(time) - std::chrono::floor<seconds>(time);
  return stored_form(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
                     parts.tm_min, parts.tm_sec, static_cast<int>(fraction.count()))
      .value_or("");
}

std::optional<std::string> parse_time(std::string_view text) {
  std::string time = with_slashes(text);
  if (has_form(time, kSecondForm)) time += ".000";
  if (!has_form(time, kMillisecondForm) || !is_real_time(time)) return std::nullopt;
  return time;
}

std::optional<std::string> parse_span_back(std::string_view span, Clock::time_point now) {
  const size_t digits = std::min(span.find_first_not_of("0123456789"), span.size());
  if (digits == 0 || digits > kAmountDigitsMax) return std::nullopt;
  const auto* unit = std::find_if(std::begin(kUnits), std::end(kUnits),
                                  [&](const Unit& u) { return u.name == span.substr(digits); });
  if (unit == std::end(kUnits)) return std::nullopt;
  const auto now_ms = std::chrono::floor<milliseconds>(now.time_since_epoch());
  const milliseconds back = seconds{number_at(span, 0, digits) * unit->length_s};
  // Checked here, since the clock's own unit is finer and would overflow.
  if (back > now_ms) return std::nullopt;
  std::string stored = format_time(Clock::time_point{now_ms - back});
  if (stored.empty()) return std::nullopt;
  return stored;
}

std::optional<std::string> parse_bound(std::string_view text, Clock::time_point now) {
  if (text == "now") return format_time(now);
  if (text == "today") return midnight(now, 0);
  if (text == "yesterday") return midnight(now, 1);
  const std::string time = with_slashes(text);
  if (has_form(time, kDateForm)) return parse_time(time + " 00:00:00");
  for (const auto& found : {parse_time(time), parse_rfc3339(text), parse_time_of_day(text, now)}) {
    if (found.has_value()) return found;
  }
  return parse_relative(text, now);
}

std::optional<int64_t> unix_ms(std::string_view stored) {
  const std::optional<std::string> time = parse_time(stored);
  if (!time.has_value()) return std::nullopt;
  tm parts{};
  parts.tm_year = number_at(*time, 0, 4) - 1900;
  parts.tm_mon = number_at(*time, 5, 2) - 1;
  parts.tm_mday = number_at(*time, 8, 2);
  parts.tm_hour = number_at(*time, 11, 2);
  parts.tm_min = number_at(*time, 14, 2);
  parts.tm_sec = number_at(*time, 17, 2);
  return first_point(parts) * int64_t{1000} + number_at(*time, kSecondForm.size() + 1, 3);
}

std::string utc_text(int64_t unix_ms) {
  const milliseconds point{unix_ms};
  const seconds whole = std::chrono::floor<seconds>(point);
  const time_t count = whole.count();
  tm utc{};
  gmtime_r(&count, &utc);
  char text[96];
  snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900,
           utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
           static_cast<int>((point - whole).count()));
  return text;
}

int64_t local_offset_ms(int64_t unix_ms) {
  const seconds whole = std::chrono::floor<seconds>(milliseconds{unix_ms});
  return offset_at(whole.count()) * int64_t{1000};
}

std::optional<std::string> utc_time(std::string_view stored) {
  const std::optional<int64_t> point = unix_ms(stored);
  if (!point.has_value()) return std::nullopt;
  return utc_text(*point);
}

}  // namespace qel
