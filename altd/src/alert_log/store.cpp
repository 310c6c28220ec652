// The door for the daemon: one alert stored in the log and its indexes.
#include <fcntl.h>

#include <cstring>

#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/steps.h"
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
  qel::LogHeader header;
  const qel::Descriptor log(qel::open_file_with_header(alt_name_only, O_RDWR, &header));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file failed");
    return -1;
  }
  qel::set_update_flags(log.get());
  if (len < ALERT_RECORD_SIZE) {
    ALERT_LOG(kFailure, "the alert data length is wrong");
    return -1;
  }
  ALERT_RECORD_INFO record;
  memcpy(&record, buf, sizeof record);
  // The integrity check looks at the index bits only; without one there is nothing to check.
  if ((header.numbers.isChanged & kIndexBits) != 0) {
    const int checked = check_index_file_status();
    if (checked != 0) return checked;
  }
  const int line = static_cast<int>(header.numbers.nCurToWrite);
  const int result =
      qel::store_record(log.get(), header.length, line, record, header.numbers, islocal, 1);
  if (result < 0) {
    ALERT_LOG(kFailure, "write alert record failed");
    return -1;
  }
  return result;
}
