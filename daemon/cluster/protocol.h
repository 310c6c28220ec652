// The daemon's part in the protocol between the servers: everything but sockets and clock.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cluster/catch_up.h"
#include "cluster/datagram_guard.h"
#include "cluster/membership.h"
#include "cluster/peer_book.h"
#include "cluster/remote_alerts.h"
#include "log_sync.h"
#include "settings.h"

namespace qel::daemon {

// What the protocol needs of the daemon around it.
class ProtocolHost {
 public:
  virtual ~ProtocolHost() = default;
  // Hands in every datagram that waits at the sockets.
  virtual void receive_waiting() = 0;
  // Looks whether the cluster's servers have changed.
  virtual void check_servers() = 0;
  // Has the intake drained when something waits there.
  virtual void drain_intake() = 0;
};

// Feeds the library with datagrams and ticks and answers its request flags. Has no thread, no timer
// and no socket of its own, so that a whole cluster can run in one process. Every call comes from
// one thread and none overlaps another.
class Protocol {
 public:
  struct Counters {
    std::map<std::string, uint64_t> received;          // by the name of the message
    std::array<uint64_t, kRefusalCount> refused = {};  // by reason
  };

  Protocol(const Settings& settings, LogSync* log_sync, ProtocolHost* host);
  Protocol(const Protocol&) = delete;
  Protocol& operator=(const Protocol&) = delete;

  // Before the library opens the log, with the lists of servers installed.
  static void prepare();
  // After that. Where there are other servers, they are asked for this server's highest id, and the
  // log takes no local alerts before they have answered: for a moment at most, or, when it was made
  // anew, until each of them has answered or was given up.
  void start();

  // As install_servers, on a running daemon.
  bool change_servers(const std::vector<ServerEntry>& servers, const std::string& local_name,
                      MembershipChange* change, std::string* error);

  // Datagrams that arrived together.
  void receive(const Datagram* datagrams, size_t count);

  // Once a second.
  void tick();

  const Counters& counters() const { return counters_; }
  const PeerBook& peers() const { return peers_; }
  const CatchUp& catch_up() const { return catch_up_; }
  uint64_t stored() const { return remote_.stored(); }

 private:
  void refuse(const Datagram& datagram, Refusal refusal);
  void dispatch(const Datagram& datagram);
  void hand_in(const Datagram& datagram);
  void answer_flags();
  void drop_expired();
  void ask_own_id();
  void write_when_all_have_told();
  void adopt_own_id();
  void report_refusals();

  LogSync* log_sync_;
  ProtocolHost* host_;
  Counters counters_;
  PeerBook peers_;
  CatchUp catch_up_;
  RemoteAlerts remote_;
  std::vector<const Datagram*> stored_;  // alerts to be handed in once they are on the disk
  bool wait_for_all_ = true;             // answers about the own id; for logs that are made anew
  uint64_t reported_refusals_ = 0;
  int ticks_to_report_ = 0;
  std::string last_refused_;
};

}  // namespace qel::daemon
