// The door for the daemon: one alert stored in the log and its indexes.
#include <fcntl.h>

#include <cstring>

#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kFailure;

namespace {

constexpr int kIndexBits = (1 << ALERT_INDEX_COUNT) - 1;

}  // namespace

int udp_write_disk(const char* buf, size_t len, int islocal) {
  ALERT_TRACE_FUNCTION();
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const qel::StoreGuard guard;
  const qel::Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file failed");
    return -1;
  }
  if (len < ALERT_RECORD_SIZE) {
    ALERT_LOG(kFailure, "the alert data length is wrong");
    return -1;
  }
  ALERT_RECORD_INFO record;
  memcpy(&record, buf, sizeof record);
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  // The integrity check looks at the index bits only; without one there is nothing to check.
  if ((header.isChanged & kIndexBits) != 0) {
    const int checked = check_index_file_status();
    if (checked != 0) return checked;
  }
  const int result = write_alert_record(log.get(), static_cast<int>(header.nCurToWrite), record,
                                        header, islocal, 1);
  if (result < 0) {
    ALERT_LOG(kFailure, "write alert record failed");
    return -1;
  }
  return result;
}
