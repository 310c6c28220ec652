// The daemon's configuration: the library's settings and its own.
#pragma once

#include <string>

namespace qel::daemon {

// Time-outs of the protocol in seconds, of which most are stretched by the cluster's ratio.
struct Timing {
  int resend = 2;          // daemon/resend: unacknowledged messages are sent again
  int retries = 3;         // daemon/retries: periods after which they are given up; 2 or more
  int heartbeat = 10;      // daemon/heartbeat: every other server is asked whether it is there
  int announce = 10;       // daemon/announce: servers that did not answer are greeted again
  int server_check = 300;  // daemon/servercheck: the list of servers is read again
  int ratio_check = 1;     // daemon/ratiocheck: 1 the ratio is read every second, 2 never
  int new_server = 1;      // daemon/sync/newserver: pause before the next catch-up
  int names_wait = 2;      // daemon/sync/names: wait for server names; above new_server
  int ids_wait = 1;        // daemon/sync/ids: wait for alert ids
  int recheck = 60;        // daemon/sync/recheck: pause before the logs are compared with those of
                           // the next server; 0 never
  int batches_per_second = 1000;  // daemon/sync/batches: data requests that leave in a second, four
                                  // alerts each; 0: one in a resend period
};

// Keys of the section "webalert"; each may be missing.
struct Settings {
  std::string socket = "/run/qelalert/qelalertd.sock";   // daemon/socket
  std::string pid_file = "/run/qelalert/qelalertd.pid";  // daemon/pidfile
  bool durable = true;    // daemon/durable: alerts reach the disk before they leave the intake
  int intake_batch = 64;  // daemon/intake/batch: lines drained before other work has its turn
  Timing timing;
};

// Reads the whole configuration: the library's through alert_log_lib_init, then `settings`, and
// opens the diagnostic log that it asks for. False with the reason in *error: then the library's
// settings and the log are as they were before.
bool load_configuration(Settings* settings, std::string* error);

// Ends the diagnostic log.
void close_log();

}  // namespace qel::daemon
