// One server of the simulated cluster: a host with a store, on which a node runs now and then.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "disk.h"
#include "event_queue.h"
#include "interposed.h"
#include "module_copy.h"
#include "network.h"
#include "node.h"
#include "promises.h"
#include "trace.h"

namespace qel::simulation {

// What the servers of a cluster have in common.
struct Surroundings {
  EventQueue* queue;
  alt_test::Random* random;
  Trace* trace;
  Network* network;
  int timeout_ratio = 1;  // of the cluster, as its shared state tells it
};

class Server : private Host, private NodeLoop {
 public:
  // `root` is the directory of the cluster, in which the configuration of this server lies already
  // (configuration.h).
  Server(const std::string& name, const std::string& root, const Surroundings* surroundings);
  ~Server() override;
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  const std::string& name() const override { return name_; }
  std::string store() const;
  Disk& disk() { return disk_; }

  bool runs() const { return node_ != nullptr; }
  // False when the node does not start, or dies while it does.
  bool start();
  void stop();
  void kill();
  // Called whenever a node has died by itself (Disk::doom_node) after its start.
  void when_node_dies(std::function<void()> died) { died_ = std::move(died); }

  // A program of this host raises an alert. False when it has to wait for the daemon, which keeps
  // the intake while it drains; *accepted tells what became of the alert.
  bool raise(const ModuleCopy& program, const std::string& time, const std::string& message,
             bool* accepted);

  // A datagram arrives at the host.
  void arrive(const std::string& from, const std::string& bytes);

  // Only while a node runs.
  NodeStatus status();
  bool rebuild_indexes();

  const Promises& promises() const { return promises_; }

 private:
  int64_t wall_clock_us() const override;
  int64_t tick_clock() const override;
  bool can_bind(const std::string& address) const override;
  bool send(const std::string& from, const std::string& to, const std::string& bytes) override;
  int timeout_ratio() const override;
  FileChange change_file(bool takes_room) override;
  void synced(const std::string& content) override;
  void log(const std::string& text) override;

  std::vector<Incoming> take_waiting() override;
  void drain_soon() override;

  // Calls the node, and ends it when it dies meanwhile.
  template <typename Call>
  void in_node(Call call);
  // Arranges something that this node does, unless it has ended by then.
  void arrange(Time delay, void (Server::*step)());
  void tick();
  void drain();
  void receive();
  void leave();

  std::string name_;
  std::string root_;
  const Surroundings& surroundings_;
  Disk disk_;
  Promises promises_;
  Time wall_clock_ahead_;
  Time tick_clock_ahead_ = 0;
  int lives_ = 0;  // nodes that were started so far
  std::unique_ptr<ModuleCopy> module_;
  std::unique_ptr<Node> node_;
  std::function<void()> died_;
  bool program_runs_ = false;  // a program calls, not the node
  std::vector<Incoming> waiting_;
  bool receiving_ = false;    // a receive is arranged
  bool draining_ = false;     // a round of the intake is arranged
  bool intake_held_ = false;  // the daemon keeps the intake until it is empty
};

}  // namespace qel::simulation
