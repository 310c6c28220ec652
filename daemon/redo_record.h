// The alert that is about to overwrite a line of a full log, kept aside meanwhile.
#pragma once

#include <cstdint>
#include <optional>

#include "alert_types.h"
#include "unique_fd.h"

namespace qel::daemon {

// A kill in the middle of a store into a full log leaves a line that is neither the old alert nor
// the new one. Local alerts are still in the intake then. For those of other servers the record
// stands in a file of its own from before the store until after it, with the line it goes to.
class RedoRecord {
 public:
  struct Content {
    uint32_t line;
    ALERT_RECORD_INFO record;
  };

  // Keeps the record, when the log is full. False (logged) when it could not be kept: the store had
  // better wait.
  bool keep(const ALERT_RECORD_INFO& record);
  // The store is over.
  void forget();

  // What a killed daemon has left; nothing when it was killed at another time.
  static std::optional<Content> left_over();
  // Once the log is mended: it must not be taken for that of a later kill.
  static void remove_left_over();

 private:
  UniqueFd file_;
  bool kept_ = false;
};

}  // namespace qel::daemon
