#include "alerts/time_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <ctime>

namespace qel::cli {
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

std::optional<std::string> parse_relative(std::string_view text, Clock::time_point now) {
  if (text.empty() || text[0] != '-') return std::nullopt;
  text.remove_prefix(1);
  const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (digits == 0 || digits > kAmountDigitsMax) return std::nullopt;
  const auto* unit = std::find_if(std::begin(kUnits), std::end(kUnits),
                                  [&](const Unit& u) { return u.name == text.substr(digits); });
  if (unit == std::end(kUnits)) return std::nullopt;
  const auto now_ms = std::chrono::floor<milliseconds>(now.time_since_epoch());
  const milliseconds back = seconds{number_at(text, 0, digits) * unit->length_s};
  // Checked here, since the clock's own unit is finer and would overflow.
  if (back > now_ms) return std::nullopt;
  std::string stored = format_time(Clock::time_point{now_ms - back});
  if (stored.empty()) return std::nullopt;
  return stored;
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

std::optional<std::string> parse_bound(std::string_view text, Clock::time_point now) {
  if (text == "now") return format_time(now);
  if (text == "today") return midnight(now, 0);
  if (text == "yesterday") return midnight(now, 1);
  const std::string time = with_slashes(text);
  if (has_form(time, kDateForm)) return parse_time(time + " 00:00:00");
  const std::optional<std::string> absolute = parse_time(time);
  return absolute.has_value() ? absolute : parse_relative(text, now);
}

}  // namespace qel::cli
