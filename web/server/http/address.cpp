#include "address.h"

#include <netdb.h>
#include <netinet/in.h>

#include "message.h"

namespace qel::web {

std::string host_text(const sockaddr* address) {
  if (address->sa_family == AF_UNIX) return std::string(kUnixClient);
  const socklen_t size =
      address->sa_family == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
  char text[NI_MAXHOST];
  const int failed = getnameinfo(address, size, text, sizeof text, nullptr, 0, NI_NUMERICHOST);
  return failed != 0 ? std::string() : text;
}

sockaddr_storage bound_address(int socket) {
  sockaddr_storage address{};
  socklen_t size = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) return {};
  return address;
}

}  // namespace qel::web
