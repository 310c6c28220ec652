// Reading the alert log while a Session lives. Nothing here makes a log that is missing, nor clears
// the marks by which the front end learns of new alerts.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "alert_types.h"
#include "alerts/failure.h"
#include "common/unique_fd.h"

namespace qel {

std::string log_path();
std::string intake_path();

// Why the library could not make the missing file `path`, as far as the rights of its directories
// (and of `also`, when it has to be written too) tell; empty when nothing shows.
std::string creation_fault(const std::string& path, const std::string& also = {});

// There is no log: it was lost or deleted, or this server has not had its first alert yet.
class NoLog : public Failure {
 public:
  explicit NoLog(const std::string& path) : Failure(kFailed, "no alert log at " + path) {}
};

// What the log says about itself.
struct LogState {
  std::string path;
  off_t bytes;
  off_t bytes_expected;  // by its header; the library refuses a log of another size
  uint32_t capacity;     // records
  uint32_t count;        // records stored
  uint32_t current_alert_id;
};

// Throws NoLog, or another Failure that tells why the log cannot be read, as read_all does.
LogState read_log_state();

// All records, newest first, by the time index.
std::vector<ALERT_RECORD_INFO> read_all();

// Keeps the store as it is while it lives: nobody else stores, searches or resizes. For
// milliseconds.
class StillStore {
 public:
  enum class Purpose { kRead, kChange };
  explicit StillStore(Purpose purpose);

 private:
  UniqueFd directory_;
};

// All records in the order of the log's lines, without an index: also when those are damaged. No
// alert is stored meanwhile.
std::vector<ALERT_RECORD_INFO> read_lines();

}  // namespace qel
