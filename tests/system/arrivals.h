// When alerts come into the log of a server.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "server.h"
#include "support/process.h"

namespace qel::system_test {

// A program that waits for the new-alert event of its server and then looks what the log has got,
// as a front end does. It ends when the log holds `expected` alerts, or after `patience`.
class ArrivalWatch {
 public:
  ArrivalWatch(const Server& server, size_t expected, std::chrono::seconds patience);

  // Waits for its end; whether all came.
  bool wait() { return watch_.wait() == 0; }

  struct Arrival {
    std::string server;  // that raised the alert
    int64_t after_ns;    // from the raise until it was in the log
  };
  std::vector<Arrival> arrivals() const;

 private:
  int run(const Server& server, size_t expected, std::chrono::seconds patience) const;

  std::string notes_;
  alt_test::Child watch_;
};

}  // namespace qel::system_test
