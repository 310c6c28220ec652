// Diagnostics of the library: every line goes to the log that alt_log_handle names.
#pragma once

#include <qellog.h>

#include "alert_config.h"

namespace qel {

// Levels are single bits and are handed on as they are.
enum LogLevel {
  kFailure = 1,
  kMinor = 2,  // minor failures, failures of outside services that are passed over
  kNotable = 4,
  kDetail = 8,
  kTrace = 16,
  kDump = 32,
};

// Logs entry and, when it goes out of scope, exit of a function.
class FunctionTrace {
 public:
  FunctionTrace(const char* file, int line, const char* function)
      : file_(file), line_(line), function_(function) {
    log_write(alt_log_handle, kTrace, eid, file_, line_, function_, "Enter function: %s",
              function_);
  }
  ~FunctionTrace() {
    log_write(alt_log_handle, kTrace, eid, file_, line_, function_, "Leave function: %s",
              function_);
  }
  FunctionTrace(const FunctionTrace&) = delete;
  FunctionTrace& operator=(const FunctionTrace&) = delete;

 private:
  const char* file_;
  int line_;
  const char* function_;
};

}  // namespace qel

#define ALERT_LOG(level, ...) \
  log_write(alt_log_handle, (level), eid, __FILE_NAME__, __LINE__, __func__, __VA_ARGS__)

#define ALERT_TRACE_FUNCTION() \
  const qel::FunctionTrace function_trace(__FILE_NAME__, __LINE__, __func__)
