// A whole cluster in one process, on virtual time and a virtual network.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "event_queue.h"
#include "module_copy.h"
#include "network.h"
#include "server.h"
#include "support/random.h"
#include "trace.h"

namespace qel::simulation {

// A directory of its own, in memory where the system offers that; gone at the end with the
// semaphores that are named after files in it.
class ClusterDirectory {
 public:
  ClusterDirectory();
  ~ClusterDirectory();
  ClusterDirectory(const ClusterDirectory&) = delete;
  ClusterDirectory& operator=(const ClusterDirectory&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

// Everything that happens follows from the seed. One at a time: its nodes take over the process's
// system calls.
class Cluster {
 public:
  Cluster(int servers, uint64_t seed);

  int size() const { return static_cast<int>(servers_.size()); }
  Server& server(int index) { return *servers_[static_cast<size_t>(index)]; }
  EventQueue& queue() { return queue_; }
  alt_test::Random& random() { return random_; }
  Trace& trace() { return trace_; }
  Network& network() { return network_; }
  void set_timeout_ratio(int ratio) { surroundings_.timeout_ratio = ratio; }
  // What programs raise their alerts with.
  const ModuleCopy& program() const { return *program_; }

 private:
  ClusterDirectory directory_;
  EventQueue queue_;
  alt_test::Random random_;
  Trace trace_{queue_};
  Network network_;
  Surroundings surroundings_{&queue_, &random_, &trace_, &network_};
  std::unique_ptr<ModuleCopy> program_;
  std::vector<std::unique_ptr<Server>> servers_;
};

}  // namespace qel::simulation
