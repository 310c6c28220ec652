// The daemon's configuration: the library's settings and its own.
#pragma once

#include <string>

namespace qel::daemon {

// Keys of the section "webalert"; each may be missing.
struct Settings {
  std::string socket = "/run/qelalert/qelalertd.sock";   // daemon/socket
  std::string pid_file = "/run/qelalert/qelalertd.pid";  // daemon/pidfile
  bool durable = true;    // daemon/durable: alerts reach the disk before they leave the intake
  int intake_batch = 64;  // daemon/intake/batch: lines drained before other work has its turn
};

// Reads the whole configuration: the library's through alert_log_lib_init, then `settings`, and
// opens the diagnostic log that it asks for. False with the reason in *error: then the library's
// settings and the log are as they were before.
bool load_configuration(Settings* settings, std::string* error);

// Ends the diagnostic log.
void close_log();

}  // namespace qel::daemon
