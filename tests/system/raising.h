// Alerts that a test raises, and the programs that raise them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "alert_types.h"

namespace qel::system_test {

// The alert with a number of its own: in its message, and in its raise time, which counts up with
// it. Server, module, event and level change from alert to alert, so that each index is changed in
// its middle, too.
ALERT_RECORD_INFO numbered_alert(uint32_t number);
// The number in the message of a numbered_alert; any other message throws.
uint32_t number_of(const std::string& message);

// Raises the alerts with these numbers in a program of its own. 0 when all were accepted.
int raise_alerts(uint32_t first, uint32_t last);

// For a forked process: starts the library as programs do, does `work`, ends it. Its result, or 1
// when the library does not start.
int as_program(const std::function<int()>& work);

}  // namespace qel::system_test
