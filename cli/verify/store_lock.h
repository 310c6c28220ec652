// Keeping a store still while it is read.
#pragma once

#include <string>

#include "common/unique_fd.h"

namespace qel::cli {

// A shared lock of the store's directory: between two stores, searches or resizes of other
// programs, and none begins while it is held. A directory that cannot be locked, such as that of a
// copy which may only be read, is left unlocked.
class StoreLock {
 public:
  // Waits for its turn; throws a Failure when that does not come within some seconds.
  explicit StoreLock(const std::string& directory);

  // Why the directory is not locked; empty when it is.
  const std::string& fault() const { return fault_; }

 private:
  bool settle(const std::string& directory);

  UniqueFd directory_;
  std::string fault_;
};

}  // namespace qel::cli
