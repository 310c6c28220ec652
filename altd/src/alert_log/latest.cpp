// The latest alerts and paging by count: the time index is read from its end.
#include <fcntl.h>

#include <algorithm>

#include "alert_index/index_reader.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/record_range.h"
#include "alert_log/search_lines.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kNotable;
using qel::Lines;

namespace {

// Opens a file of the store read-only; on failure logs `message` with the name when it has one.
int open_time_index() {
  const int fd = open_file(idx_name[0], O_RDONLY);
  if (fd < 0) ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[0]);
  return fd;
}

int open_log() {
  const int fd = open_file(alt_name_only, O_RDONLY);
  if (fd < 0) ALERT_LOG(kFailure, "open alert file failed");
  return fd;
}

int read_index_count(int fd, int* count) {
  INDEX_HEADER header = {};
  if (read_index_header(fd, &header) < 0) {
    ALERT_LOG(kFailure, "read index file header failed");
    return -1;
  }
  *count = static_cast<int>(header.nCurCount);
  return 0;
}

// Reads the records at `lines` into `out`. Returns count, or the i that could not be read.
int read_records(int log_fd, const int* lines, int count, LPALERT_RECORD_INFO out) {
  qel::RecordRange log;
  if (log.open(log_fd) != 0) return 0;
  return log.read(lines, count, [&](int i, const ALERT_RECORD_INFO& record) {
    out[i] = record;
    return true;
  });
}

int last_alerts(LPALERT_RECORD_INFO out, int wanted) {
  const Descriptor log(open_log());
  if (!log.valid()) return -1;
  const Descriptor time_index(open_time_index());
  if (!time_index.valid()) return -1;
  int total;
  if (read_index_count(time_index.get(), &total) != 0) return -1;
  if (total == 0) {
    ALERT_LOG(kNotable, "there is no alert records now.");
    return 0;
  }
  const int count = std::min(wanted, total);
  if (count == 0) return 0;
  const Lines lines = qel::allocate_lines(count);
  if (lines == nullptr) return -1;
  if (qel::read_entry_lines(time_index.get(), total - count, total - 1, lines.get()) < 0) {
    ALERT_LOG(kFailure, "read index record failed");
    return -1;
  }
  std::reverse(lines.get(), lines.get() + count);
  if (read_records(log.get(), lines.get(), count, out) < count) {
    ALERT_LOG(kFailure, "read alert record failed");
    return -1;
  }
  return count;
}

int no_records(int* psize, int* pageno) {
  *psize = 0;
  *pageno = -1;
  return 0;
}

// The index entries of one page, beginLine to endLine, newest last.
struct PageRange {
  int begin;
  int end;
};

// A page past the end becomes the last one; the last one may be shorter.
PageRange choose_range(int considered, int total, int* psize, int* pageno) {
  const int pagesize = *psize;
  const int pages = considered / pagesize + (considered % pagesize != 0 ? 1 : 0);
  if (*pageno >= pages - 1) {
    *pageno = pages - 1;
    if (considered % pagesize != 0) *psize = considered % pagesize;
  }
  const int end = total - *pageno * pagesize - 1;
  return {end - *psize + 1, end};
}

int deliver_range(int log_fd, int time_fd, const PageRange& range, LPALERT_RECORD_INFO out) {
  const int count = range.end - range.begin + 1;
  const Lines lines = qel::allocate_lines(count);
  if (lines == nullptr) {
    ALERT_LOG(kFailure, "malloc pLine failed");
    return -1;
  }
  if (get_alert_line(time_fd, lines.get(), range.begin, range.end) != 0) {
    ALERT_LOG(kFailure, "get alert record line failed, index file: %s", idx_name[0]);
    return -1;
  }
  std::reverse(lines.get(), lines.get() + count);
  const int read = read_records(log_fd, lines.get(), count, out);
  if (read == count) return 0;
  ALERT_LOG(kFailure, "read alert record(line:%d) failure!", lines[read]);
  return -1;
}

int page_by_count(int totalsize, int* psize, int* pageno, LPALERT_RECORD_INFO out) {
  const Descriptor log(open_log());
  if (!log.valid()) return -1;
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  if (header.nCurCount == 0) {
    ALERT_LOG(kNotable, "alert file is empty");
    return no_records(psize, pageno);
  }
  const Descriptor time_index(open_time_index());
  int total;
  if (!time_index.valid() || read_index_count(time_index.get(), &total) != 0) return -1;
  if (total == 0) {
    ALERT_LOG(kFailure, "there is no alert now in time.idx,and not match with alertlog.alt");
    return no_records(psize, pageno);
  }
  const int considered = std::min(totalsize, total);
  const PageRange range = choose_range(considered, total, psize, pageno);
  const int result = deliver_range(log.get(), time_index.get(), range, out);
  return result == 0 ? considered : result;
}

}  // namespace

int alert_get_last(LPALERT_RECORD_INFO pAltInfo, int nAltCount) {
  ALERT_LOG(kNotable, "ENTER ==> %s(%p,%d)", __func__, static_cast<void*>(pAltInfo), nAltCount);
  if (pAltInfo == nullptr || nAltCount < 0) {
    ALERT_LOG(kFailure, "parameter error");
    return 0;
  }
  const qel::StoreGuard guard;
  const int result = last_alerts(pAltInfo, nAltCount);
  ALERT_LOG(kNotable, "Leave <== %s(). return %d", __func__, result);
  return result;
}

int get_alert_by_count(int totalsize, int* psize, int* pageno, LPALERT_RECORD_INFO pAltInfo) {
  ALERT_LOG(kNotable, "ENTER ==> %s()", __func__);
  if (psize == nullptr || *psize <= 0 || pAltInfo == nullptr || pageno == nullptr || *pageno < 0 ||
      totalsize < 0) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  ALERT_LOG(kNotable, "parameter: %s(%d, %d, %d, %p)", __func__, totalsize, *psize, *pageno,
            static_cast<void*>(pAltInfo));
  const qel::StoreGuard guard;
  const int result = page_by_count(totalsize, psize, pageno, pAltInfo);
  ALERT_LOG(kNotable, "Leave <== %s(). return %d", __func__, result);
  return result;
}
