// What a server promises with its acknowledgements.
#pragma once

#include <map>
#include <string>

namespace qel::simulation {

// Whoever acknowledges an alert has it on the disk: the sender sends it no more.
class Promises {
 public:
  // A datagram is handed to the server.
  void received(const std::string& from, const std::string& datagram);
  // The server sends a datagram, while its disk holds this log for good.
  void sends(const std::string& to, const std::string& datagram, const std::string& durable_log);

  // An alert that was acknowledged too early; empty when there was none.
  const std::string& broken() const { return broken_; }

 private:
  std::map<std::string, std::string> alerts_;  // messages, by sender and sequence
  std::string broken_;
};

}  // namespace qel::simulation
