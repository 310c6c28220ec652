// Headers of index files.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alert_index.h"
#include "alert_index/header_steps.h"
#include "alert_index/layout.h"
#include "alert_lock.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kFailure;
using qel::kIndexHeader;
using qel::kIndexHeaderLine;

namespace {

constexpr size_t kExtension = 4;  // ".idx"
constexpr size_t kValueMax = 24;  // characters of a header value

// Finds the text of the header line that begins at `begin`: the end of its text (trailing blanks
// cut) and the line end itself.
int find_line(const char* text, size_t begin, size_t* text_end, size_t* line_end) {
  const void* newline = memchr(text + begin, '\n', kIndexHeader - begin);
  if (newline == nullptr) {
    ALERT_LOG(kFailure, " read index header with char (\n)  failed");
    return ALERT_ERR_HEADER_FORMAT;
  }
  *line_end = static_cast<size_t>(static_cast<const char*>(newline) - text);
  *text_end = qel::text_end(text, *line_end);
  if (*text_end < begin) {
    ALERT_LOG(kFailure, "access overflow!");
    return ALERT_ERR_HEADER_FORMAT;
  }
  return 0;
}

// Copies the value behind the colon of the line at *begin and moves *begin behind that line.
int take_header_value(const char* text, size_t* begin, char (&value)[kValueMax + 1]) {
  size_t end;
  size_t line_end;
  const int result = find_line(text, *begin, &end, &line_end);
  if (result != 0) return result;
  const void* colon = memchr(text + *begin, ':', kIndexHeader - *begin);
  if (colon == nullptr) {
    ALERT_LOG(kFailure, " read index header with char (:) failed");
    return ALERT_ERR_HEADER_FORMAT;
  }
  const size_t value_begin = static_cast<size_t>(static_cast<const char*>(colon) - text) + 1;
  if (value_begin > end || end - value_begin > kValueMax) {
    ALERT_LOG(kFailure, "format of index header is error");
    return ALERT_ERR_HEADER_FORMAT;
  }
  qel::take_text(value, text + value_begin, end - value_begin);
  *begin = line_end + 1;
  return 0;
}

// Prints one header line over its blanks.
template <typename Value>
void put_header_line(char* line, const char* format, Value value) {
  char text[kIndexHeaderLine];
  snprintf(text, sizeof text, format, value);
  memcpy(line, text, strlen(text));
}

}  // namespace

char* idx_name[ALERT_INDEX_COUNT] = {
    const_cast<char*>("time.idx"),   const_cast<char*>("server.idx"),
    const_cast<char*>("module.idx"), const_cast<char*>("event.idx"),
    const_cast<char*>("level.idx"),  const_cast<char*>("srv_alt_id.idx")};

void init_index_header(LPINDEX_HEADER pfileHead, const char* filename) {
  pfileHead->nCurCount = 0;
  const size_t length = strlen(filename);
  if (length < kExtension) return;
  const size_t kept = std::min(length - kExtension, sizeof pfileHead->idxname - 1);
  memcpy(pfileHead->idxname, filename, kept);
}

int write_index_header(int fd, INDEX_HEADER fileHead, int type) {
  ALERT_TRACE_FUNCTION();
  char text[kIndexHeader];
  memset(text, ' ', sizeof text);
  text[kIndexHeaderLine - 1] = '\n';
  text[kIndexHeader - 1] = '\n';
  fileHead.idxname[sizeof fileHead.idxname - 1] = '\0';
  put_header_line(text, "Index field:%s", fileHead.idxname);
  put_header_line(text + kIndexHeaderLine, "Current count:%d",
                  static_cast<int>(fileHead.nCurCount));
  const size_t begin = type == 0 ? 0 : kIndexHeaderLine;
  const size_t size = sizeof text - begin;
  if (write_local_disk(fd, static_cast<off_t>(begin), text + begin, size, size) != 0) {
    ALERT_LOG(kFailure, "call write_local_disk failed");
    return -1;
  }
  return 0;
}

int read_index_header(int fd, LPINDEX_HEADER pfildHead) {
  ALERT_TRACE_FUNCTION();
  if (pfildHead == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  struct stat status;
  if (fstat(fd, &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  if (status.st_size < static_cast<off_t>(kIndexHeader)) {
    qel::discard_destroyed_index(fd);
    return -1;
  }
  char text[kIndexHeader] = {};
  if (read_local_disk(fd, 0, text, sizeof text, sizeof text) != 0) {
    ALERT_LOG(kFailure, "call read_local_disk failed");
    return -1;
  }
  return qel::parse_index_header(text, pfildHead);
}

void qel::discard_destroyed_index(int fd) {
  ALERT_LOG(kFailure,
            "error for file was empty or file was destroyed. the bad file will be deleted.");
  close(fd);
  Descriptor::closed(fd);
  remove_destroyed_file();
}

int qel::parse_index_header(const char* text, LPINDEX_HEADER header) {
  size_t begin = 0;
  char name[kValueMax + 1];
  char count[kValueMax + 1];
  int result = take_header_value(text, &begin, name);
  if (result == 0) result = take_header_value(text, &begin, count);
  if (result != 0) return result;
  take_text(header->idxname, name, sizeof name);
  header->nCurCount = static_cast<unsigned>(atoi(count));
  return 0;
}
