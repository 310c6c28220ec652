// When the alert log reaches the disk.
#pragma once

#include "index_check.h"
#include "settings.h"

namespace qel::daemon {

// An alert must be on the disk before its sender is told that it is stored, and before it leaves
// the intake. One sync covers all that was stored before it.
class LogSync {
 public:
  explicit LogSync(const Settings& settings) : settings_(settings) {}

  // Something is about to be stored; also what comes of a store that fails has to reach the disk.
  void mark() { unsynced_ = written_ = true; }
  // True when all that was stored has reached the disk, or need not; else (logged) it is tried
  // again by the next call.
  bool sync();

  IndexCheck& indexes() { return indexes_; }

 private:
  const Settings& settings_;
  IndexCheck indexes_;
  bool unsynced_ = true;  // what an earlier life of the daemon has written may not be there yet
  bool written_ = false;  // something was stored in this life
};

}  // namespace qel::daemon
