// One record of the alert log.
#include <cstring>

#include "alert_index/index_update.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_log/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kNotable;
using qel::kRecordLine;

namespace {

constexpr uint32_t kNextId = 0xFFFFFFFFu;  // a local record of this id counts the id up

bool full(const ALERT_FILE_HEADER& header) {
  return header.nCurCount == static_cast<uint32_t>(alt_max_count);
}

int put_record_line(int fd, int line, int header_length, const ALERT_RECORD_INFO& record) {
  char text[kRecordLine];
  qel::format_record(text, record);
  const off_t offset = qel::record_offset(line, header_length);
  if (offset < header_length || offset > qel::record_offset(alt_max_count - 1, header_length)) {
    ALERT_LOG(kFailure, "writing offset error!<off_set = %d,max count = %d,headerlen = %d>",
              static_cast<int>(offset), alt_max_count, header_length);
    return -1;
  }
  if (write_local_disk(fd, offset, text, kRecordLine, kRecordLine) != 0) {
    ALERT_LOG(kFailure, "call write_local_disk failed");
    return -1;
  }
  ALERT_LOG(kNotable, "alert record after write to local file ");
  ALERT_LOG(kNotable, "alert_id = %d,szServer = %s, szServerTime = %s",
            static_cast<int>(record.alert_id), record.szServer, record.szServerTime);
  return 0;
}

int count_appended(int fd, ALERT_FILE_HEADER* header) {
  ++header->nCurCount;
  ++header->nCurToWrite;
  if (qel::put_header_numbers(fd, *header) != 0) return -1;
  return full(*header) ? qel::aim_at_oldest(header) : 0;
}

// The line of the oldest record becomes the next to write, and the bits of the updated indexes are
// cleared. An index that was built meanwhile has rewritten the header, so it is read again.
int aim_full_log(int fd, const qel::Upkeep& upkeep, ALERT_FILE_HEADER* header) {
  const bool untouched = upkeep.updated == qel::kAllIndexes;
  if (!untouched && read_alert_header(fd, header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
  }
  header->isChanged &= ~upkeep.updated;
  if (upkeep.oldest_line >= 0) {
    header->nCurToWrite = static_cast<uint32_t>(upkeep.oldest_line);
  } else if (qel::aim_at_oldest(header) != 0) {
    if (upkeep.updated != 0) qel::clear_changed_bits(fd, upkeep.updated);
    return -1;
  }
  return qel::put_header_numbers(fd, *header);
}

void track_local_id(ALERT_FILE_HEADER* header, uint32_t alert_id) {
  header->current_alert_id = alert_id == kNextId ? header->current_alert_id + 1 : alert_id;
}

}  // namespace

int write_alert_record(int fd, int line, ALERT_RECORD_INFO AltRecord, ALERT_FILE_HEADER altHeader,
                       int islocal, int caller) {
  ALERT_TRACE_FUNCTION();
  return qel::store_record(fd, -1, line, AltRecord, altHeader, islocal, caller);
}

int qel::store_record(int fd, int header_length, int line, ALERT_RECORD_INFO AltRecord,
                      ALERT_FILE_HEADER altHeader, int islocal, int caller) {
  if (line < 0 || line >= alt_max_count) {
    ALERT_LOG(kFailure, "writing line error!<line = %d,max count = %d>", line, alt_max_count);
    return -1;
  }
  qel::end_texts(&AltRecord);
  if (check_alert_record_info(&AltRecord) != 0) return 1;
  if (islocal != 1) get_current_localtime(AltRecord.szWriteTime, sizeof AltRecord.szWriteTime);
  if (header_length < 0) header_length = get_header_length(fd);
  if (header_length < 0) {
    ALERT_LOG(kFailure, "get alert file header length error");
    return -1;
  }
  ALERT_RECORD_INFO overwritten = {};
  const bool was_full = full(altHeader);
  if (was_full && qel::read_record(fd, header_length, line, &overwritten) != 0) {
    ALERT_LOG(kFailure, "read alert record(No. %d) failed",
              static_cast<int>(altHeader.nCurToWrite));
    return -1;
  }
  if (put_record_line(fd, line, header_length, AltRecord) != 0) return -1;
  if (!was_full && count_appended(fd, &altHeader) != 0) return -1;
  altHeader.isChanged = qel::kAllChanged;
  if (islocal == 1 && caller == 1) track_local_id(&altHeader, AltRecord.alert_id);
  if (qel::put_header_numbers(fd, altHeader) != 0) return -1;
  qel::Upkeep upkeep = {0, 0, -1};
  if (caller == 1) upkeep = qel::update_all_indexes(fd, {line, AltRecord, overwritten});
  if (upkeep.result < 0) ALERT_LOG(kFailure, "modify index file failed");
  if (full(altHeader)) return aim_full_log(fd, upkeep, &altHeader);
  if (upkeep.updated != 0) qel::clear_changed_bits(fd, upkeep.updated);
  return 0;
}

int read_alert_record(int fd, int line, LPALERT_RECORD_INFO pAltRecord) {
  const int header_length = get_header_length(fd);
  if (header_length < 0) {
    ALERT_LOG(kFailure, "get alert file header length failed");
    return -1;
  }
  return qel::read_record(fd, header_length, line, pAltRecord);
}

int qel::read_record(int fd, int header_length, int line, LPALERT_RECORD_INFO record) {
  char text[kRecordLine] = {};
  if (read_local_disk(fd, record_offset(line, header_length), text, kRecordLine, kRecordLine) !=
      0) {
    ALERT_LOG(kFailure, "call read_local_disk failed");
    return -1;
  }
  ALERT_RECORD_INFO parsed = {};
  if (!parse_record(text, &parsed)) {
    ALERT_LOG(kFailure, "access overflow!");
    return ALERT_ERR_RECORD_OVERFLOW;
  }
  *record = parsed;
  return 0;
}
