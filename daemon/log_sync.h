// When the alert log reaches the disk.
#pragma once

#include "settings.h"

namespace qel::daemon {

// An alert must be on the disk before its sender is told that it is stored, and before it leaves
// the intake. One sync covers all that was stored before it.
class LogSync {
 public:
  explicit LogSync(const Settings& settings) : settings_(settings) {}

  // Something was stored.
  void mark() { unsynced_ = true; }
  // True when all that was stored has reached the disk, or need not; else (logged) it is tried
  // again by the next call.
  bool sync();

 private:
  const Settings& settings_;
  bool unsynced_ = false;
};

}  // namespace qel::daemon
