// What this daemon knows of each other server.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "alert_msg.h"

namespace qel::daemon {

// Notes, for the status and for the choice of a path, when and at which address a server was heard,
// and how many alerts to it were given up. Names and addresses of servers that have left stay until
// the end of the process; there are few.
class PeerBook {
 public:
  struct Peer {
    std::string last_answer;                        // time text; empty: not heard yet
    std::map<std::string, std::string> last_heard;  // by address
    std::string best_address;                       // the one heard last
    uint64_t given_up = 0;                          // alerts that were never acknowledged
  };

  // A datagram of a known server came from this address.
  void heard(const char* address);

  // The alerts in the send history, by sequence; call it before dropmsg_from_list, and then
  // count_given_up with its result.
  struct Outstanding {
    int sequence;
    std::string server;
  };
  static std::vector<Outstanding> outstanding_alerts();
  void count_given_up(const std::vector<Outstanding>& before);

  // An empty entry for a server that was not heard.
  const Peer& peer(const std::string& server) const;

 private:
  std::map<std::string, Peer> peers_;
};

}  // namespace qel::daemon
