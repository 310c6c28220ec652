#include "alert_log/search_match.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "alert_log.h"
#include "alert_log/record_range.h"
#include "common/log.h"

namespace qel {

namespace {

constexpr int kOutOfRange = -2;  // search_by_date: no record on that side

using Selections = std::array<Selection, kCriteria>;
// How many lines a criterion has selected.
struct SORT_NUM {
  int nnum;
  int criterion;
};
using Ranking = std::array<SORT_NUM, kCriteria>;  // the most selective first

// Tells quickly which lines a criterion has selected.
class LineSet {
 public:
  LineSet(const Selection& selection, int records)
      : selection_(selection),
        records_(records),
        member_(new (std::nothrow) bool[static_cast<size_t>(records)]()) {
    if (member_ == nullptr) return;
    for (int i = 0; i < selection_.count; ++i) {
      if (in_log(selection_.lines[i])) member_[selection_.lines[i]] = true;
    }
  }
  bool valid() const { return member_ != nullptr; }
  bool contains(int line) const {
    if (in_log(line)) return member_[line];
    // Only a damaged index names lines that the log does not have.
    int* end = selection_.lines.get() + selection_.count;
    return std::find(selection_.lines.get(), end, line) != end;
  }

 private:
  bool in_log(int line) const { return line >= 0 && line < records_; }

  const Selection& selection_;
  int records_;
  std::unique_ptr<bool[]> member_;
};

int log_unselected(int criterion) {
  ALERT_LOG(kFailure, "get alert record line failed, index file: %s", idx_name[criterion]);
  return -1;
}

int date_position(int fd, const char* date, int compare, int unbounded) {
  if (date[0] == '\0') return unbounded;
  const int position = search_by_date(fd, date, compare);
  if (position == -1) ALERT_LOG(kFailure, "call search_by_date failed");
  return position;
}

// Selects by time. 0, -1, or kOutOfRange.
int select_period(const SearchFiles& files, const ALERT_SEARCH_INFO& info, Selection* selection) {
  const int fd = files.index[kTimeRange].get();
  const int begin = date_position(fd, info.startTime, 0, 0);
  if (begin < 0) return begin;
  const int end = date_position(fd, info.stopTime, 1, files.count() - 1);
  if (end < 0) return end;
  selection->count = end - begin + 1;
  if (selection->count <= 0 || selection->count >= files.count()) return 0;
  selection->lines = allocate_lines(selection->count);
  if (selection->lines == nullptr) return -1;
  if (get_alert_line(fd, selection->lines.get(), begin, end) != 0) {
    return log_unselected(kTimeRange);
  }
  return 0;
}

int select_key(const SearchFiles& files, int criterion, const char* key, Selection* selection) {
  int* lines = nullptr;
  const int fd = files.index[static_cast<size_t>(criterion)].get();
  const int result =
      get_nounique_field_line(fd, criterion, key, files.count(), &selection->count, &lines);
  selection->lines.reset(lines);
  return result == 0 ? 0 : log_unselected(criterion);
}

// Runs the criteria one by one. 1 when each selects something, 0 when one selects nothing (the rest
// is not examined), -1 on failure.
int select_all(const SearchFiles& files, const ALERT_SEARCH_INFO& info, Selections* selections) {
  const std::array<const char*, kCriteria> keys = {nullptr, info.szServer, info.szModule,
                                                   info.szEventId, info.szLevel};
  for (size_t i = 0; i < kCriteria; ++i) {
    Selection* selection = &(*selections)[i];
    const int result = i == kTimeRange ? select_period(files, info, selection)
                                       : select_key(files, static_cast<int>(i), keys[i], selection);
    if (result == kOutOfRange) return 0;
    if (result != 0) return -1;
    if (selection->count == 0) return 0;
  }
  return 1;
}

// An exchange sort: its order of equal counts decides the order of equal times.
Ranking rank(const Selections& selections) {
  Ranking ranking;
  for (size_t i = 0; i < kCriteria; ++i) {
    ranking[i] = {selections[i].count, static_cast<int>(i)};
  }
  for (size_t i = 0; i + 1 < kCriteria; ++i) {
    for (size_t j = i + 1; j < kCriteria; ++j) {
      if (ranking[i].nnum > ranking[j].nnum) std::swap(ranking[i], ranking[j]);
    }
  }
  return ranking;
}

// Drops the lines that `selection` does not hold; *count of them stay. 0 or -1.
int keep_common(const Selection& selection, int records, int* lines, int* count) {
  if (selection.count >= records) return 0;
  const LineSet set(selection, records);
  if (!set.valid()) {
    ALERT_LOG(kFailure, "malloc failed");
    return -1;
  }
  int* end = std::remove_if(lines, lines + *count, [&](int line) { return !set.contains(line); });
  *count = static_cast<int>(end - lines);
  return 0;
}

// Leaves in the most selective criterion's lines those that all criteria select, and makes them the
// result; without any restriction there is none.
int intersect(Selections* selections, int records, Match* match) {
  const Ranking ranking = rank(*selections);
  if (ranking[0].nnum >= records) {
    match->allrecds = 1;
    match->realcount = records;
    return 0;
  }
  Selection& best = (*selections)[static_cast<size_t>(ranking[0].criterion)];
  int count = std::max(best.count, 0);  // a period that ends before it starts counts below 0
  for (size_t i = 1; i < kCriteria; ++i) {
    const Selection& other = (*selections)[static_cast<size_t>(ranking[i].criterion)];
    if (keep_common(other, records, best.lines.get(), &count) != 0) return -1;
  }
  match->result = std::move(best.lines);
  match->realcount = count;
  return 0;
}

// Orders the result newest first; equal times come out in the reverse of their order.
int order_by_time(int log_fd, const Match& match) {
  const int count = match.realcount;
  int* lines = match.result.get();
  const std::unique_ptr<TIME_INDEX[]> times(new (std::nothrow) TIME_INDEX[count]);
  if (times == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return -1;
  }
  RecordRange log;
  if (log.open(log_fd) != 0) return -1;
  const int read = log.read(lines, count, [&](int i, const ALERT_RECORD_INFO& record) {
    memcpy(times[i].szServerTime, record.szServerTime, sizeof record.szServerTime);
    times[i].index = lines[i];
    return true;
  });
  if (read < count) {
    ALERT_LOG(kFailure, "read alert record(No. %d) failed", lines[read]);
    return -1;
  }
  std::stable_sort(times.get(), times.get() + count, [](const TIME_INDEX& a, const TIME_INDEX& b) {
    return strcmp(a.szServerTime, b.szServerTime) < 0;
  });
  for (int i = 0; i < count; ++i) lines[i] = times[count - 1 - i].index;
  return 0;
}

}  // namespace

int match_criteria(const SearchFiles& files, const ALERT_SEARCH_INFO& info, Match* match) {
  Selections selections;
  const int selected = select_all(files, info, &selections);
  if (selected <= 0) return selected;
  if (intersect(&selections, files.count(), match) != 0) return -1;
  return match->allrecds == 0 && match->realcount > 0 ? order_by_time(files.log.get(), *match) : 0;
}

}  // namespace qel
