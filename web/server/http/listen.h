// Sockets on which a server listens. Errors name the address and the reason.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "unique_fd.h"

namespace qel::web {

// At a numeric address with its port, such as "127.0.0.1:8080", "[::1]:8080" or "0.0.0.0:443";
// port 0 is any that is free. Invalid, with the reason in *error, when that fails.
UniqueFd listen_at_address(const std::string& address, std::string* error);

// Owner of the name of a Unix socket: removes it.
class SocketFile {
 public:
  explicit SocketFile(std::string path) : path_(std::move(path)) {}
  SocketFile(SocketFile&& other) noexcept : path_(std::exchange(other.path_, {})) {}
  SocketFile& operator=(SocketFile&& other) noexcept {
    std::swap(path_, other.path_);
    return *this;
  }
  ~SocketFile();

 private:
  std::string path_;
};

struct UnixListener {
  UniqueFd socket;
  SocketFile file;
};

// At a path, for the owner and the group. A socket that an earlier process left there is replaced,
// one at which somebody listens is not, nor a file of another kind.
std::optional<UnixListener> listen_at_path(const std::string& path, std::string* error);

// Those that systemd has handed over; none when it has not. Only once in a process: it forgets
// them. Nothing, with the reason in *error, when one of them is not a listening stream socket.
std::optional<std::vector<UniqueFd>> sockets_handed_over(std::string* error);

// Where it listens: "127.0.0.1:8080", "[::1]:8080" or the path.
std::string listening_at(int socket);

// Only this server itself gets there: a loopback address or a Unix socket.
bool is_local(int socket);

}  // namespace qel::web
