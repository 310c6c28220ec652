#include "alert_log/record_range.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "alert_log.h"
#include "alert_log/layout.h"
#include "common/log.h"

namespace qel {

namespace {

constexpr int kBlockLines = 256;  // lines that one read fetches at most: 171 KiB

// The number of neighbouring lines, going up (step 1) or down (step -1), from lines[i] on.
int run_length(const int* lines, int count, int i, int step) {
  int n = 1;
  while (n < kBlockLines && i + n < count && lines[i + n] == lines[i] + n * step) ++n;
  return n;
}

}  // namespace

int RecordRange::open(int fd) {
  fd_ = fd;
  header_length_ = get_header_length(fd);
  if (header_length_ < 0) {
    ALERT_LOG(kFailure, "get alert file header length failed");
    return -1;
  }
  block_.reset(new (std::nothrow) char[kBlockLines * kRecordLine]);
  if (block_ == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return -1;
  }
  return 0;
}

RecordRange::Lock::Lock(int fd, int header_length, const int* lines, int count) : fd_(fd) {
  if (count == 0) return;
  const auto [lowest, highest] = std::minmax_element(lines, lines + count);
  offset_ = record_offset(*lowest, header_length);
  length_ = record_offset(*highest + 1, header_length) - offset_;
  held_ = lock_reg(fd_, F_SETLKW, F_RDLCK, offset_, SEEK_SET, length_) != -1;
  if (!held_) ALERT_LOG(kFailure, "lock file failed: %d", errno);
}

RecordRange::Lock::~Lock() {
  if (!held_ || length_ == 0) return;
  if (lock_reg(fd_, F_SETLK, F_UNLCK, offset_, SEEK_SET, length_) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
  }
}

bool RecordRange::fetch(const int* lines, int count, int i) {
  const int line = lines[i];
  if (line >= first_ && line < first_ + size_) return true;
  const int up = run_length(lines, count, i, 1);
  const int down = run_length(lines, count, i, -1);
  first_ = up >= down ? line : line - down + 1;
  size_ = 0;
  if (lseek(fd_, record_offset(first_, header_length_), SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return false;
  }
  const size_t wanted = std::max(up, down) * kRecordLine;
  const ssize_t got = read_line(fd_, block_.get(), wanted);
  if (got < 0) {
    ALERT_LOG(kFailure, "call read_local_disk failed");
    return false;
  }
  memset(block_.get() + got, 0, wanted - static_cast<size_t>(got));
  size_ = std::max(up, down);
  return true;
}

bool RecordRange::parse(int line, ALERT_RECORD_INFO* record) const {
  if (parse_record(block_.get() + (line - first_) * kRecordLine, record)) return true;
  ALERT_LOG(kFailure, "access overflow!");
  return false;
}

}  // namespace qel
