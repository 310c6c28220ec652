// Moving blocks of index entries by one entry, in place.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "alert_index.h"
#include "alert_index/layout.h"
#include "alert_lock.h"
#include "common/log.h"

using qel::kDump;
using qel::kFailure;

namespace {

enum Direction { kCloseGap = 0, kOpenGap = 1 };

struct Free {
  void operator()(char* memory) const { free(memory); }
};

// Logs the exit of a function whose dump lines name its result.
struct LeaveDump {
  const char* function;
  const int& result;
  ~LeaveDump() { ALERT_LOG(kDump, "LEAVE <==%s() :%d", function, result); }
};

// The buffer of a move: for all its entries, or for fewer when memory is short.
class MoveBuffer {
 public:
  MoveBuffer(int entries, size_t entry_size) {
    for (size_t n = static_cast<size_t>(std::max(entries, 1)); n > 0; n /= 2) {
      size_ = n * entry_size;
      memory_.reset(static_cast<char*>(malloc(size_)));
      if (memory_ != nullptr) break;
    }
    if (memory_ == nullptr) {
      ALERT_LOG(kFailure, "malloc(%d) failed(%d).", static_cast<int>(size_), errno);
      return;
    }
    ALERT_LOG(kDump, "move buffer: %p=malloc(%d)", static_cast<void*>(memory_.get()),
              static_cast<int>(size_));
  }
  char* get() const { return memory_.get(); }
  size_t size() const { return size_; }

