// The front end's search: the result is kept for paging.
#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "alert_index/index_reader.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_log/record_range.h"
#include "alert_log/search_match.h"
#include "alert_log/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::Lines;
using qel::RecordRange;
using qel::SearchFiles;

namespace {

constexpr int kSearchMark = 128;  // isChanged: the log was written since the last search

// The last result, kept for the next page of the same search.
struct Cache {
  qel::Match match;
  ALERT_SEARCH_INFO search_info = {};

  void clear() { *this = Cache(); }
};

Cache& cache() {
  static Cache kept;
  return kept;
}

// A page of the result: positions in it, first to last.
struct Page {
  int first;
  int last;
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
int open_log(SearchFiles* files) {
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

int open_indexes(SearchFiles* files) {
  for (int i = 0; i < qel::kCriteria; ++i) {
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
  if (cache().match.result == nullptr || memcmp(&info, &cache().search_info, sizeof info) != 0) {
    return false;
  }
  ALERT_LOG(kNotable, "search condition not changed");
  if ((header.isChanged & kSearchMark) != 0) return false;
  ALERT_LOG(kNotable, "alert file  not changed");
  return true;
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
  const int* lines = cache().match.result.get() + page.first;
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
int deliver_by_time(const SearchFiles& files, const Page& page, LPALERT_RECORD_INFO out) {
  const int count = page.last - page.first + 1;
  const int newest = files.count() - 1 - page.first;
  const Lines lines = qel::allocate_lines(count);
  if (lines == nullptr) return -1;
  const int found = qel::read_entry_lines(files.index[qel::kTimeRange].get(), newest - count + 1,
                                          newest, lines.get());
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
                       LPALERT_RECORD_INFO out, SearchFiles* files) {
  int result = open_log(files);
  if (result != 0) return result;
  if (files->count() == 0) {
    ALERT_LOG(kNotable, "alert file is empty");
    *psize = 0;
    return 0;
  }
  result = open_indexes(files);
  if (result != 0) return result;
  if (!cached(info, files->header)) {
    cache().clear();
    if (match_criteria(*files, info, &cache().match) != 0) return -1;
  }
  const int total = cache().match.realcount;
  if (total == 0) {
    *psize = 0;
    return 0;
  }
  const Page page = choose_page(total, psize, pageno);
  result = cache().match.allrecds == 1 ? deliver_by_time(*files, page, out)
                                       : deliver_result(files->log.get(), page, out);
  return result == 0 ? total : result;
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
  SearchFiles files;
  const int result = search_and_deliver(info, psize, pageno, pAltInfo, &files);
  if (result == 0) *pageno = -1;
  if (result < 1) {
    cache().clear();
  } else {
    cache().search_info = info;
    ALERT_LOG(kNotable, "set alert file  not changed flag");
    qel::clear_changed_bits(files.log.get(), kSearchMark);
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
