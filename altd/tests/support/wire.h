// Datagrams as they reach the servers of a cluster: real sockets on loopback addresses.
#ifndef QEL_ALTD_TESTS_SUPPORT_WIRE_H
#define QEL_ALTD_TESTS_SUPPORT_WIRE_H

#include <deque>
#include <string>
#include <vector>

#include "support/store_bytes.h"

namespace alt_test {

struct Datagram {
  std::string from;  // address without port
  std::string to;
  std::string bytes;
};

// Receives at each of the addresses, all on one UDP port that was free.
class Wire {
 public:
  explicit Wire(const std::vector<std::string>& addresses);

  int port() const { return port_; }
  // What has arrived since the last call, by address in the order of the constructor, and at each
  // in the order of arrival.
  std::vector<Datagram> take();

 private:
  bool open_all(const std::vector<std::string>& addresses);

  struct Receiver {
    Receiver(const std::string& address, int port);
    std::string address;
    Opened socket;
    bool bound;
  };
  std::deque<Receiver> receivers_;
  int port_ = 0;
};

}  // namespace alt_test

#endif
