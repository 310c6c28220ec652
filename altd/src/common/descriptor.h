// A file descriptor that is closed when its owner goes out of scope.
#pragma once

#include <unistd.h>

namespace qel {

// Some calls of the library close the descriptor that they were given (a header that is judged
// destroyed). They tell so by Descriptor::closed, and the owner up the stack then leaves the
// number alone: by the time it goes out of scope, it may belong to another file of the process.
class Descriptor {
 public:
  Descriptor() : Descriptor(-1) {}
  explicit Descriptor(int fd) : fd_(fd), outer_(innermost_) { innermost_ = this; }
  ~Descriptor() {
    innermost_ = outer_;
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  // Takes over fd; only while nothing is held.
  void adopt(int fd) { fd_ = fd; }
  int release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

  // `fd` has been closed by somebody who does not own it.
  static void closed(int fd) {
    for (Descriptor* d = innermost_; d != nullptr; d = d->outer_) {
      if (d->fd_ == fd) d->fd_ = -1;
    }
  }

 private:
  int fd_;
  Descriptor* outer_;  // owners live on the stack, so they form a chain by scope
  static inline thread_local Descriptor* innermost_ = nullptr;
};

}  // namespace qel
