// One server's alert log inside a simulated cluster: library and daemon, without the event loop.
//
// Nodes are made by a module that holds the very objects of library and daemon. Each simulated
// server loads a copy of it of its own (module_copy.h), so that every global is there once for each
// server. What a node asks of the system (sockets, clocks, host name, diagnostic log) is answered
// by the program that loads it (interposed.h).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qel::simulation {

// A datagram on its way into a node.
struct Incoming {
  std::string bytes;
  std::string sender;  // numeric address text
};

// What a node asks of the event loop around it.
class NodeLoop {
 public:
  virtual ~NodeLoop() = default;
  // Every datagram that waits at the sockets.
  virtual std::vector<Incoming> take_waiting() = 0;
  // Calls drain_round soon.
  virtual void drain_soon() = 0;
};

struct NodeStatus {
  int sync_step = 0;          // g_sync_step
  bool may_write = false;     // start_write_local_logfile
  uint32_t highest_id = 0;    // the next local alert gets a higher one
  bool intake_empty = false;  // everything that programs have raised is stored
  std::string held;           // the ids held of each server, as runs without a gap
};

// Its end without a stop is a kill between two calls of the library: descriptors are closed, and
// everything that was only in memory is gone.
class Node {
 public:
  virtual ~Node() = default;

  // What the daemon does up to its first event. The configuration lies in QEL_CONFIG_DIR. False
  // with the reason in *error; the node is then of no further use.
  virtual bool start(std::string* error) = 0;
  // Datagrams that arrived together.
  virtual void receive(const std::vector<Incoming>& datagrams) = 0;
  // Once a second.
  virtual void tick() = 0;
  // A round of the intake; true when there is more to drain at once.
  virtual bool drain_round() = 0;
  // The end of the service.
  virtual void stop() = 0;

  virtual NodeStatus status() const = 0;
  // Builds the six indexes from the log, whatever they hold.
  virtual bool rebuild_indexes() = 0;
};

// What the module exports, by these names.
extern "C" {
// A node that is not started yet; the caller deletes it. `loop` outlives it.
Node* qel_make_node(NodeLoop* loop);
// Raises an alert as a program does, in a module that no node runs in: start of the library, one
// alert, end. `time` is the text of the moment at which it is raised. 0 when the intake has it.
int qel_raise_alert(const char* server, const char* time, const char* message);
}

}  // namespace qel::simulation
