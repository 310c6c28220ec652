// What this daemon knows of each other server.
#pragma once

#include <cstdint>
#include <deque>
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
  // Whoever waits for an alert asks again within seconds.
  static constexpr size_t kGivenUpIdsKept = 1000;

  struct Peer {
    std::string last_answer;                        // time text; empty: not heard yet
    std::map<std::string, std::string> last_heard;  // by address
    std::string best_address;                       // the one heard last
    uint64_t given_up = 0;                          // alerts that were never acknowledged
    std::deque<uint32_t> given_up_ids;              // the latest of them, kGivenUpIdsKept at most
  };

  // A datagram of a known server came from this address.
  void heard(const char* address);

  // The alerts in the send history, by sequence; call it before dropmsg_from_list, and then
  // count_given_up with its result.
  struct Outstanding {
    int sequence;
    std::string server;
    uint32_t alert_id;  // 0: not known
  };
  static std::vector<Outstanding> outstanding_alerts();
  void count_given_up(const std::vector<Outstanding>& before);

  // "answering"; "silent": it let a request expire and has not answered the announcement since; or
  // "not heard yet".
  const char* state(const std::string& server) const;

  // An empty entry for a server that was not heard.
  const Peer& peer(const std::string& server) const;

 private:
  std::map<std::string, Peer> peers_;
};

}  // namespace qel::daemon
