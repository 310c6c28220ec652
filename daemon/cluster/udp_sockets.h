// The sockets at which this server's datagrams arrive.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "cluster/datagram_guard.h"
#include "event_loop.h"
#include "unique_fd.h"

namespace qel::daemon {

// One socket for each own address (local_svr), each thereby on one interconnect. What has arrived
// is handed on in batches, so that one sync of the log serves many alerts.
class UdpSockets {
 public:
  using Receive = std::function<void(const Datagram*, size_t)>;

  explicit UdpSockets(Receive receive);
  ~UdpSockets();
  UdpSockets(const UdpSockets&) = delete;
  UdpSockets& operator=(const UdpSockets&) = delete;

  // Listens at alt_udp_port of every address of local_svr, and nowhere else any more. False with
  // the reason in *error: then only the addresses before the one that failed are listened at.
  bool open(sd_event* event, std::string* error);

  // Hands on everything that waits at the moment.
  void receive_waiting();

  // Datagrams that the kernel dropped since the daemon's start because nobody took them in time.
  uint64_t dropped() const { return dropped_; }

 private:
  struct Socket {
    UdpSockets* owner;
    UniqueFd fd;
    Source source;
    uint32_t dropped = 0;  // the kernel's own counter, which wraps
  };
  struct Batch;

  static int on_readable(sd_event_source*, int fd, uint32_t events, void* socket);
  std::unique_ptr<Socket> listen(sd_event* event, const char* address, std::string* error);
  size_t receive_batch(Socket* socket);

  Receive receive_;
  std::vector<std::unique_ptr<Socket>> sockets_;
  std::unique_ptr<Batch> batch_;
  uint64_t dropped_ = 0;
};

}  // namespace qel::daemon
