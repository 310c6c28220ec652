// The network between the servers of a cluster, when it is to be a bad one.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "support/process.h"

namespace qel::system_test {

// What the network does to the datagrams that enter it from now on. Percentages are of datagrams.
struct Conditions {
  int lost_percent = 0;
  int repeated_percent = 0;
  int delay_ms_max = 0;             // each is delayed by up to that, so they overtake each other
  uint32_t dead_interconnects = 0;  // a bit for each that carries nothing
  uint32_t island = 0;              // a bit for each server that is cut off from the others
};

// A process that passes on the datagrams between the servers. Each server knows the others by
// addresses of the relay (loopback_address with the view view_of(server)), and what arrives at one
// of these is sent on to the true address, from that by which the receiver knows the sender. So the
// daemons are as they are, and every datagram is a real one. What is lost, repeated and delayed
// follows from the seed and the order in which datagrams arrive.
class Relay {
 public:
  Relay(int servers, int interconnects, int port, uint64_t seed);
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  static int view_of(int server) { return server + 1; }

  void set(const Conditions& conditions);

  struct Counters {
    uint64_t passed;
    uint64_t lost;  // for whatever reason
    uint64_t repeated;
    uint64_t delivered;  // of those passed and repeated, by now
  };
  Counters counters() const;

 private:
  struct Shared;
  struct Unmap {
    void operator()(Shared* shared) const;
  };
  class Process;

  std::unique_ptr<Shared, Unmap> shared_;
  std::unique_ptr<alt_test::Child> process_;
};

}  // namespace qel::system_test
