#include "alert_index/rewrite.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "alert_lock.h"
#include "common/log.h"

namespace qel {

namespace {

int rewrite_locked(int fd) {
  struct stat status;
  if (fstat(fd, &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  const size_t size = static_cast<size_t>(status.st_size);
  const std::unique_ptr<char[]> bytes(new (std::nothrow) char[size]);
  if (bytes == nullptr) return 0;  // it stays as it is, only slower
  if (lseek(fd, 0, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  if (read_line(fd, bytes.get(), size) != static_cast<ssize_t>(size)) return -1;
  if (ftruncate(fd, 0) == -1) {
    ALERT_LOG(kFailure, "ftruncate failed: %d", errno);
    return -1;
  }
  if (lseek(fd, 0, SEEK_SET) == -1) {
    ALERT_LOG(kFailure, "lseek failed: %d", errno);
    return -1;
  }
  return write_line(fd, bytes.get(), size) == static_cast<ssize_t>(size) ? 0 : -1;
}

}  // namespace

int rewrite_in_one_piece(int fd) {
  if (lock_reg(fd, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "lock file failed: %d", errno);
    return -1;
  }
  int result = rewrite_locked(fd);
  if (lock_reg(fd, F_SETLK, F_UNLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
    result = -1;
  }
  return result;
}

}  // namespace qel
