// Checks: of records before they are stored, and of the log's header for daemon and front end.
#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::kFailure;
using qel::kMinor;

namespace {

constexpr int kUpdatedMark = 64;

void log_refused(const ALERT_RECORD_INFO& record) {
  ALERT_LOG(kFailure, "<---------alert record error info ---------->");
  ALERT_LOG(kFailure, "alert id = %d", static_cast<int>(record.alert_id));
  ALERT_LOG(kFailure, "event id = (%s)", record.szEventID);
  ALERT_LOG(kFailure, "level = (%s)", record.szLevel);
  ALERT_LOG(kFailure, "type = (%s)", record.szModType);
  ALERT_LOG(kFailure, "server = (%s)", record.szServer);
  ALERT_LOG(kFailure, "server time = (%s)", record.szServerTime);
  ALERT_LOG(kFailure, "message = (%s)", record.szAlertMessage);
}

}  // namespace

int check_string(const char* str) {
  return str != nullptr && str[strspn(str, " ")] != '\0' ? 0 : -1;
}

int check_alert_record_info(LPALERT_RECORD_INFO pAltrecd) {
  ALERT_RECORD_INFO record = *pAltrecd;
  qel::end_texts(&record);
  for (const char* text : {record.szEventID, record.szLevel, record.szModType, record.szServer,
                           record.szServerTime, record.szAlertMessage}) {
    if (check_string(text) != 0) {
      log_refused(record);
      return -1;
    }
  }
  return 0;
}

int check_file_size(void) {
  ALERT_TRACE_FUNCTION();
  const qel::StoreGuard guard;
  const qel::Descriptor log(open_file(alt_name_only, O_RDONLY));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file(%s) failed", alt_name_only);
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  return header.nMaxCount != static_cast<uint32_t>(alt_max_count) ? 1 : 0;
}

int check_is_update(void) {
  ALERT_TRACE_FUNCTION();
  const qel::StoreGuard guard;
  const qel::Descriptor log(open(qel::store_path(alt_name_only).text, O_RDWR));
  if (!log.valid()) {
    if (errno == ENOENT) {
      ALERT_LOG(kMinor, "open alert file failed, file was not exist.");
    } else {
      ALERT_LOG(kFailure, "open alert file failed.");
    }
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  if ((header.isChanged & kUpdatedMark) == 0) return 0;
  header.isChanged &= ~kUpdatedMark;
  if (write_alert_header(log.get(), header, 1) != 0) {
    ALERT_LOG(kFailure, "write alert file header failed");
    return -1;
  }
  return 1;
}
