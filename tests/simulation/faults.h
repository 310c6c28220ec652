// What befalls a cluster.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "cluster.h"
#include "ledger.h"

namespace qel::simulation {

// Begins faults at random, each of which ends by itself some time later. Which kinds there are is
// drawn once for a run, so that some runs have much of one kind.
//
// A server whose store was lost comes back only to a cluster in which all others run and hear each
// other, and until it may write nothing new befalls the cluster: it learns from the others which
// ids it has given, and nobody could keep it from giving those again that only an absent server
// knows of.
class Faults {
 public:
  Faults(Cluster* cluster, Ledger* ledger);

  // The kinds of this run, in words.
  std::string kinds() const;

  // From now on until heal.
  void begin();
  // Ends all faults and begins no more. A server that has lost its store may take some more time to
  // come back.
  void heal();

 private:
  struct Kind {
    const char* name;
    // Begins one that is to last so long, unless there is no place for it now.
    void (Faults::*begin)(Time duration);
  };
  static const std::vector<Kind>& all_kinds();

  void next();
  void add(const std::string& what, Time duration, EventQueue::Action end);
  void end(int number);
  void worsen(unsigned Weather::*field, unsigned percent, const char* what, Time duration);

  void lose_datagrams(Time duration);
  void repeat_datagrams(Time duration);
  void refuse_datagrams(Time duration);
  void delay_datagrams(Time duration);
  void cut_interconnect(Time duration);
  void unplug_interface(Time duration);
  void part_servers(Time duration);
  void stretch_timeouts(Time duration);
  void fill_disk(Time duration);
  void kill_server(Time duration);
  void kill_within_call(Time duration);
  void lose_power(Time duration);
  void stop_server(Time duration);
  void lose_store(Time duration);

  int pick_server();
  int pick_interconnect() { return cluster_->random().between(0, 1); }
  void take_down(int server, bool clean);
  void start(int server);
  void doom(int server);
  void node_died(int server);
  void restart_soon(int server);
  void note_stores(int lost) const;
  void return_with_empty_store(int server);
  void wait_until_it_writes(int server);
  bool all_others_run(int server) const;

  Cluster* cluster_;
  Ledger* ledger_;
  std::vector<Kind> kinds_;
  Weather weather_;
  int next_number_ = 0;
  std::map<int, EventQueue::Action> ends_;  // of the faults there are, by number
  bool store_is_missing_ = false;           // a server without its store does not write yet
  bool quiet_ = false;                      // no new fault begins
  bool relapses_ = false;                   // servers may also be killed while they start
};

}  // namespace qel::simulation
