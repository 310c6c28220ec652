// Finding entries: by date, by key, and the entries of one alert.
#include <fcntl.h>

#include <algorithm>

#include "alert_index.h"
#include "alert_index/find.h"
#include "alert_index/index_reader.h"
#include "alert_log.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::IndexReader;
using qel::kFailure;
using qel::log_unread;
using qel::Probe;

namespace {

constexpr int kNoneOnThatSide = -2;
constexpr int kWalkAhead = 16;  // entries that a linear walk is likely to ask for

int read_count(int fd, int* count) {
  INDEX_HEADER header = {};
  if (read_index_header(fd, &header) < 0) return -1;
  *count = static_cast<int>(header.nCurCount);
  return 0;
}

// Walks from `position` by `step` while the key, compared with the date by `go_on`, allows it.
// Returns the first position where it does not (-1 or count at the ends); -2 - position is the
// entry that could not be read.
template <typename GoOn>
int walk(IndexReader& index, int position, int step, int count, GoOn go_on) {
  INDEX_RECORD_INFO entry = {};
  for (; position >= 0 && position < count; position += step) {
    const int ahead = std::clamp(position + step * kWalkAhead, 0, count - 1);
    const int result =
        index.read(position, std::min(position, ahead), std::max(position, ahead), &entry);
    if (result < 0) return kNoneOnThatSide - position;
    if (!go_on(entry)) return position;
  }
  return position;
}

// The end of the run of equal keys that a probe has hit: its first entry (step -1) or its last.
int end_of_run(IndexReader& index, const char* date, int found, int step, int count) {
  const int stop = walk(index, found, step, count, [&](const INDEX_RECORD_INFO& entry) {
    return strcmp(entry.szKeyVal, date) == 0;
  });
  return stop <= kNoneOnThatSide ? log_unread(kNoneOnThatSide - stop, -1) : stop - step;
}

// The nearest entry beyond the date, going up (step 1) or down (step -1).
int nearest_beyond(IndexReader& index, const char* date, int from, int step, int count) {
  const int start = std::clamp(from, 0, count - 1);
  const int stop = walk(index, start, step, count, [&](const INDEX_RECORD_INFO& entry) {
    const int order = strcmp(entry.szKeyVal, date);
    return step > 0 ? order <= 0 : order >= 0;
  });
  if (stop <= kNoneOnThatSide) return log_unread(kNoneOnThatSide - stop, -1);
  return stop < 0 || stop >= count ? kNoneOnThatSide : stop;
}

}  // namespace

int get_nextto_write(void) {
  ALERT_TRACE_FUNCTION();
  const qel::Descriptor index(open_file(idx_name[qel::kTimeIndex], O_RDONLY));
  if (!index.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[qel::kTimeIndex]);
    return -1;
  }
  INDEX_RECORD_INFO oldest = {};
  if (read_index_record(index.get(), 0, &oldest) < 0) return log_unread(0, -1);
  return static_cast<int>(oldest.nLine);
}

