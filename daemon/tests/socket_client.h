// A client of a Unix stream socket that gives up after a while instead of hanging.
#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "unique_fd.h"

namespace qel::daemon_test {

class SocketClient {
 public:
  explicit SocketClient(const std::string& path)
      : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience = {20, 0};
    setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(fd_.get(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return;
    memcpy(address.sun_path, path.data(), path.size());
    connected_ = connect(fd_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  bool connected() const { return connected_; }

  bool send(const std::string& bytes) const {
    return ::send(fd_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }

  // What comes until the other side closes.
  std::string receive_all() const {
    std::string text;
    char piece[4096];
    for (ssize_t got; (got = recv(fd_.get(), piece, sizeof piece, 0)) > 0;) {
      text.append(piece, static_cast<size_t>(got));
    }
    return text;
  }

 private:
  UniqueFd fd_;
  bool connected_ = false;
};

}  // namespace qel::daemon_test
