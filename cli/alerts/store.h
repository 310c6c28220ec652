// Reading the alert log while a Session lives. Nothing here makes a log that is missing, nor clears
// the marks by which the front end learns of new alerts.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "alert_types.h"

namespace qel::cli {

std::string log_path();
std::string intake_path();

// Why the library could not make the missing file `path`, as far as the rights of its directories
// (and of `also`, when it has to be written too) tell; empty when nothing shows.
std::string creation_fault(const std::string& path, const std::string& also = {});

// What the log says about itself.
struct LogState {
  std::string path;
  off_t bytes;
  off_t bytes_expected;  // by its header; the library refuses a log of another size
  uint32_t capacity;     // records
  uint32_t count;        // records stored
  uint32_t current_alert_id;
};

// Throws a Failure that tells why the log cannot be read, as read_newest does.
LogState read_log_state();

// The newest `limit` records, newest first.
std::vector<ALERT_RECORD_INFO> read_newest(size_t limit);

}  // namespace qel::cli