int search_by_date(int fd, const char* sdate, int compare) {
  ALERT_TRACE_FUNCTION();
  if (sdate == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  int count;
  if (read_count(fd, &count) != 0) {
    ALERT_LOG(kFailure, "read index file header failed");
    return -1;
  }
  if (count <= 0) {
    ALERT_LOG(kFailure, "there is no alert now");
    return -1;
  }
  IndexReader index(fd, qel::kTimeIndex);
  const Probe probe = binary_search(index, 0, count - 1, [&](const INDEX_RECORD_INFO& entry) {
    return strcmp(sdate, entry.szKeyVal);
  });
  if (probe.result < 0) return log_unread(probe.mid, -1);
  const bool is_start = compare == 0;
  if (probe.found) return end_of_run(index, sdate, probe.mid, is_start ? -1 : 1, count);
  return is_start ? nearest_beyond(index, sdate, probe.high, 1, count)
                  : nearest_beyond(index, sdate, probe.low, -1, count);
}

int search_by_nounique_key(int fd, int idxtype, const char* strkey, int* begin, int* end,
                           int* firL) {
  ALERT_LOG(qel::kTrace, "Enter function: %s", __func__);
  int count;
  if (read_count(fd, &count) != 0) {
    ALERT_LOG(kFailure, "read index file header failed");
    ALERT_LOG(qel::kTrace, "Leave function: %s", __func__);
    return -1;
  }
  IndexReader index(fd, idxtype);
  const auto order = [&](const INDEX_RECORD_INFO& entry) {
    return qel::compare_keys(idxtype, strkey, entry.szKeyVal);
  };
  const Probe any = binary_search(index, 0, count - 1, order);
  if (any.result == 0 && !any.found) {
    *begin = *end = -1;
    *firL = any.high;
    return 0;  // without the leave line, as ever
  }
  // Every unequal entry counts as lying outside, so each search ends just beyond its side.
  Probe first = any;
  Probe last = any;
  if (any.result == 0) {
    first = binary_search(index, 0, any.mid, [&](const INDEX_RECORD_INFO& entry) {
      return order(entry) == 0 ? -1 : 1;
    });
    last = binary_search(index, any.mid, count - 1, [&](const INDEX_RECORD_INFO& entry) {
      return order(entry) == 0 ? 1 : -1;
    });
  }
  const bool failed = first.result < 0 || last.result < 0;
  if (failed) {
    log_unread(any.mid, -1);
  } else {
    *begin = first.high + 1;
    *end = last.low - 1;
  }
  ALERT_LOG(qel::kTrace, "Leave function: %s", __func__);
  return failed ? -1 : 0;
}

int search_by_nounique_line_key(int fd, int idxtype, const char* strkey, int line) {
  ALERT_TRACE_FUNCTION();
  int count;
  if (read_count(fd, &count) != 0) {
    ALERT_LOG(kFailure, "read index file header failed");
    return -1;
  }
  IndexReader index(fd, idxtype);
  const Probe probe = qel::find_key_line(index, count, strkey, line);
  if (probe.result < 0) return log_unread(probe.mid, -1);
  return probe.found ? probe.mid + 1 : probe.high + 1;
}

int srv_alt_id_index_write_location(int fd, int count, LPALERT_RECORD_INFO paltrecd) {
  ALERT_TRACE_FUNCTION();
  IndexReader index(fd, qel::kServerIdIndex);
  const Probe probe = qel::find_alert_id(index, count, *paltrecd);
  if (probe.result < 0) return qel::log_unread_id(probe.mid, probe.result);
  return probe.found ? probe.mid : probe.high + 1;
}

int search_special_record(int idxfd, int idxtype, ALERT_RECORD_INFO altinfo, int /*stype*/,
                          int oldline) {
  ALERT_TRACE_FUNCTION();
  int count;
  if (read_count(idxfd, &count) != 0) {
    ALERT_LOG(kFailure, "read index file header(%s) failed", idx_name[idxtype]);
    return -1;
  }
  IndexReader index(idxfd, idxtype);
  return qel::find_overwritten(index, count, altinfo, oldline);
}

int search_special_alt_id_record(int idxfd, int stype, ALERT_RECORD_INFO altinfo, int* line) {
  ALERT_TRACE_FUNCTION();
  *line = -1;
  int count;
  if (read_count(idxfd, &count) != 0) {
    ALERT_LOG(kFailure, "read srv_alt_id index file header failed");
    return -1;
  }
  IndexReader index(idxfd, qel::kServerIdIndex);
  const Probe probe = qel::find_alert_id(index, count, altinfo);
  if (probe.result < 0) {
    // Callers look at *line: a failed read counts as a silent miss.
    qel::log_unread_id(probe.mid, -1);
  } else if (probe.found) {
    *line = probe.mid;
  } else if (stype == 0) {
    qel::log_absent_id(altinfo);
  }
  return 0;
}
