// What "follow" and "list --follow" do.
#pragma once

#include <string>

#include "alerts/failure.h"
#include "alerts/query.h"
#include "output/alert_printer.h"

namespace qel::cli {

struct FollowRequest {
  const Query& query;
  const Presentation& presentation;
  size_t first;                    // newest alerts shown at the beginning
  const std::string& cursor_file;  // empty: none
};

// Shows alerts as they come until a signal ends the program or nobody reads standard output.
[[noreturn]] void follow_alerts(const FollowRequest& request);

}  // namespace qel::cli
