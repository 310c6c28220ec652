#include "counts.h"

#include <algorithm>
#include <unordered_map>

#include "alerts/record_text.h"
#include "alerts/time_text.h"

namespace qel::web {
namespace {

constexpr int64_t kSecond = 1000;
constexpr int64_t kMinute = 60 * kSecond;
constexpr int64_t kHour = 60 * kMinute;
constexpr int64_t kDay = 24 * kHour;
constexpr int64_t kRoundLengths[] = {
    kSecond,  2 * kSecond, 5 * kSecond, 10 * kSecond, 15 * kSecond, 30 * kSecond,
    kMinute,  2 * kMinute, 5 * kMinute, 10 * kMinute, 15 * kMinute, 30 * kMinute,
    kHour,    2 * kHour,   3 * kHour,   6 * kHour,    12 * kHour,   kDay,
    2 * kDay, 7 * kDay,    14 * kDay,   30 * kDay,    90 * kDay,    365 * kDay};

std::string_view field_of(const ALERT_RECORD_INFO& alert, std::string_view facet) {
  if (facet == "server") return field_text(alert.szServer);
  if (facet == "module") return field_text(alert.szModType);
  if (facet == "event") return field_text(alert.szEventID);
  return field_text(alert.szLevel);
}

int64_t round_length(int64_t period, size_t buckets) {
  const int64_t least = period / static_cast<int64_t>(buckets);
  for (const int64_t length : kRoundLengths) {
    if (length >= least) return length;
  }
  return (least + kDay - 1) / kDay * kDay;
}

size_t column_of(const ALERT_RECORD_INFO& alert) {
  const std::string_view level = field_text(alert.szLevel);
  const auto end = kHistogramLevels.end() - 1;
  return static_cast<size_t>(std::find(kHistogramLevels.begin(), end, level) -
                             kHistogramLevels.begin());
}

int64_t floor_to(int64_t value, int64_t step) {
  const int64_t rest = value % step;
  return value - (rest < 0 ? rest + step : rest);
}

struct TimedAlert {
  int64_t at_ms;
  size_t column;
};

std::vector<TimedAlert> timed(const AlertList& alerts) {
  std::vector<TimedAlert> found;
  for (const ALERT_RECORD_INFO* alert : alerts) {
    const std::optional<int64_t> at = unix_ms(field_text(alert->szServerTime));
    if (at.has_value()) found.push_back({*at, column_of(*alert)});
  }
  return found;
}

}  // namespace

std::vector<ValueCount> count_values(const AlertList& alerts, std::string_view facet) {
  std::unordered_map<std::string_view, size_t> counts;
  for (const ALERT_RECORD_INFO* alert : alerts) ++counts[field_of(*alert, facet)];
  std::vector<ValueCount> values;
  for (const auto& [value, count] : counts) values.push_back({std::string(value), count});
  std::sort(values.begin(), values.end(), [](const ValueCount& a, const ValueCount& b) {
    return a.count != b.count ? a.count > b.count : a.value < b.value;
  });
  return values;
}

Histogram count_over_time(const AlertList& alerts, const Query& query, size_t buckets,
                          int64_t now_ms) {
  const std::vector<TimedAlert> all = timed(alerts);
  std::optional<int64_t> from = unix_ms(query.since);
  std::optional<int64_t> until = unix_ms(query.until);
  // Not the first and the last: an hour that the end of summer time repeats turns them round.
  for (const TimedAlert& alert : all) {
    if (query.since.empty()) from = std::min(from.value_or(alert.at_ms), alert.at_ms);
    if (query.until.empty()) until = std::max(until.value_or(alert.at_ms), alert.at_ms);
  }
  if (!from.has_value() && !until.has_value()) return {};
  if (!query.since.empty() && query.until.empty()) until = std::max(until.value_or(now_ms), now_ms);
  const int64_t first = std::min(from.value_or(*until), until.value_or(*from));
  const int64_t last = std::max(from.value_or(*until), until.value_or(*from));
  Histogram histogram;
  histogram.bucket_ms = round_length(last - first, buckets);
  const int64_t ahead = local_offset_ms(first);  // days begin at midnight here
  histogram.from_ms = floor_to(first + ahead, histogram.bucket_ms) - ahead;
  histogram.buckets.resize(
      static_cast<size_t>((last - histogram.from_ms) / histogram.bucket_ms + 1));
  for (const TimedAlert& alert : all) {
    const int64_t bucket = (alert.at_ms - histogram.from_ms) / histogram.bucket_ms;
    if (alert.at_ms < histogram.from_ms || bucket >= std::ssize(histogram.buckets)) continue;
    ++histogram.buckets[static_cast<size_t>(bucket)][alert.column];
  }
  return histogram;
}

}  // namespace qel::web
