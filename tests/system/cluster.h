// The servers of a cluster, their daemons, and the list of servers that they share.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "loopback.h"
#include "server.h"

namespace qel::system_test {

// Servers on hosts of their own (server.h) with addresses that no other test has. Not started.
class Cluster {
 public:
  enum class Network { kDirect, kRelayed };  // relayed: by a Relay of the same measures

  explicit Cluster(int servers, int interconnects = 2, Network network = Network::kDirect);

  int size() const { return static_cast<int>(nodes_.size()); }
  int interconnects() const { return interconnects_; }
  int port() const { return port_; }
  Server& server(int i) { return *nodes_[index(i)].server; }
  const Server& server(int i) const { return *nodes_[index(i)].server; }
  // Where a server receives.
  std::string address(int i, int interconnect) const;
  // An address there that belongs to no server, not even later.
  std::string spare_address(int interconnect) {
    return loopback_address(next_place_++, interconnect);
  }

  // Short time-outs for all daemons, but those of catching up; and no logs are compared without a
  // cause, which would hide that a cause was overlooked.
  void hurry();
  // A setting of the section "webalert" of every server.
  void set_for_all(const std::string& parent, const std::string& element, const std::string& text);

  // ---- the list of servers: all of them at first. The configurations change at once; a reload has
  // the running daemons read them.
  void leave(int i);
  void join(int i);
  // Gives the server another address on that interconnect.
  void move(int i, int interconnect);
  void reload(int i);
  void reload_all();

  // ---- daemons
  void launch(int i);  // as soon as its process is there
  void start(int i);   // when it answers
  void start_all();
  bool runs(int i) const { return nodes_[index(i)].daemon != nullptr; }
  Program& daemon(int i) { return *nodes_[index(i)].daemon; }
  // Ends it as the service manager does; whether that went well.
  bool stop(int i);
  bool stop_all();
  void kill(int i);

  // Whether every running daemon has caught up with every peer, or tried to.
  bool is_settled() const;
  // What the daemon tells of another server; null when it does not know it.
  nlohmann::json peer(int i, int other) const;
  // The ends of all diagnostic logs, to print when a test has failed.
  std::string diagnostic_logs() const;

 private:
  struct Node {
    std::unique_ptr<Server> server;
    std::unique_ptr<Program> daemon;  // null: not running
    bool is_member = true;
    std::vector<int> places;  // by interconnect; what loopback_address calls a server
  };

  static size_t index(int i) { return static_cast<size_t>(i); }
  std::string listed(int i, int viewer) const;
  void write_lists() const;

  int interconnects_;
  Network network_;
  std::vector<Node> nodes_;
  int next_place_;
  int port_;
};

}  // namespace qel::system_test
