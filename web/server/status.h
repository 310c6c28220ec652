// What an operator must know about this server and its picture of the cluster.
#pragma once

#include <string>
#include <vector>

#include "alert_forms.h"
#include "daemon_link.h"
#include "log_view.h"

namespace qel::web {

// A reason why alerts may be missing here.
struct Gap {
  const char* code;  // "log_missing", "peer_silent" ...
  std::string text;
};

// All of them; none: this server's picture is complete, as far as it can know.
std::vector<Gap> find_gaps(const LogView& view, const DaemonLink& daemon);

Json status_json(const LogView& view, const DaemonLink& daemon, size_t streams);

}  // namespace qel::web
