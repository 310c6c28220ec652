// One entry of an index file. These run inside every search, so they do not trace entry and exit.
#include <unistd.h>

#include <cerrno>

#include "alert_index.h"
#include "alert_index/layout.h"
#include "alert_lock.h"
#include "common/log.h"

using qel::kDump;
using qel::kFailure;
using qel::kLongRecord;
using qel::kShortRecord;

namespace {

using Parser = bool (*)(const char*, INDEX_RECORD_INFO*);

template <size_t size>
int read_entry(int fd, off_t offset, Parser parse, LPINDEX_RECORD_INFO entry) {
  char text[size] = {};
  if (read_local_disk(fd, offset, text, size, size) != 0) {
    ALERT_LOG(kFailure, "call read_local_disk failed");
    return -1;
  }
  if (!parse(text, entry)) {
    ALERT_LOG(kFailure, "access overflow!");
    return ALERT_ERR_RECORD_OVERFLOW;
  }
  return 0;
}

int write_entry(int fd, off_t offset, const char* text, size_t size) {
  if (lseek(fd, 0, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  if (write_local_disk(fd, offset, text, size, size) != 0) {
    ALERT_LOG(kFailure, "call write_local_disk failed");
    return -1;
  }
  return 0;
}

}  // namespace

int read_index_record(int fd, int line, LPINDEX_RECORD_INFO pidxrecd) {
  if (pidxrecd == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  return read_entry<kShortRecord>(fd, qel::index_offset(qel::kTimeIndex, line), qel::parse_short,
                                  pidxrecd);
}

int write_index_record(int fd, int line, INDEX_RECORD_INFO idxrecd) {
  char text[kShortRecord];
  qel::format_short(text, idxrecd.szKeyVal, static_cast<int>(idxrecd.nLine));
  return write_entry(fd, qel::index_offset(qel::kTimeIndex, line), text, sizeof text);
}

int read_index_srv_id_record(int fd, int line, LPINDEX_RECORD_INFO pidxrecd) {
  if (pidxrecd == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  // Shows what the caller's structure held before.
  ALERT_LOG(kDump, "Read alert id: Line=%d,Alert_id=%d", static_cast<int>(pidxrecd->nLine),
            static_cast<int>(pidxrecd->alert_id));
  return read_entry<kLongRecord>(fd, qel::index_offset(qel::kServerIdIndex, line), qel::parse_long,
                                 pidxrecd);
}

int write_index_srv_id_record(int fd, int line, INDEX_RECORD_INFO idxrecd) {
  ALERT_LOG(kDump, "Write alert id: Line=%d,Alert_id=%d", static_cast<int>(idxrecd.nLine),
            static_cast<int>(idxrecd.alert_id));
  char text[kLongRecord];
  qel::format_long(text, idxrecd.szKeyVal, idxrecd.alert_id, idxrecd.nLine);
  return write_entry(fd, qel::index_offset(qel::kServerIdIndex, line), text, sizeof text);
}
