#include "loopback.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace qel::system_test {
namespace {

// Below the ports that the kernel gives out.
constexpr int kFirstPort = 20000;
constexpr int kPorts = 12000;
constexpr int kPortsTriedMax = 100;

const int kProcess = getpid();  // of the test, also in the processes that it forks

}  // namespace

// 127, then eleven bits of the process, three of the view, and whose address it is.
std::string loopback_address(int server, int interconnect, int view) {
  const int process = kProcess % 2048;
  const int second = 64 + process / 32;
  const int third = process % 32 * 8 + view % 8;
  const int fourth = 1 + (interconnect * (kServersMax + 1)) + server;
  return "127." + std::to_string(second) + "." + std::to_string(third) + "." +
         std::to_string(fourth);
}

sockaddr_in socket_address(const std::string& address, int port) {
  sockaddr_in made = {};
  made.sin_family = AF_INET;
  made.sin_port = htons(static_cast<uint16_t>(port));
  if (inet_pton(AF_INET, address.c_str(), &made.sin_addr) != 1) {
    throw std::runtime_error("no IPv4 address: " + address);
  }
  return made;
}

UniqueFd bound_socket(const std::string& address, int port) {
  const sockaddr_in own = socket_address(address, port);
  UniqueFd fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const bool bound = fd && bind(fd.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0;
  return bound ? std::move(fd) : UniqueFd();
}

int free_port(const std::vector<std::string>& addresses) {
  for (int i = 0; i < kPortsTriedMax; ++i) {
    const int port = kFirstPort + (kProcess + i * 97) % kPorts;
    const bool is_free =
        std::all_of(addresses.begin(), addresses.end(), [port](const std::string& address) {
          return static_cast<bool>(bound_socket(address, port));
        });
    if (is_free) return port;
  }
  throw std::runtime_error("no port is free");
}

}  // namespace qel::system_test
