// Where the entry of a new alert goes.
#include "alert_index.h"
#include "alert_index/find.h"
#include "common/log.h"

using qel::kFailure;

int search_index_write_location(int fd, int idx_type, int count, LPALERT_RECORD_INFO paltrecd,
                                int line) {
  ALERT_TRACE_FUNCTION();
  if (count <= 0) return 0;
  {
    qel::IndexReader index(fd, idx_type);
    qel::Ends ends;
    const int result = read_ends(index, count, &ends);
    if (result < 0) return result;
    if (idx_type == qel::kTimeIndex) {
      return find_time_location(index, count, ends, paltrecd->szServerTime);
    }
  }
  const int location =
      search_by_nounique_line_key(fd, idx_type, qel::key_of(*paltrecd, idx_type), line);
  if (location < 0) {
    ALERT_LOG(kFailure, "call search_by_nounique_line_key failed");
    return -1;
  }
  return location;
}
