// The way from the intake file into the alert log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "alert_types.h"
#include "log_sync.h"
#include "settings.h"
#include "unique_fd.h"

namespace qel::daemon {

// Stores what programs have raised, each alert exactly once, also across a kill at any instant:
//   1. the whole file is locked exclusively; a batch of lines is read;
//   2. each line is stamped with the next alert id (intake_line.h) and handed to the library, which
//      stores it, unless the log holds that id already, and sends it to the other servers;
//   3. the log reaches the disk (when durable);
//   4. once no line is left, the file is emptied: in place, since programs hold it by name; then
//      the lock is given back.
// The lock is kept from batch to batch until the file is empty. Programs wait meanwhile: that slows
// them down to the pace of the log, where otherwise a burst would fill the intake and be refused
// before the daemon had its turn at the lock. Nothing else in the process may open and close the
// intake file, or the lock is lost.
//
// A line that cannot be stored is set aside in "alerttmp.bad" and stops nothing. When the store
// itself fails, the rest stays in the intake for a later round; its alert is with the others by
// then and is not sent again.
//
// Ids count for the server that an alert names. Where there are other servers, an alert that names
// another one is kept under this server's name: its id would clash with one of theirs.
class IntakeDrain {
 public:
  enum class Outcome { kEmpty, kMore, kTrouble };
  struct Counters {
    uint64_t stored = 0;
    uint64_t set_aside = 0;
  };

  IntakeDrain(const Settings& settings, LogSync* log_sync)
      : settings_(settings), log_sync_(log_sync) {}

  // Drains at most a batch.
  Outcome round();

  const Counters& counters() const { return counters_; }
  // Bytes of the intake that are still to be stored.
  int64_t waiting_bytes() const;

 private:
  enum class Fate { kDone, kSetAside, kClash, kRetry };

  bool take_lock();
  bool read_batch(int64_t size);
  bool store_batch();
  size_t take_line(const char* text, size_t left, bool at_file_end, bool* failed);
  bool take_whole_line(const char* text);
  bool stamp(ALERT_RECORD_INFO* record);
  Fate resume(ALERT_RECORD_INFO* record);
  Fate store(ALERT_RECORD_INFO* record);
  bool hand_to_library(const ALERT_RECORD_INFO& record);
  bool store_behind(const ALERT_RECORD_INFO& record);
  bool store_only(const ALERT_RECORD_INFO& record);
  bool set_aside(std::string_view bytes, const char* reason);
  Outcome drain_batch();

  const Settings& settings_;
  LogSync* log_sync_;
  Counters counters_;
  UniqueFd locked_;  // the intake file while the daemon holds its lock
  std::string batch_;
  bool batch_ends_file_ = false;
  int64_t drained_ = 0;        // bytes at the head of the intake that are stored already
  uint32_t last_id_ = 0;       // the highest id given or found
  uint32_t forwarded_id_ = 0;  // the highest id that was sent to the other servers
};

}  // namespace qel::daemon
