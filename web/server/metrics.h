// Figures for Prometheus.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "daemon_link.h"
#include "log_view.h"

namespace qel::web {

// What is counted since the start of the program.
struct Counters {
  std::map<int, uint64_t> answers{};  // by status
  uint64_t index_searches = 0;
};

// The text exposition format, version 0.0.4.
std::string metrics_text(const LogView& view, const DaemonLink& daemon, const Counters& counters,
                         size_t streams);

}  // namespace qel::web
