// What happened in a simulation: a hash to compare two runs with, and a story to read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "event_queue.h"

namespace qel::simulation {

class Trace {
 public:
  explicit Trace(const EventQueue& queue) : queue_(queue) {}

  // Something that befell the cluster. All of it is kept.
  void event(const std::string& text);
  // A datagram and what the network did with it.
  void datagram(const std::string& from, const std::string& to, const std::string& bytes,
                const char* fate);
  // A message of a node's diagnostic log; not part of the hash. With QEL_SIMULATION_LOG=FILE every
  // line of the trace goes there as well.
  void message(const std::string& server, const std::string& text);

  uint64_t hash() const { return hash_; }
  // All events, and the last messages and datagrams.
  std::string story() const;

 private:
  void mix(const std::string& bytes);
  std::string stamped(const std::string& text) const;
  void keep(std::deque<std::string>* lines, std::string line, size_t count_max);

  const EventQueue& queue_;
  uint64_t hash_ = 14695981039346656037U;  // FNV-1a
  std::deque<std::string> events_;
  std::deque<std::string> datagrams_;
  std::deque<std::string> messages_;
};

}  // namespace qel::simulation
