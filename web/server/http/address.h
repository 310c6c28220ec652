// Addresses of sockets as texts.
#pragma once

#include <sys/socket.h>

#include <string>

namespace qel::web {

// "127.0.0.1", "::1", or "unix" for a socket in the file system, whatever its path.
std::string host_text(const sockaddr* address);

// Where a socket is bound; of the family AF_UNSPEC when it is none.
sockaddr_storage bound_address(int socket);

}  // namespace qel::web
