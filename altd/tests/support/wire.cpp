#include "support/wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <optional>
#include <stdexcept>

namespace alt_test {
namespace {

constexpr int kPortsTriedMax = 100;
constexpr int kDatagramsMax = 10000;
constexpr int kPatienceMs = 10000;
constexpr char kMark[] = "everything before this has arrived";

sockaddr_in socket_address(const std::string& address, int port) {
  sockaddr_in made = {};
  made.sin_family = AF_INET;
  made.sin_port = htons(static_cast<uint16_t>(port));
  if (inet_pton(AF_INET, address.c_str(), &made.sin_addr) != 1) {
    throw std::runtime_error("no IPv4 address: " + address);
  }
  return made;
}

int port_of(int fd) {
  sockaddr_in own = {};
  socklen_t size = sizeof(own);
  getsockname(fd, reinterpret_cast<sockaddr*>(&own), &size);
  return ntohs(own.sin_port);
}

std::string text_of(const sockaddr_in& address) {
  char text[INET_ADDRSTRLEN] = "";
  inet_ntop(AF_INET, &address.sin_addr, text, sizeof(text));
  return text;
}

void send_mark(int fd, const std::string& address, int port) {
  const sockaddr_in self = socket_address(address, port);
  if (sendto(fd, kMark, sizeof(kMark), 0, reinterpret_cast<const sockaddr*>(&self), sizeof(self)) !=
      static_cast<ssize_t>(sizeof(kMark))) {
    throw std::runtime_error("cannot send to " + address);
  }
}

// Nothing when it was the mark.
std::optional<Datagram> next_datagram(int fd, const std::string& to) {
  pollfd waiting = {fd, POLLIN, 0};
  if (poll(&waiting, 1, kPatienceMs) != 1) throw std::runtime_error("nothing arrives at " + to);
  std::string bytes(65536, '\0');
  sockaddr_in from = {};
  socklen_t size = sizeof(from);
  const ssize_t length =
      recvfrom(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr*>(&from), &size);
  if (length < 0) throw std::runtime_error("cannot receive at " + to);
  bytes.resize(static_cast<size_t>(length));
  if (bytes == std::string(kMark, sizeof(kMark))) return std::nullopt;
  return Datagram{text_of(from), to, bytes};
}

}  // namespace

Wire::Receiver::Receiver(const std::string& address_text, int port)
    : address(address_text), socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const sockaddr_in own = socket_address(address, port);
  bound = bind(socket, reinterpret_cast<const sockaddr*>(&own), sizeof(own)) == 0;
}

Wire::Wire(const std::vector<std::string>& addresses) {
  for (int attempt = 0; attempt < kPortsTriedMax; ++attempt) {
    if (open_all(addresses)) return;
  }
  throw std::runtime_error("no port is free at all addresses");
}

// The first address takes whatever port is free there.
bool Wire::open_all(const std::vector<std::string>& addresses) {
  receivers_.clear();
  port_ = 0;
  for (const std::string& address : addresses) {
    const Receiver& receiver = receivers_.emplace_back(address, port_);
    if (!receiver.bound) return false;
    port_ = port_of(receiver.socket);
  }
  return true;
}

std::vector<Datagram> Wire::take() {
  std::vector<Datagram> taken;
  for (const Receiver& receiver : receivers_) {
    send_mark(receiver.socket, receiver.address, port_);
    for (int i = 0; i < kDatagramsMax; ++i) {
      auto datagram = next_datagram(receiver.socket, receiver.address);
      if (!datagram) break;
      taken.push_back(*std::move(datagram));
    }
  }
  return taken;
}

}  // namespace alt_test
