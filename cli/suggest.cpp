#include "suggest.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace qel::cli {
namespace {

// More changes than this make another word.
constexpr size_t kDistanceMax = 2;

// The insertions, deletions and replacements that turn one word into the other.
size_t edit_distance(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);  // distances of the beginning of `from` to those of `to`
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i + 1;
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (from[i] == to[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string_view nearest_name(std::string_view wrong, std::span<const std::string_view> names) {
  std::string_view nearest;
  size_t smallest = kDistanceMax + 1;
  for (const std::string_view name : names) {
    const size_t distance = edit_distance(wrong, name);
    if (distance < smallest) {
      smallest = distance;
      nearest = name;
    }
  }
  return nearest;
}

}  // namespace qel::cli
