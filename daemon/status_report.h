// What the daemon tells about itself.
#pragma once

#include <cstdint>
#include <string>

#include "cluster/protocol.h"
#include "intake_drain.h"

namespace qel::daemon {

struct StatusSources {
  const std::string& started;
  const IntakeDrain& intake;
  const Protocol& protocol;
  uint64_t kernel_drops;
};

// The status as one line of JSON with its line end. Members: server, version, pid, started, state,
// log {path, capacity, count, full, oldest, newest, current_alert_id},
// intake {path, bytes, waiting, stored, set_aside},
// peers [{server, state, last_answer, addresses [{ip, interconnect, last_heard}], unacknowledged,
//         given_up, catch_up}],
// held [{server, count, lowest, highest, missing, holes [[first, last]]}],
// catch_up {step, peer, server, at, to, batches, finished, given_up},
// network {received {}, stored, refused {}, late_replies, kernel_drops}: datagrams by message, and
// by the reason for which they were refused; of an alert that travels on two paths the second
// acknowledgement is late.
std::string status_report(const StatusSources& sources);

}  // namespace qel::daemon
