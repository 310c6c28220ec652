// The way from the intake file into the alert log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "alert_types.h"
#include "settings.h"
#include "unique_fd.h"

namespace qel::daemon {

// Stores what programs have raised, each alert exactly once, also across a kill at any instant:
//   1. the whole file is locked exclusively; a batch of lines is read;
//   2. each line is stamped with the next alert id (intake_line.h) and stored, unless the log holds
//      that id already;
//   3. the log reaches the disk (when durable);
//   4. once no line is left, the file is emptied: in place, since programs hold it by name; then
//   the
//      lock is given back.
// The lock is kept from batch to batch until the file is empty. Programs wait meanwhile: that slows
// them down to the pace of the log, where otherwise a burst would fill the intake and be refused
// before the daemon had its turn at the lock. Nothing else in the process may open and close the
// intake file, or the lock is lost.
//
// A line that cannot be stored is set aside in "alerttmp.bad" and stops nothing. When the store
// itself fails, the rest stays in the intake for a later round.
class IntakeDrain {
 public:
  enum class Outcome { kEmpty, kMore, kTrouble };
  struct Counters {
    uint64_t stored = 0;
    uint64_t set_aside = 0;
  };

  explicit IntakeDrain(const Settings& settings) : settings_(settings) {}

  // Drains at most a batch.
  Outcome round();

  const Counters& counters() const { return counters_; }
  // Bytes of the intake that are still to be stored.
  int64_t waiting_bytes() const;

 private:
  enum class Fate { kDone, kSetAside, kRetry };

  bool take_lock();
  bool read_batch(int64_t size);
  bool store_batch();
  size_t take_line(const char* text, size_t left, bool at_file_end, bool* failed);
  bool take_whole_line(const char* text);
  bool stamp(ALERT_RECORD_INFO* record);
  Fate store(ALERT_RECORD_INFO* record);
  bool set_aside(std::string_view bytes, const char* reason);
  bool sync_log();
  Outcome drain_batch();

  const Settings& settings_;
  Counters counters_;
  UniqueFd locked_;  // the intake file while the daemon holds its lock
  std::string batch_;
  bool batch_ends_file_ = false;
  bool unsynced_ = false;  // something was stored since the log last reached the disk
  int64_t drained_ = 0;    // bytes at the head of the intake that are stored already
  uint32_t last_id_ = 0;   // the highest id given or found
};

// The highest id that the log's header holds for this server; 0 without a log.
uint32_t current_alert_id();

}  // namespace qel::daemon
