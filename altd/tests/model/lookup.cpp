#include "model/lookup.h"

#include "model/formats.h"
#include "model/sorting.h"

namespace alt_model {
namespace {

int compare_numbers(uint32_t a, uint32_t b) { return a < b ? -1 : static_cast<int>(a > b); }

// `compare` tells how the wanted value stands to an entry.
template <typename Compare>
Probe search(const File& file, int index, int low, int high, Compare compare) {
  while (low <= high) {
    const int mid = (low + high) / 2;
    const int order = compare(read_entry(file, index, mid));
    if (order == 0) return {mid, high};
    if (order < 0) {
      high = mid - 1;
    } else {
      low = mid + 1;
    }
  }
  return {-1, high};
}

}  // namespace

Probe find_key(const File& file, int index, int count, const std::string& key) {
  return search(file, index, 0, count - 1,
                [&](const Entry& entry) { return compare_keys(key, entry.key, index); });
}

Probe find_key_line(const File& file, int index, int count, const std::string& key, uint32_t line) {
  return search(file, index, 0, count - 1, [&](const Entry& entry) {
    const int by_key = compare_keys(key, entry.key, index);
    return by_key != 0 ? by_key : compare_numbers(line, entry.line);
  });
}

Probe find_server_id(const File& file, int count, const std::string& server, uint32_t id) {
  return search(file, kIdIndex, 0, count - 1, [&](const Entry& entry) {
    const int by_server = server.compare(entry.key);
    return by_server != 0 ? by_server : compare_numbers(id, entry.id);
  });
}

// Two more searches close in on the ends: left of the hit every other key counts as smaller, right
// of it as larger.
Range find_range(const File& file, int index, int count, const std::string& key) {
  const Probe hit = find_key(file, index, count, key);
  if (hit.at < 0) return {};
  const auto same = [&](const Entry& entry) { return compare_keys(key, entry.key, index) == 0; };
  const Probe left =
      search(file, index, 0, hit.at, [&](const Entry& entry) { return same(entry) ? -1 : 1; });
  const Probe right = search(file, index, hit.at, count - 1,
                             [&](const Entry& entry) { return same(entry) ? 1 : -1; });
  return {left.insertion(), right.high};
}

int first_from(const File& time_index, int count, const std::string& time) {
  const Probe hit = find_key(time_index, kTimeIndex, count, time);
  if (hit.at < 0) return hit.insertion() < count ? hit.insertion() : kNoneOnThatSide;
  int first = hit.at;
  while (first > 0 && read_entry(time_index, kTimeIndex, first - 1).key == time) --first;
  return first;
}

int last_until(const File& time_index, int count, const std::string& time) {
  const Probe hit = find_key(time_index, kTimeIndex, count, time);
  if (hit.at < 0) return hit.high >= 0 ? hit.high : kNoneOnThatSide;
  int last = hit.at;
  while (last < count - 1 && read_entry(time_index, kTimeIndex, last + 1).key == time) ++last;
  return last;
}

}  // namespace alt_model
