// One simulated history: alerts are raised while the cluster suffers, then it is left in peace.
#pragma once

#include <cstdint>
#include <string>

#include "cluster.h"
#include "faults.h"
#include "ledger.h"

namespace qel::simulation {

// What came of it.
struct Outcome {
  std::string fault;        // empty when all is as it must be
  uint64_t trace_hash = 0;  // of everything that happened
  std::string story;
  size_t raised = 0;       // alerts
  Time settled_after = 0;  // the end of the faults
};

class Scenario {
 public:
  Scenario(int servers, uint64_t seed);
  Outcome run();

 private:
  void start_servers();
  void raise_alerts();
  void raise_at(int server, Time delay, int alert);
  void raise(int server, int alert);
  std::string raise_time();
  Time wait_until_settled();

  Cluster cluster_;
  Ledger ledger_;
  Faults faults_;
  Time last_raise_time_ = 0;
};

}  // namespace qel::simulation
