// Exclusion of stores and searches.
#pragma once

#include "common/descriptor.h"

namespace qel {

// While one process stores an alert, resizes the log, searches or clears a mark, no other does: a
// search sees a consistent picture, and a mark is never cleared with a stale header.
//
// It is a flock of the store's directory: it meets no record lock, does not vanish when another
// descriptor of a store file is closed, and stays the same while the log is deleted, made anew or
// renamed over. Invariants:
//   1. Only the entry points listed in alert_log.h take it, at their start and never nested.
//   2. It is taken before any record lock or semaphore and released after them.
//   3. The intake file is not covered: programs append while the daemon stores.
// Without a directory there is nothing to protect; creation is serialised by semaphores.
class StoreGuard {
 public:
  StoreGuard();

 private:
  Descriptor directory_;
};

}  // namespace qel
