// The text header of the alert log.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_log/steps.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kFailure;
using qel::kHeaderSearch;

namespace {

constexpr int kNumericLines = 6;

// Sets *value to the number behind the ":" of the next line and moves *text behind that line.
int take_header_number(char** text, long* value) {
  char* end = strchr(*text, '\n');
  if (end == nullptr) {
    ALERT_LOG(kFailure, " read alert header with char (\n) failed");
    return ALERT_ERR_HEADER_FORMAT;
  }
  *end = '\0';
  const char* colon = strchr(*text, ':');
  if (colon == nullptr) {
    ALERT_LOG(kFailure, " read alert header with char (:) failed");
    return ALERT_ERR_HEADER_FORMAT;
  }
  *value = strtol(colon + 1, nullptr, 10);
  *text = end + 1;
  return 0;
}

int parse_numbers(char* text, LPALERT_FILE_HEADER header) {
  long values[kNumericLines];
  for (long& value : values) {
    const int result = take_header_number(&text, &value);
    if (result != 0) return result;
  }
  header->nMaxCount = static_cast<uint32_t>(values[0]);
  header->nCurCount = static_cast<uint32_t>(values[1]);
  header->nCurToWrite = static_cast<uint32_t>(values[2]);
  header->nMaxRecordSize = static_cast<uint32_t>(values[3]);
  header->isChanged = static_cast<int>(values[4]);
  header->current_alert_id = static_cast<uint32_t>(values[5]);
  return 0;
}

// The length of the header at the start of `size` bytes. Its empty line is a line end whose
// predecessor is one, too; the first byte counts as its own predecessor.
int length_of_header(const char* text, size_t size) {
  size_t at = 0;
  while (at < size && !(text[at] == '\n' && text[at > 0 ? at - 1 : 0] == '\n')) ++at;
  return static_cast<int>(at) + 1;
}

int format_numbers(char* text, size_t size, const ALERT_FILE_HEADER& header) {
  return snprintf(text, size,
                  "Max count:%8d\nCurrent count:%8d\nCurrent to write:%8d\nMax record size:%8d\n"
                  "Is changed:%8d\nCurrent alert Id:%8d\n",
                  static_cast<int>(header.nMaxCount), static_cast<int>(header.nCurCount),
                  static_cast<int>(header.nCurToWrite), static_cast<int>(header.nMaxRecordSize),
                  header.isChanged, static_cast<int>(header.current_alert_id));
}

// The last title is padded to 20 characters, not to its column's width.
int format_titles(char* text, size_t size, const ALERT_FIELD_INFO* field) {
  return snprintf(text, size, "%-10.16s%-24.16s%-24.16s%-65.16s%-32.16s%-8.16s%-8.16s%-20.16s\n\n",
                  field[0].szFieldName, field[1].szFieldName, field[2].szFieldName,
                  field[3].szFieldName, field[4].szFieldName, field[5].szFieldName,
                  field[6].szFieldName, field[7].szFieldName);
}

}  // namespace

char* record_field_name[ALERT_FIELD_COUNT] = {
    const_cast<char*>("AlertID"),     const_cast<char*>("Write Time"),
    const_cast<char*>("Date & Time"), const_cast<char*>("Server"),
    const_cast<char*>("Module"),      const_cast<char*>("EventId"),
    const_cast<char*>("Level"),       const_cast<char*>("Alert Message")};

int record_field_lenth[ALERT_FIELD_COUNT] = {
    qel::kColumnId.width,     qel::kColumnWriteTime.width, qel::kColumnServerTime.width,
    qel::kColumnServer.width, qel::kColumnModule.width,    qel::kColumnEvent.width,
    qel::kColumnLevel.width,  qel::kColumnMessage.width};

void init_header_data(LPALERT_FILE_HEADER pHeader) {
  pHeader->nMaxCount = static_cast<uint32_t>(alt_max_count);
  pHeader->nCurCount = 0;
  pHeader->nCurToWrite = 0;
  pHeader->nMaxRecordSize = qel::kRecordText;
  pHeader->isChanged = 0;
  pHeader->current_alert_id = 0;
}

