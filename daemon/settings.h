// The daemon's configuration: the library's settings and its own.
#pragma once

#include <string>

#include "configuration/keys.h"

namespace qel::daemon {

using configuration::default_number;
using configuration::default_path;

// Time-outs of the protocol in seconds, of which most are stretched by the cluster's ratio. What
// each is for stands in the table of keys.
struct Timing {
  int resend = default_number("/root/webalert/daemon/resend");
  int retries = default_number("/root/webalert/daemon/retries");
  int heartbeat = default_number("/root/webalert/daemon/heartbeat");
  int announce = default_number("/root/webalert/daemon/announce");
  int server_check = default_number("/root/webalert/daemon/servercheck");
  int ratio_check = default_number("/root/webalert/daemon/ratiocheck");
  int new_server = default_number("/root/webalert/daemon/sync/newserver");
  int names_wait = default_number("/root/webalert/daemon/sync/names");
  int ids_wait = default_number("/root/webalert/daemon/sync/ids");
  int recheck = default_number("/root/webalert/daemon/sync/recheck");
  int batches_per_second = default_number("/root/webalert/daemon/sync/batches");
};

// Keys of the section "webalert"; each may be missing.
struct Settings {
  std::string socket = default_path("/root/webalert/daemon/socket");
  std::string pid_file = default_path("/root/webalert/daemon/pidfile");
  bool durable = default_number("/root/webalert/daemon/durable") == 1;
  int intake_batch = default_number("/root/webalert/daemon/intake/batch");
  Timing timing;
};

// Reads the whole configuration: the library's through alert_log_lib_init, then `settings`, and
// opens the diagnostic log that it asks for. False with the reason in *error: then the library's
// settings and the log are as they were before.
bool load_configuration(Settings* settings, std::string* error);

// Ends the diagnostic log.
void close_log();

}  // namespace qel::daemon
