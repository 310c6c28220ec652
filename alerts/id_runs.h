// Which ids of each server's alerts are held.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "alerts/alert_list.h"

namespace qel {

// Ids without a gap, both ends included.
struct IdRun {
  uint64_t first;
  uint64_t last;
};

struct HeldAlerts {
  std::string server;
  size_t count;             // alerts held
  std::vector<IdRun> runs;  // ascending; at least one

  uint64_t first() const { return runs.front().first; }
  uint64_t last() const { return runs.back().last; }
  std::vector<IdRun> holes() const;
  uint64_t missing() const;  // ids in the holes
};

// One entry for each server that has alerts here, by name.
std::vector<HeldAlerts> held_alerts(const AlertList& alerts);

// "5-6, 9"; "-" for none. Not more than `most` runs; "..." stands for the others.
std::string runs_text(const std::vector<IdRun>& runs, size_t most);

}  // namespace qel
