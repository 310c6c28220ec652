// Reads and writes under record locks.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "alert_lock.h"
#include "common/log.h"

using qel::kDump;
using qel::kFailure;
using qel::kMinor;

namespace {

constexpr size_t kWritePiece = 524288;  // bytes of one write at most
constexpr size_t kDumpedText = 80;      // bytes of the data that a dump line shows

void dump_data(const void* data, size_t size) {
  char text[kDumpedText + 1] = {};
  memcpy(text, data, std::min(size, kDumpedText));
  ALERT_LOG(kDump, "write:%.80s", text);
  ALERT_LOG(kDump, "string len: %d", static_cast<int>(size));
}

}  // namespace

int lock_reg(int fd, int cmd, int type, off_t offset, int whence, off_t len) {
  struct flock lock = {};
  lock.l_type = static_cast<short>(type);
  lock.l_whence = static_cast<short>(whence);
  lock.l_start = offset;
  lock.l_len = len;
  const int result = fcntl(fd, cmd, &lock);
  if (result == -1) ALERT_LOG(kFailure, "call fcntl fail: %d", errno);
  return result;
}

ssize_t read_line(int fd, void* vptr, size_t n) {
  if (vptr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  size_t done = 0;
  while (done < n) {
    const ssize_t got = read(fd, static_cast<char*>(vptr) + done, n - done);
    if (got < 0) {
      ALERT_LOG(kFailure, "read failed");
      return got;
    }
    if (got == 0) break;
    done += static_cast<size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

ssize_t write_line(int fd, const void* vptr, size_t n) {
  ALERT_TRACE_FUNCTION();
  if (vptr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  dump_data(vptr, n);
  size_t done = 0;
  while (done < n) {
    const ssize_t put =
        write(fd, static_cast<const char*>(vptr) + done, std::min(n - done, kWritePiece));
    if (put <= 0) {
      ALERT_LOG(kFailure, "call write failed");
      return put;
    }
    done += static_cast<size_t>(put);
  }
  return static_cast<ssize_t>(n);
}

int read_local_disk(int fd, off_t off_set, void* buf, size_t buflen, size_t locklen) {
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (lseek(fd, off_set, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  const off_t locked = static_cast<off_t>(locklen);
  if (lock_reg(fd, F_SETLKW, F_RDLCK, off_set, SEEK_SET, locked) == -1) {
    ALERT_LOG(kFailure, "lock file failed: %d", errno);
    return -1;
  }
  int result = 0;
  if (read_line(fd, buf, buflen) < 0) {
    ALERT_LOG(kFailure, "call read_line failed");
    result = -1;
  }
  if (lock_reg(fd, F_SETLK, F_UNLCK, off_set, SEEK_SET, locked) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
    result = -1;
  }
  return result;
}

int write_local_disk(int fd, off_t off_set, const void* buf, size_t buflen, size_t locklen) {
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  set_file_flag(fd);
  if (lseek(fd, off_set, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "call lseek failed: %d", errno);
    return -1;
  }
  const off_t locked = static_cast<off_t>(locklen);
  if (lock_reg(fd, F_SETLKW, F_WRLCK, off_set, SEEK_SET, locked) == -1) {
    ALERT_LOG(kFailure, "call writew_lock failed: %d", errno);
    return -1;
  }
  int result = 0;
  if (write_line(fd, buf, buflen) < 0) {
    ALERT_LOG(kFailure, "write data to disk failed");
    result = -1;
  }
  if (lock_reg(fd, F_SETLK, F_UNLCK, off_set, SEEK_SET, locked) == -1) {
    ALERT_LOG(kFailure, "call un_lock failed: %d", errno);
    result = -1;
  }
  return result;
}

void set_file_flag(int fd) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags == -1) {
    ALERT_LOG(kMinor, "fcntl(F_GETFL) failed");
    return;
  }
  if (fcntl(fd, F_SETFL, flags | O_SYNC) == -1) ALERT_LOG(kMinor, "fcntl(F_SETFL) failed");
}
