/* Owner of one file descriptor: closes it when it goes out of scope. */
#ifndef QEL_PLATFORM_UNIQUE_FD_H
#define QEL_PLATFORM_UNIQUE_FD_H

#include <unistd.h>

#include <utility>

namespace qel {

class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int fd) : fd_(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~UniqueFd() {
    if (fd_ >= 0) {
      (void)::close(fd_);
    }
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }

 private:
  int fd_ = -1;
};

}  // namespace qel

#endif
