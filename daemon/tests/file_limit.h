// A disk that is full.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <cstdint>

namespace qel::daemon_test {

// Files of this process grow no further than `bytes` while it lives: a write beyond is cut short,
// and the next one fails.
class FileLimit {
 public:
  explicit FileLimit(uint64_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;

 private:
  rlimit before_ = {};
};

}  // namespace qel::daemon_test
