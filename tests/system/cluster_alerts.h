// Alerts that are raised on the servers of a cluster, and where they are to be found afterwards.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cluster.h"
#include "support/process.h"

namespace qel::system_test {

// Each server raises `each` alerts, a pause after each of them: server i those with the numbers
// (raising.h) from first_number(i) on. The result of a program is 0 when all were accepted.
struct Raising {
  uint32_t each;
  int pause_us = 0;
  uint32_t base = 0;  // the same for all raisings that repeat no number
};
constexpr uint32_t kNumbersOfServer = 1000000;
uint32_t first_number(const Raising& raising, int i);

// The program that raises them on one server; and on all of them at the same time.
std::unique_ptr<alt_test::Child> raising_program(const Cluster& cluster, int i,
                                                 const Raising& raising);
std::vector<std::unique_ptr<alt_test::Child>> raising_programs(const Cluster& cluster,
                                                               const Raising& raising);
// The same, to the end; whether all were accepted.
bool raise_on(const Cluster& cluster, int i, const Raising& raising);
bool raise_on_all(const Cluster& cluster, const Raising& raising);

// When the alert was raised, as its message tells it: CLOCK_MONOTONIC.
int64_t raised_ns(const std::string& message);
int64_t monotonic_ns();

// The numbers raised by these servers, ascending.
std::vector<uint32_t> numbers_raised(const std::vector<int>& servers, const Raising& raising);
std::vector<uint32_t> joined(std::vector<uint32_t> some, const std::vector<uint32_t>& more);

// How many alerts the log of the server counts; looks at its header only.
size_t alerts_held(const Server& server);
// Whether each of the servers comes to count that many.
bool all_come_to_hold(const Cluster& cluster, const std::vector<int>& servers, size_t count,
                      std::chrono::seconds patience = kPatience);

// Empty when the log of each of the servers, whose daemons must have ended, holds exactly the
// alerts with these numbers, each once and in all of them the same, with an id of its own; and when
// the indexes fit. Else what is wrong.
std::string fault_in_logs(const Cluster& cluster, const std::vector<int>& servers,
                          const std::vector<uint32_t>& numbers);

}  // namespace qel::system_test