 private:
  std::unique_ptr<char, Free> memory_;
  size_t size_ = 0;
};

int move_piece(int fd, off_t dest, off_t src, const MoveBuffer& buffer, size_t size) {
  const int moved = move_line(fd, dest, src, buffer.get(), size);
  if (moved < 0) {
    ALERT_LOG(kFailure, "move_line(%d, %d, %d, buf, %d). failed", fd, static_cast<int>(dest),
              static_cast<int>(src), static_cast<int>(size));
    return moved;
  }
  return 0;
}

// Towards the start of the file: from the front, so that nothing is overwritten before it is read.
int move_down(int fd, off_t begin, off_t end, off_t distance, const MoveBuffer& buffer) {
  for (off_t at = begin; at < end; at += static_cast<off_t>(buffer.size())) {
    const size_t size = std::min(buffer.size(), static_cast<size_t>(end - at));
    const int result = move_piece(fd, at - distance, at, buffer, size);
    if (result != 0) return result;
  }
  return 0;
}

// Towards the end of the file: from the back.
int move_up(int fd, off_t begin, off_t end, off_t distance, const MoveBuffer& buffer) {
  while (end > begin) {
    const size_t size = std::min(buffer.size(), static_cast<size_t>(end - begin));
    end -= static_cast<off_t>(size);
    const int result = move_piece(fd, end + distance, end, buffer, size);
    if (result != 0) return result;
  }
  return 0;
}

// Reads up to n bytes at src into buf under a shared lock; the rest of buf is zero.
ssize_t read_source(int fd, off_t src, char* buf, size_t n) {
  if (lseek(fd, src, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek(%d, %d, SEEK_SET) error.", fd, static_cast<int>(src));
    return -1;
  }
  const off_t length = static_cast<off_t>(n);
  if (lock_reg(fd, F_SETLKW, F_RDLCK, src, SEEK_SET, length) == -1) {
    ALERT_LOG(kFailure, "readw_lock(%d, %d, %d) error.", fd, static_cast<int>(src),
              static_cast<int>(n));
    return -1;
  }
  const ssize_t got = read_line(fd, buf, n);
  if (lock_reg(fd, F_SETLK, F_UNLCK, src, SEEK_SET, length) == -1) {
    ALERT_LOG(kFailure, "un_lock(%d, %d, %d) error.", fd, static_cast<int>(src),
              static_cast<int>(n));
    return -1;
  }
  if (got >= 0) memset(buf + got, 0, n - static_cast<size_t>(got));
  return got;
}

int write_destination(int fd, off_t dest, const char* buf, size_t size) {
  if (lseek(fd, dest, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek(%d, %d, SEEK_SET) error.", fd, static_cast<int>(dest));
    return -1;
  }
  const off_t length = static_cast<off_t>(size);
  if (lock_reg(fd, F_SETLKW, F_WRLCK, dest, SEEK_SET, length) == -1) {
    ALERT_LOG(kFailure, "writew_lock(%d, %d, %d) error.", fd, static_cast<int>(dest),
              static_cast<int>(size));
    return -1;
  }
  int result = 0;
  if (write_line(fd, buf, size) < 0) {
    ALERT_LOG(kFailure, "write_line(%d, buf, %d) error.", fd, static_cast<int>(size));
    result = -1;
  }
  if (lock_reg(fd, F_SETLK, F_UNLCK, dest, SEEK_SET, length) == -1) {
    ALERT_LOG(kFailure, "un_lock(%d, %d, %d) error.", fd, static_cast<int>(dest),
              static_cast<int>(size));
    result = -1;
  }
  return result;
}

}  // namespace

int move_index_record(int fd, int idxtype, int start, int end, int direction) {
  ALERT_LOG(kDump, "ENTER ==>%s(%d, %d, %d, %d, %d)", __func__, fd, idxtype, start, end, direction);
  int result = 0;
  const LeaveDump leave{__func__, result};
  if (direction != kCloseGap && direction != kOpenGap) return result;
  const size_t entry_size = qel::index_record_size(idxtype);
  const MoveBuffer buffer(end - start + 1, entry_size);
  if (buffer.get() == nullptr) return result = -1;
  const off_t distance = static_cast<off_t>(entry_size);
  const off_t stop = qel::index_offset(idxtype, end + 1);
  result = direction == kCloseGap
               ? move_down(fd, qel::index_offset(idxtype, start + 1), stop, distance, buffer)
               : move_up(fd, qel::index_offset(idxtype, start), stop, distance, buffer);
  return result;
}

int move_line(int fd, off_t dest, off_t src, void* buf, size_t n) {
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter (%d, %d, %d, %d) error.", fd, static_cast<int>(dest),
              static_cast<int>(src), static_cast<int>(n));
    return -1;
  }
  ALERT_LOG(kDump, "ENTER ==>%s(%d, %d, %d, %p, %d)", __func__, fd, static_cast<int>(dest),
            static_cast<int>(src), buf, static_cast<int>(n));
  int result = -1;
  const LeaveDump leave{__func__, result};
  char* bytes = static_cast<char*>(buf);
  const ssize_t got = read_source(fd, src, bytes, n);
  if (got <= 0) return result = static_cast<int>(got);
  ALERT_LOG(kDump, "read ok: read_sz=%d", static_cast<int>(got));
  set_file_flag(fd);
  if (write_destination(fd, dest, bytes, static_cast<size_t>(got)) == 0) {
    result = static_cast<int>(got);
  }
  return result;
}

int delete_index_record(int oldline, int idxfd, int idxtype, ALERT_RECORD_INFO oldalert) {
  ALERT_TRACE_FUNCTION();
  struct stat status;
  if (fstat(idxfd, &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  const int position = search_special_record(idxfd, idxtype, oldalert, 0, oldline);
  if (position < 0) {
    ALERT_LOG(kFailure, "call search_special_record failed");
    return position;
  }
  // Up to the capacity, not the count: reading simply stops at the end of the file.
  if (move_index_record(idxfd, idxtype, position, alt_max_count - 1, kCloseGap) < 0) {
    ALERT_LOG(kFailure, "move index record failed");
    return -1;
  }
  const off_t size = status.st_size - static_cast<off_t>(qel::index_record_size(idxtype));
  if (ftruncate(idxfd, size) == -1) {
    ALERT_LOG(kFailure, "ftruncate failed: %d", errno);
    return -1;
  }
  return 0;
}
