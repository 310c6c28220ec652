// The daemon writes to the same diagnostic log as the library that it drives.
#pragma once

#include <qellog.h>

#include "alert_config.h"

namespace qel::daemon {

enum LogLevel { kFailure = 1, kMinor = 2, kNotable = 4, kDetail = 8 };

}  // namespace qel::daemon

#define DAEMON_LOG(level, ...) \
  log_write(alt_log_handle, (level), eid, __FILE_NAME__, __LINE__, __func__, __VA_ARGS__)
