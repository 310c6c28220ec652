// Which alert ids of each server the log holds.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qel::daemon {

// The ids held of one server, as runs without a gap, ascending.
struct HeldIds {
  struct Run {
    uint32_t first;
    uint32_t last;
  };
  std::string server;
  uint64_t count = 0;  // alerts
  std::vector<Run> runs;

  uint32_t lowest() const { return runs.empty() ? 0 : runs.front().first; }
  uint32_t highest() const { return runs.empty() ? 0 : runs.back().last; }
  // Ids between the lowest and the highest that are not held.
  uint64_t missing() const;
  // The first id from `from` on that is not held.
  uint32_t first_missing(uint32_t from) const;
};

// Every server of which the log holds alerts, in the order of their names. Empty for an empty log
// and when the index cannot be read (logged). Reads all of "srv_alt_id.idx".
std::vector<HeldIds> read_held_ids();

// The entry of a server; null when nothing is held of it.
const HeldIds* find_held(const std::vector<HeldIds>& held, const std::string& server);

// The highest id that the log holds of this server's own alerts; 0 without one.
uint32_t highest_own_id();

}  // namespace qel::daemon
