// Where the entry of a new alert goes.
#include <algorithm>

#include "alert_index.h"
#include "alert_index/index_reader.h"
#include "common/log.h"

using qel::IndexReader;
using qel::kFailure;

namespace {

constexpr int kWalkAhead = 63;  // entries fetched at once while walking back from the end

int log_unread(int position, int result) {
  ALERT_LOG(kFailure, "read index record(No. %d) failed", position);
  return result;
}

// New alerts are almost always the newest, so "time.idx" is walked from its end. A time equal to
// the first entry's goes in front of it, any other equal time behind its run.
int time_location(int fd, int count, const char* time, const INDEX_RECORD_INFO& first,
                  const INDEX_RECORD_INFO& last) {
  if (strcmp(time, last.szKeyVal) >= 0) return count;
  if (strcmp(time, first.szKeyVal) <= 0) return 0;
  IndexReader index(fd, qel::kTimeIndex);
  INDEX_RECORD_INFO entry = {};
  for (int position = count - 2; position >= 0; --position) {
    const int result = index.read(position, std::max(position - kWalkAhead, 0), position, &entry);
    if (result < 0) return log_unread(position, result);
    if (strcmp(entry.szKeyVal, time) <= 0) return position + 1;
  }
  return 0;
}

}  // namespace

int search_index_write_location(int fd, int idx_type, int count, LPALERT_RECORD_INFO paltrecd,
                                int line) {
  ALERT_TRACE_FUNCTION();
  if (count <= 0) return 0;
  INDEX_RECORD_INFO first = {};
  int result = read_index_record(fd, 0, &first);
  if (result < 0) return log_unread(0, result);
  INDEX_RECORD_INFO last = {};
  result = read_index_record(fd, count - 1, &last);
  if (result < 0) return log_unread(count - 1, result);
  if (idx_type == qel::kTimeIndex) {
    return time_location(fd, count, paltrecd->szServerTime, first, last);
  }
  const int location =
      search_by_nounique_line_key(fd, idx_type, qel::key_of(*paltrecd, idx_type), line);
  if (location < 0) {
    ALERT_LOG(kFailure, "call search_by_nounique_line_key failed");
    return -1;
  }
  return location;
}
