#include "rotating_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdio>
#include <utility>

namespace qel {

namespace {

/* Rounds for one line: each needs two rotations by others (or a signal) in the wrong instant. */
constexpr int kAttemptsMax = 16;

/* Looks at the end of the file before it is taken for torn. */
constexpr int kLooksMax = 3;

/* Reading is for the check of the file's end. Somebody may have put a pipe or a terminal in the
 * file's place: neither may hold up the process nor become its controlling terminal. */
constexpr int kOpenFlags = O_RDWR | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;

}  // namespace

RotatingFile::RotatingFile(std::string path, off_t max_bytes)
    : path_(std::move(path)), older_path_(path_ + ".1"), max_bytes_(max_bytes) {}

bool RotatingFile::open() { return follow_path(); }

bool RotatingFile::append(std::string_view line) {
  for (int attempt = 0; attempt < kAttemptsMax; attempt++) {
    if (!follow_path()) {
      return false;
    }
    if (is_full(size_, line.size())) {
      rotate(line.size());
      (void)follow_path();
    }
    if (!append_once(line)) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    struct stat after {};
    if (::fstat(fd_.get(), &after) != 0 || after.st_nlink > 0) {
      return true;
    }
  }
  errno = ESTALE;
  return false;
}

/* True when there is a file to write to. One that was opened while the process had more rights
 * stays in use when the path cannot be opened any more. */
bool RotatingFile::follow_path() {
  struct stat named {};
  if (fd_ && ::stat(path_.c_str(), &named) == 0 && named.st_ino == inode_ &&
      named.st_dev == device_) {
    size_ = named.st_size;
    return true;
  }
  UniqueFd fresh(::open(path_.c_str(), kOpenFlags | O_CREAT, 0666));
  struct stat opened {};
  if (!fresh || ::fstat(fresh.get(), &opened) != 0) {
    return static_cast<bool>(fd_);
  }
  fd_ = std::move(fresh);
  device_ = opened.st_dev;
  inode_ = opened.st_ino;
  size_ = opened.st_size;
  return true;
}

bool RotatingFile::is_full(off_t size, size_t line_bytes) const {
  return size > 0 && size + static_cast<off_t>(line_bytes) > max_bytes_;
}

/* The lock is taken on a descriptor of its own, since a forked process shares the lock of fd_. */
void RotatingFile::rotate(size_t line_bytes) {
  const UniqueFd locked(::open(path_.c_str(), kOpenFlags));
  if (!locked || ::flock(locked.get(), LOCK_EX | LOCK_NB) != 0) {
    return;
  }
  struct stat held {};
  struct stat named {};
  if (::fstat(locked.get(), &held) != 0 || ::stat(path_.c_str(), &named) != 0) {
    return;
  }
  const bool still_named = held.st_ino == named.st_ino && held.st_dev == named.st_dev;
  if (still_named && is_full(held.st_size, line_bytes)) {
    (void)std::rename(path_.c_str(), older_path_.c_str());
  }
}

/* A writer in the middle of its append looks torn too, but only for an instant. */
bool RotatingFile::ends_torn() {
  for (int look = 0; look < kLooksMax; look++) {
    char last = '\n';
    if (size_ == 0 || ::pread(fd_.get(), &last, 1, size_ - 1) != 1 || last == '\n') {
      return false;
    }
    struct stat now {};
    if (::fstat(fd_.get(), &now) == 0) {
      size_ = now.st_size;
    }
  }
  return true;
}

bool RotatingFile::append_once(std::string_view line) {
  static constexpr char kLineEnd = '\n';
  const iovec parts[2] = {{const_cast<char*>(&kLineEnd), 1},
                          {const_cast<char*>(line.data()), line.size()}};
  const bool torn = ends_torn();
  const ssize_t expected = static_cast<ssize_t>(line.size()) + (torn ? 1 : 0);
  const ssize_t written = ::writev(fd_.get(), torn ? parts : parts + 1, torn ? 2 : 1);
  if (written >= 0 && written < expected) {
    errno = ENOSPC; /* what a short append means */
  }
  return written == expected;
}

}  // namespace qel
