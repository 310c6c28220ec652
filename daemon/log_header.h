// The numbers of the alert log's header, read at any time.
#pragma once

#include <cstdint>
#include <optional>

#include "alert_types.h"

namespace qel::daemon {

// Nothing without a log, or for an empty one: that is left to the library's own checks.
std::optional<ALERT_FILE_HEADER> read_log_header();

// The highest id that the header holds for this server; 0 without a log.
uint32_t current_alert_id();

bool log_is_full();

}  // namespace qel::daemon
