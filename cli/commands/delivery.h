// What "raise --wait" waits for.
#pragma once

#include <string>

#include "alert_types.h"
#include "alerts/failure.h"

namespace qel::cli {

// Waits, at most timeout_s seconds, until the alert that was just raised stands in the log and
// every server that can be reached has acknowledged it; prints who has. kDone then, also when a
// server is silent: a message tells that; kIncomplete when the time was up or a server was given
// up. Throws NotReachable when the alert daemon does not answer at its socket. While a Session
// lives.
ExitCode wait_for_delivery(const ALERT_RECORD_INFO& raised, const std::string& socket,
                           int timeout_s);

}  // namespace qel::cli
