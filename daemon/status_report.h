// What the daemon tells about itself.
#pragma once

#include <string>

#include "intake_drain.h"

namespace qel::daemon {

// The status as one line of JSON with its line end. Members: server, version, pid, started, state,
// log {path, capacity, count, full, oldest, newest, current_alert_id},
// intake {path, bytes, waiting, stored, set_aside}, peers [].
std::string status_report(const std::string& started, const IntakeDrain& intake);

}  // namespace qel::daemon
