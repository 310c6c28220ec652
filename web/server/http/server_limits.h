// What a server takes on at most.
#pragma once

#include <chrono>
#include <cstddef>

namespace qel::web {

struct Limits {
  unsigned connections = 2000;              // of each listening socket; further ones wait
  unsigned connections_per_address = 1500;  // so that one client leaves some to others
  size_t streams = 600;                     // of all sockets together; further ones are refused
  size_t head_bytes = 16384;                // of a request line with its headers
  unsigned idle_seconds = 15;               // a connection on which nothing moves is closed then
  std::chrono::milliseconds comment_interval{15000};  // between the comments of a stream
};

}  // namespace qel::web
