// A semaphore that is held until its owner goes out of scope.
#pragma once

#include "alert_lock.h"

namespace qel {

class SemaphoreLock {
 public:
  SemaphoreLock() = default;
  ~SemaphoreLock() {
    if (held_ != -1) unlock_semaphore(held_);
  }
  SemaphoreLock(const SemaphoreLock&) = delete;
  SemaphoreLock& operator=(const SemaphoreLock&) = delete;

  // As lock_semaphore and unlock_semaphore; after release, failed or not, nothing is held.
  int take(int id) {
    const int result = lock_semaphore(id);
    if (result == 0) held_ = id;
    return result;
  }
  int release() {
    const int id = held_;
    held_ = -1;
    return unlock_semaphore(id);
  }

 private:
  int held_ = -1;
};

}  // namespace qel
