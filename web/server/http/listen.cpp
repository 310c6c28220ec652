#include "listen.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <memory>

#include "address.h"

namespace qel::web {

namespace {

struct AddressesFree {
  void operator()(addrinfo* addresses) const { freeaddrinfo(addresses); }
};
using Addresses = std::unique_ptr<addrinfo, AddressesFree>;

std::string failure(const std::string& where, const std::string& reason) {
  return "cannot listen at " + where + ": " + reason;
}

// getaddrinfo itself takes numbers that are too large.
bool is_port(const std::string& text) {
  uint16_t port = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), port);
  return code == std::errc() && end == text.data() + text.size();
}

// "[::1]:80" is host "::1" and port "80"; null when the text is no such thing.
Addresses numeric_address(const std::string& text) {
  const size_t colon = text.rfind(':');
  if (colon == std::string::npos || !is_port(text.substr(colon + 1))) return nullptr;
  std::string host = text.substr(0, colon);
  const bool in_brackets = host.starts_with('[') && host.ends_with(']');
  if (in_brackets) host = host.substr(1, host.size() - 2);
  if (host.empty()) return nullptr;
  addrinfo hints{};
  hints.ai_family = in_brackets ? AF_INET6 : AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
  addrinfo* found = nullptr;
  const int failed = getaddrinfo(host.c_str(), text.c_str() + colon + 1, &hints, &found);
  return Addresses(failed != 0 ? nullptr : found);
}

UniqueFd stream_socket(int family) {
  return UniqueFd(socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// IPv6 alone, so that both families of addresses can have sockets of their own at one port.
bool set_options(int fd, int family) {
  const int on = 1;
  return setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
         (family != AF_INET6 || setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on) == 0);
}

bool fill_address(const std::string& path, sockaddr_un* address) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address->sun_path) return false;
  memcpy(address->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// Removes what an earlier process left at the path. False with the reason in *reason when it is not
// left over.
bool clear_path(const std::string& path, const sockaddr_un& address, std::string* reason) {
  struct stat status;
  if (lstat(path.c_str(), &status) != 0) return true;
  if (!S_ISSOCK(status.st_mode)) {
    *reason = "a file that is no socket is there";
    return false;
  }
  const UniqueFd probe = stream_socket(AF_UNIX);
  if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ||
      errno != ECONNREFUSED) {
    *reason = "another process listens there";
    return false;
  }
  unlink(path.c_str());
  return true;
}

UniqueFd bound_unix_socket(const std::string& path, std::string* reason) {
  sockaddr_un address;
  if (!fill_address(path, &address)) {
    *reason = strerror(ENAMETOOLONG);
    return UniqueFd();
  }
  std::error_code code;
  std::filesystem::create_directories(std::filesystem::path(path).parent_path(), code);
  if (!clear_path(path, address, reason)) return UniqueFd();
  UniqueFd fd = stream_socket(AF_UNIX);
  if (fd && bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
      chmod(path.c_str(), 0660) == 0 && listen(fd.get(), SOMAXCONN) == 0) {
    return fd;
  }
  *reason = code ? code.message() : strerror(errno);
  return UniqueFd();
}

}  // namespace

UniqueFd listen_at_address(const std::string& address, std::string* error) {
  const Addresses found = numeric_address(address);
  if (found == nullptr) {
    *error = failure(address, "it is not a numeric address with a port, such as 127.0.0.1:8080");
    return UniqueFd();
  }
  UniqueFd fd = stream_socket(found->ai_family);
  if (fd && set_options(fd.get(), found->ai_family) &&
      bind(fd.get(), found->ai_addr, found->ai_addrlen) == 0 && listen(fd.get(), SOMAXCONN) == 0) {
    return fd;
  }
  *error = failure(address, strerror(errno));
  return UniqueFd();
}

SocketFile::~SocketFile() {
  if (!path_.empty()) unlink(path_.c_str());
}

std::optional<UnixListener> listen_at_path(const std::string& path, std::string* error) {
  std::string reason;
  UniqueFd fd = bound_unix_socket(path, &reason);
  if (fd) return UnixListener{std::move(fd), SocketFile(path)};
  *error = failure(path, reason);
  return {};
}

std::optional<std::vector<UniqueFd>> sockets_handed_over(std::string* error) {
  const int count = sd_listen_fds(1);
  if (count < 0) {
    *error =
        std::string("the sockets that systemd hands over cannot be taken: ") + strerror(-count);
    return {};
  }
  std::vector<UniqueFd> sockets;
  for (int fd = SD_LISTEN_FDS_START; fd < SD_LISTEN_FDS_START + count; ++fd) {
    sockets.emplace_back(fd);
    if (sd_is_socket(fd, AF_UNSPEC, SOCK_STREAM, 1) > 0 &&
        fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) == 0) {
      continue;
    }
    *error = "descriptor " + std::to_string(fd) +
             ", handed over by systemd, is not a listening stream socket";
    return {};
  }
  return sockets;
}

std::string listening_at(int socket) {
  const sockaddr_storage address = bound_address(socket);
  if (address.ss_family == AF_UNIX) return reinterpret_cast<const sockaddr_un&>(address).sun_path;
  const std::string host = host_text(reinterpret_cast<const sockaddr*>(&address));
  if (address.ss_family == AF_INET6) {
    const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
    return "[" + host + "]:" + std::to_string(ntohs(v6.sin6_port));
  }
  const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
  return host + ":" + std::to_string(ntohs(v4.sin_port));
}

bool is_local(int socket) {
  const sockaddr_storage address = bound_address(socket);
  switch (address.ss_family) {
    case AF_UNIX:
      return true;
    case AF_INET:
      return ntohl(reinterpret_cast<const sockaddr_in&>(address).sin_addr.s_addr) >> 24 == 127;
    case AF_INET6:
      return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6&>(address).sin6_addr);
  }
  return false;
}

}  // namespace qel::web
