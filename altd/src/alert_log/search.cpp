// The front end's search: matching lines from the indexes, intersected, ordered by time, paged.
#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "alert_index/index_reader.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_log/record_range.h"
#include "alert_log/search_lines.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::Lines;
using qel::RecordRange;
using qel::Selection;

namespace {

constexpr int kSearchMark = 128;  // isChanged: the log was written since the last search
constexpr int kCriteria = 5;      // time range, server, module, event id, level
constexpr int kTimeRange = 0;
constexpr int kOutOfRange = -2;  // search_by_date: no record on that side

// The last result, kept for the next page of the same search.
struct Cache {
  Lines result;  // matching lines, newest first; null when every record matches
  ALERT_SEARCH_INFO search_info = {};
  int allrecds = 0;
  int realcount = 0;

  void clear() { *this = Cache(); }
};

Cache& cache() {
  static Cache kept;
  return kept;
}

struct Files {
  Descriptor log;
  std::array<Descriptor, kCriteria> index;
  ALERT_FILE_HEADER header = {};

  int count() const { return static_cast<int>(header.nCurCount); }
};

// A page of the result: positions in it, first to last.
struct Page {
  int first;
  int last;
};

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

void log_criteria(const ALERT_SEARCH_INFO& info) {
  ALERT_LOG(kNotable, "=========== alert search parameter begin: ===========");
  ALERT_LOG(kNotable, "start time: %s", info.startTime);
  ALERT_LOG(kNotable, "end time:   %s", info.stopTime);
  ALERT_LOG(kNotable, "server:     %s", info.szServer);
  ALERT_LOG(kNotable, "module:     %s", info.szModule);
  ALERT_LOG(kNotable, "eventId:    %s", info.szEventId);
  ALERT_LOG(kNotable, "Level:      %s", info.szLevel);
  ALERT_LOG(kNotable, "Sort:       %s", info.szSort);
  ALERT_LOG(kNotable, "=========== alert search parameter end: ===========");
}

void end_texts(ALERT_SEARCH_INFO* info) {
  qel::end_text(info->startTime);
  qel::end_text(info->stopTime);
  qel::end_text(info->szLevel);
  qel::end_text(info->szServer);
  qel::end_text(info->szModule);
  qel::end_text(info->szEventId);
  qel::end_text(info->szSort);
}

// Opens the log and reads its header. 0 or a negative result.
int open_log(Files* files) {
  const int fd = open_file(alt_name_only, O_RDWR);
  if (fd < 0) {
    ALERT_LOG(kFailure, "open alert file failed");
    return fd;
  }
  files->log.adopt(fd);
  if (read_alert_header(fd, &files->header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  return 0;
}

int open_indexes(Files* files) {
  for (int i = 0; i < kCriteria; ++i) {
    const int fd = open_file(idx_name[i], O_RDONLY);
    if (fd < 0) {
      ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[i]);
      return fd;
    }
    files->index[static_cast<size_t>(i)].adopt(fd);
  }
  return 0;
}

bool cached(const ALERT_SEARCH_INFO& info, const ALERT_FILE_HEADER& header) {
  if (cache().result == nullptr || memcmp(&info, &cache().search_info, sizeof info) != 0) {
    return false;
  }
  ALERT_LOG(kNotable, "search condition not changed");
  if ((header.isChanged & kSearchMark) != 0) return false;
  ALERT_LOG(kNotable, "alert file  not changed");
  return true;
}

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
int select_period(const Files& files, const ALERT_SEARCH_INFO& info, Selection* selection) {
  const int fd = files.index[kTimeRange].get();
  const int begin = date_position(fd, info.startTime, 0, 0);
  if (begin < 0) return begin;
  const int end = date_position(fd, info.stopTime, 1, files.count() - 1);
  if (end < 0) return end;
  selection->count = end - begin + 1;
  if (selection->count <= 0 || selection->count >= files.count()) return 0;
  selection->lines = qel::allocate_lines(selection->count);
  if (selection->lines == nullptr) return -1;
  if (get_alert_line(fd, selection->lines.get(), begin, end) != 0) {
    return log_unselected(kTimeRange);
  }
  return 0;
}

int select_key(const Files& files, int criterion, const char* key, Selection* selection) {
  int* lines = nullptr;
  const int fd = files.index[static_cast<size_t>(criterion)].get();
  const int result =
      get_nounique_field_line(fd, criterion, key, files.count(), &selection->count, &lines);
  selection->lines.reset(lines);
  return result == 0 ? 0 : log_unselected(criterion);
}

// Runs the criteria one by one. 1 when each selects something, 0 when one selects nothing (the rest
// is not examined), -1 on failure.
int select_all(const Files& files, const ALERT_SEARCH_INFO& info, Selections* selections) {
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
int intersect(Selections* selections, int records) {
  const Ranking ranking = rank(*selections);
  if (ranking[0].nnum >= records) {
    cache().allrecds = 1;
    cache().realcount = records;
    return 0;
  }
  Selection& best = (*selections)[static_cast<size_t>(ranking[0].criterion)];
  int count = std::max(best.count, 0);  // a period that ends before it starts counts below 0
  for (size_t i = 1; i < kCriteria; ++i) {
    const Selection& other = (*selections)[static_cast<size_t>(ranking[i].criterion)];
    if (keep_common(other, records, best.lines.get(), &count) != 0) return -1;
  }
  cache().result = std::move(best.lines);
  cache().realcount = count;
  return 0;
}

// Orders the result newest first; equal times come out in the reverse of their order.
int order_by_time(int log_fd) {
  const int count = cache().realcount;
  int* lines = cache().result.get();
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

// Fills the cache. 0 or -1.
int search(const Files& files, const ALERT_SEARCH_INFO& info) {
  cache().clear();
  Selections selections;
  const int selected = select_all(files, info, &selections);
  if (selected <= 0) return selected;
  if (intersect(&selections, files.count()) != 0) return -1;
  return cache().allrecds == 0 && cache().realcount > 0 ? order_by_time(files.log.get()) : 0;
}

// The positions of the page wanted, counted from the newest record; *pageno and *psize become those
// of the page delivered.
Page choose_page(int total, int* psize, int* pageno) {
  const int pagesize = *psize;
  const int pages = total / pagesize + (total % pagesize != 0 ? 1 : 0);
  if (*pageno >= pages) {
    ALERT_LOG(kMinor, "the specified page number is wrong");
    *pageno = pages - 1;
  }
  const int first = pagesize * *pageno;
  if (*pageno == pages - 1) *psize = total - first;
  return {first, first + *psize - 1};
}

int deliver_result(int log_fd, const Page& page, LPALERT_RECORD_INFO out) {
  const int* lines = cache().result.get() + page.first;
  const int count = page.last - page.first + 1;
  RecordRange log;
  if (log.open(log_fd) != 0) return -1;
  const int read = log.read(lines, count, [&](int i, const ALERT_RECORD_INFO& record) {
    out[i] = record;
    return true;
  });
  if (read == count) return 0;
  ALERT_LOG(kFailure, "read alert record(No. %d) failed", lines[read]);
  return -1;
}

// Without a restriction the time index is the result, from its end.
int deliver_by_time(const Files& files, const Page& page, LPALERT_RECORD_INFO out) {
  const int count = page.last - page.first + 1;
  const int newest = files.count() - 1 - page.first;
  const Lines lines = qel::allocate_lines(count);
  if (lines == nullptr) return -1;
  const int found =
      qel::read_entry_lines(files.index[kTimeRange].get(), newest - count + 1, newest, lines.get());
  if (found < 0) {
    ALERT_LOG(kFailure, "read index record(line:%d) failure!", -found - 1);
    return -1;
  }
  std::reverse(lines.get(), lines.get() + count);
  RecordRange log;
  if (log.open(files.log.get()) != 0) return -1;
  const int read = log.read(lines.get(), count, [&](int i, const ALERT_RECORD_INFO& record) {
    out[i] = record;
    return true;
  });
  if (read == count) return 0;
  ALERT_LOG(kFailure, "read alert record(line:%d) failure!", lines[read]);
  return -1;
}

// The search proper: the number of matches, 0, or a negative result.
int search_and_deliver(const ALERT_SEARCH_INFO& info, int* psize, int* pageno,
                       LPALERT_RECORD_INFO out, Files* files) {
  int result = open_log(files);
  if (result != 0) return result;
  if (files->count() == 0) {
    ALERT_LOG(kNotable, "alert file is empty");
    *psize = 0;
    return 0;
  }
  result = open_indexes(files);
  if (result != 0) return result;
  if (!cached(info, files->header) && search(*files, info) != 0) return -1;
  const int total = cache().realcount;
  if (total == 0) {
    *psize = 0;
    return 0;
  }
  const Page page = choose_page(total, psize, pageno);
  result = cache().allrecds == 1 ? deliver_by_time(*files, page, out)
                                 : deliver_result(files->log.get(), page, out);
  return result == 0 ? total : result;
}

void clear_search_mark(int log_fd) {
  ALERT_LOG(kNotable, "set alert file  not changed flag");
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log_fd, &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return;
  }
  header.isChanged &= ~kSearchMark;
  if (write_alert_header(log_fd, header, 1) != 0) {
    ALERT_LOG(kFailure, "write alert file header failed");
  }
}

}  // namespace

int alert_search(ALERT_SEARCH_INFO info, int* psize, int* pageno, LPALERT_RECORD_INFO pAltInfo) {
  if (psize == nullptr || *psize <= 0 || pAltInfo == nullptr || pageno == nullptr || *pageno < 0) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  ALERT_LOG(kNotable, "ENTER ==> %s()", __func__);
  end_texts(&info);
  log_criteria(info);
  const qel::StoreGuard guard;
  check_index_file_status();
  Files files;
  const int result = search_and_deliver(info, psize, pageno, pAltInfo, &files);
  if (result == 0) *pageno = -1;
  if (result < 1) {
    cache().clear();
  } else {
    cache().search_info = info;
    clear_search_mark(files.log.get());
  }
  ALERT_LOG(kNotable, "Leave <== %s(). return %d", __func__, result);
  return result;
}

void qsort_searchNode_array(LPTIME_INDEX pTimeIndex, int low, int high) {
  while (pTimeIndex != nullptr && low < high) {
    const TIME_INDEX pivot = pTimeIndex[low];
    int i = low;
    int j = high;
    while (i < j) {
      while (i < j && strcmp(pTimeIndex[j].szServerTime, pivot.szServerTime) >= 0) --j;
      pTimeIndex[i] = pTimeIndex[j];
      while (i < j && strcmp(pTimeIndex[i].szServerTime, pivot.szServerTime) <= 0) ++i;
      pTimeIndex[j] = pTimeIndex[i];
    }
    pTimeIndex[i] = pivot;
    if (i - low < high - i) {
      qsort_searchNode_array(pTimeIndex, low, i - 1);
      low = i + 1;
    } else {
      qsort_searchNode_array(pTimeIndex, i + 1, high);
      high = i - 1;
    }
  }
}
