// The door for alert-raising programs: one line appended to the intake file.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "alert_log.h"
#include "alert_log/layout.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kFailure;
using qel::kNotable;
using qel::kRecordLine;

namespace {

void normalise_level(ALERT_RECORD_INFO* record) {
  const long level = qel::take_number(record->szLevel, sizeof record->szLevel);
  memset(record->szLevel, 0, sizeof record->szLevel);
  record->szLevel[0] = level == 1 ? '1' : level == 2 ? '2' : '3';
}

// Appends a line while the whole file is locked. A failed append is taken back, or what it left
// would shift all lines behind it.
int append_locked(int fd, const char* line) {
  const off_t end = lseek(fd, 0, SEEK_END);
  if (end == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  if (write_line(fd, line, kRecordLine) == static_cast<ssize_t>(kRecordLine)) return 0;
  ALERT_LOG(kFailure, "write data disk failed");
  if (ftruncate(fd, end) != 0) ALERT_LOG(kFailure, "ftruncate failed: %d", errno);
  return -1;
}

int append(int fd, const char* line) {
  if (lock_reg(fd, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "call writew_lock failed: %d", errno);
    return -1;
  }
  int result = append_locked(fd, line);
  if (lock_reg(fd, F_SETLK, F_UNLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "call un_lock failed: %d", errno);
    result = -1;
  }
  return result;
}

int put_into_intake(ALERT_RECORD_INFO* record) {
  const qel::Descriptor intake(open_file(alt_name_temp, O_RDWR));
  if (!intake.valid()) {
    ALERT_LOG(kFailure, "open alert temporary file failed");
    return -1;
  }
  struct stat status;
  if (fstat(intake.get(), &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  if (status.st_size > qel::kIntakeMax) {
    ALERT_LOG(kFailure, "temporary file's size is too large,alert can not be wrote");
    return -1;
  }
  get_current_localtime(record->szWriteTime, sizeof record->szWriteTime);
  char line[kRecordLine];
  qel::format_record(line, *record);
  return append(intake.get(), line);
}

}  // namespace

int alert_log_lib_write(LPALERT_RECORD_INFO paltrecd) {
  ALERT_TRACE_FUNCTION();
  if (paltrecd == nullptr) {
    ALERT_LOG(kFailure, "parameter error.");
    return -1;
  }
  qel::end_text(paltrecd->szAlertMessage);
  normalise_level(paltrecd);
  const int result = put_into_intake(paltrecd);
  ALERT_LOG(kNotable, "save alert to local file:%.24s,%.32s,%.8s,%.8s,%.100s ",
            paltrecd->szServerTime, paltrecd->szModType, paltrecd->szEventID, paltrecd->szLevel,
            paltrecd->szAlertMessage);
  return result;
}

int get_current_localtime(char* s, size_t size) {
  memset(s, 0, size);
  struct timeval now;
  gettimeofday(&now, nullptr);
  struct tm local;
  localtime_r(&now.tv_sec, &local);
  const size_t date = strftime(s, size, "%Y/%m/%d %H:%M:%S", &local);
  if (date == 0) {
    memset(s, 0, size);
    return 0;
  }
  snprintf(s + date, size - date, ".%03d", static_cast<int>(now.tv_usec / 1000));
  return static_cast<int>(strlen(s));
}