void prepare_header_field(LPALERT_FILE_HEADER pHeader) {
  for (int i = 0; i < ALERT_FIELD_COUNT; ++i) {
    ALERT_FIELD_INFO& field = pHeader->alertField[i];
    snprintf(field.szFieldName, sizeof field.szFieldName, "%s", record_field_name[i]);
    field.nFieldLen = record_field_lenth[i];
  }
}

int get_header_length(int fd) {
  char text[kHeaderSearch];
  if (lseek(fd, 0, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  if (lock_reg(fd, F_SETLKW, F_RDLCK, 0, SEEK_SET, kHeaderSearch) == -1) {
    ALERT_LOG(kFailure, "lock file failed: %d", errno);
    return -1;
  }
  const ssize_t size = read_line(fd, text, sizeof text);
  if (size < 0) ALERT_LOG(kFailure, "read data failed");
  if (lock_reg(fd, F_SETLK, F_UNLCK, 0, SEEK_SET, kHeaderSearch) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
    return -1;
  }
  return size < 0 ? -1 : length_of_header(text, static_cast<size_t>(size));
}

int write_alert_header(int fd, ALERT_FILE_HEADER altheader, int type) {
  ALERT_TRACE_FUNCTION();
  char text[kHeaderSearch] = {};
  int size = format_numbers(text, sizeof text, altheader);
  if (type == 0) size += format_titles(text + size, sizeof text - size, altheader.alertField);
  if (write_local_disk(fd, 0, text, size, size) != 0) {
    ALERT_LOG(kFailure, "call write_local_disk failed");
    return -1;
  }
  return 0;
}

int read_alert_header(int fd, LPALERT_FILE_HEADER pAltHeader) {
  ALERT_TRACE_FUNCTION();
  if (pAltHeader == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  off_t file_size;
  int length;
  return qel::read_header(fd, pAltHeader, &length, &file_size);
}

int qel::read_header(int fd, LPALERT_FILE_HEADER header, int* length, off_t* file_size) {
  struct stat status;
  if (fstat(fd, &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  *file_size = status.st_size;
  if (status.st_size == 0) {
    ALERT_LOG(kFailure,
              "error for file was empty or file was destroyed. the bad file will be deleted.");
    close(fd);
    qel::Descriptor::closed(fd);
    remove_destroyed_file();
    return -1;
  }
  char text[kHeaderSearch + 1] = {};
  if (read_local_disk(fd, 0, text, kHeaderSearch, kHeaderSearch) != 0) {
    ALERT_LOG(kFailure, "call read_local_disk failed");
    return -1;
  }
  *length = length_of_header(
      text, static_cast<size_t>(std::min<off_t>(status.st_size, off_t{kHeaderSearch})));
  return parse_numbers(text, header);
}

void qel::set_update_flags(int fd) {
  if (fcntl(fd, F_SETFL, O_SYNC | O_NOATIME) == -1) set_file_flag(fd);
}

int qel::put_header_numbers(int fd, const ALERT_FILE_HEADER& header) {
  if (write_alert_header(fd, header, 1) == 0) return 0;
  ALERT_LOG(kFailure, "write alert file header failed");
  return -1;
}

void qel::clear_changed_bits(int fd, int bits) {
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(fd, &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return;
  }
  header.isChanged &= ~bits;
  put_header_numbers(fd, header);
}

int qel::aim_at_oldest(ALERT_FILE_HEADER* header) {
  const int line = get_nextto_write();
  if (line == -1) {
    ALERT_LOG(kFailure, "call get_nexto_write failed");
    return -1;
  }
  header->nCurToWrite = static_cast<uint32_t>(line);
  return 0;
}

bool qel::fits_header(int fd) {
  char text[kHeaderSearch + 1] = {};
  const ssize_t got = pread(fd, text, kHeaderSearch, 0);
  const off_t size = lseek(fd, 0, SEEK_END);
  if (got <= 0 || size == -1) return false;
  const int length = length_of_header(text, static_cast<size_t>(got));
  ALERT_FILE_HEADER header = {};
  return parse_numbers(text, &header) == 0 &&
         size == record_offset(static_cast<int>(header.nCurCount), length);
}
