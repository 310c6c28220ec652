// Counting alerts: by the values of their fields, and over time.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/snapshot.h"
#include "criteria.h"

namespace qel::web {

struct ValueCount {
  std::string value;
  size_t count;
};

// The fields that are counted.
inline constexpr std::string_view kFacets[] = {"server", "module", "event", "level"};

// How many alerts each value of a field has, the most frequent first.
std::vector<ValueCount> count_values(const AlertList& alerts, std::string_view facet);

// The columns of a histogram: levels 1, 2, 3 and all others.
inline constexpr std::array<std::string_view, 4> kHistogramLevels = {"1", "2", "3", "other"};
using LevelCounts = std::array<size_t, kHistogramLevels.size()>;

struct Histogram {
  int64_t from_ms = 0;  // of the first bucket; since 1970 in UTC
  int64_t bucket_ms = 0;
  std::vector<LevelCounts> buckets{};  // empty: no alerts, and no period was given
};

// Alerts over the period of the query, one without an end up to now, one without a begin from the
// first alert; without a period from the first to the last alert. In buckets of a round length, at
// most `buckets` and two. Alerts without a real time are left out.
Histogram count_over_time(const AlertList& alerts, const Query& query, size_t buckets,
                          int64_t now_ms);

}  // namespace qel::web
