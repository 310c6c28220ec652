// The search with its paging and its kept result.
#include <algorithm>
#include <array>

#include "model/lookup.h"
#include "model/store_model.h"

namespace alt_model {
namespace {

constexpr int kCriteria = 5;
constexpr int kSearchMark = 128;

const std::string& key_of(const Criteria& criteria, size_t index) {
  static constexpr std::array<std::string Criteria::*, kCriteria> kKeys = {
      nullptr, &Criteria::server, &Criteria::module, &Criteria::event, &Criteria::level};
  return criteria.*kKeys.at(index);
}

}  // namespace

struct StoreModel::Search {
  const Criteria& criteria;
  Page page;
  File log;
  int count = 0;  // records in the log
  std::array<File, kCriteria> indexes;
  std::array<Matches, kCriteria> matches;
  bool everything = false;  // nothing is restricted: there is no list of lines
  std::vector<uint32_t> lines;
};

Page StoreModel::search(const Criteria& criteria, int size, int page) {
  Search search{criteria, {0, size, page, false, {}}, nullptr, 0, {}, {}, false, {}};
  check_index_file_status();
  search.page.result = run_search(&search);
  Page& answer = search.page;
  if (answer.result == 0) answer.page = -1;
  if (answer.result < 1) {
    cache_ = {};
    return answer;
  }
  cache_.criteria = criteria;
  if (search.everything) {
    cache_.lines.reset();
  } else {
    cache_.lines = search.lines;
  }
  if (auto header = read_header(search.log)) {
    header->changed &= ~kSearchMark;
    write_bytes(search.log, 0, header_lines(*header));
  }
  return answer;
}

int StoreModel::run_search(Search* search) {
  search->log = open_file(kLogName);
  if (search->log == nullptr) return -1;
  const auto header = read_header(search->log);
  if (!header) return -1;
  search->count = static_cast<int>(header->count);
  if (search->count == 0) {
    search->page.size = 0;
    return 0;
  }
  for (size_t i = 0; i < kCriteria; ++i) {
    search->indexes[i] = open_file(kIndexNames[i]);
    if (search->indexes[i] == nullptr) return -1;
  }
  const bool marked = (header->changed & kSearchMark) != 0;
  if (cache_.lines && cache_.criteria == search->criteria && !marked) {
    search->page.from_cache = true;
    search->lines = *cache_.lines;
    return deliver(search->log, search->lines, &search->page);
  }
  const int found = find_matches(search);
  if (found <= 0) {
    if (found == 0) search->page.size = 0;
    return found;
  }
  const auto smallest =
      std::min_element(search->matches.begin(), search->matches.end(),
                       [](const Matches& a, const Matches& b) { return a.count < b.count; });
  search->everything = smallest->count >= search->count;
  if (search->everything) {
    return deliver_all(search->log, search->indexes[kTimeIndex], search->count, &search->page);
  }
  search->lines = filter(*search);
  if (!order_by_time(search->log, &search->lines)) return -1;
  if (search->lines.empty()) {
    search->page.size = 0;
    return 0;
  }
  return deliver(search->log, search->lines, &search->page);
}

// 1 when every criterion has been looked at, 0 when one of them matches nothing, -1 on failure.
int StoreModel::find_matches(Search* search) {
  for (size_t i = 0; i < kCriteria; ++i) {
    const File& file = search->indexes[i];
    const Criteria& wanted = search->criteria;
    Range range{0, search->count - 1};
    if (i == kTimeIndex && !(wanted.start.empty() && wanted.stop.empty())) {
      const auto entries = read_index_header(file);
      if (!entries || *entries == 0) return -1;
      const int count = static_cast<int>(*entries);
      if (!wanted.start.empty()) range.begin = first_from(file, count, wanted.start);
      if (!wanted.stop.empty()) range.end = last_until(file, count, wanted.stop);
      if (range.begin == kNoneOnThatSide || range.end == kNoneOnThatSide) return 0;
    } else if (i != kTimeIndex && !key_of(wanted, i).empty()) {
      const auto entries = read_index_header(file);
      if (!entries) return -1;
      range = find_range(file, static_cast<int>(i), static_cast<int>(*entries), key_of(wanted, i));
    }
    Matches& matches = search->matches[i];
    matches.count = range.begin == -1 && range.end == -1 ? 0 : range.end - range.begin + 1;
    if (matches.count == 0) return 0;
    if (matches.count >= search->count) continue;
    for (int at = range.begin; at <= range.end; ++at) {
      matches.lines.push_back(read_entry(file, static_cast<int>(i), at).line);
    }
  }
  return 1;
}

// The lines of the criterion with the fewest matches, in the order of its index, that all other
// criteria know too.
std::vector<uint32_t> StoreModel::filter(const Search& search) const {
  std::array<size_t, kCriteria> order = {0, 1, 2, 3, 4};
  for (size_t i = 0; i + 1 < kCriteria; ++i) {
    for (size_t j = i + 1; j < kCriteria; ++j) {
      if (search.matches[order[i]].count > search.matches[order[j]].count) {
        std::swap(order[i], order[j]);
      }
    }
  }
  std::vector<uint32_t> kept;
  for (const uint32_t line : search.matches[order[0]].lines) {
    const bool everywhere = std::all_of(order.begin() + 1, order.end(), [&](size_t i) {
      const Matches& other = search.matches[i];
      if (other.count == search.count) return true;
      if (other.count > search.count) throw Undefined("more index entries than records");
      return std::find(other.lines.begin(), other.lines.end(), line) != other.lines.end();
    });
    if (everywhere) kept.push_back(line);
  }
  return kept;
}

bool StoreModel::order_by_time(const File& log, std::vector<uint32_t>* lines) {
  std::vector<std::pair<std::string, uint32_t>> timed;
  for (const uint32_t line : *lines) {
    const auto record = read_record(log, line);
    if (!record) return false;
    timed.emplace_back(record->server_time, line);
  }
  std::stable_sort(timed.begin(), timed.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  lines->clear();
  for (auto it = timed.rbegin(); it != timed.rend(); ++it) lines->push_back(it->second);
  return true;
}

}  // namespace alt_model
