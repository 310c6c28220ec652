// Addresses and ports of the loopback network that no other test uses at the same time.
#pragma once

#include <netinet/in.h>

#include <string>
#include <vector>

#include "unique_fd.h"

namespace qel::system_test {

constexpr int kServersMax = 14;       // of one cluster
constexpr int kInterconnectsMax = 4;  // of one server

// The address of a server on an interconnect, both from 0, as the viewing server knows it. The
// first view is the true one: where the server itself receives. In a cluster without a relay there
// is no other.
constexpr int kTrueView = 0;
std::string loopback_address(int server, int interconnect, int view = kTrueView);

// A UDP port that is free at all of these addresses, and that the kernel gives nobody by itself.
int free_port(const std::vector<std::string>& addresses);

sockaddr_in socket_address(const std::string& address, int port);

// A UDP socket bound there (port 0: any); invalid when that fails.
UniqueFd bound_socket(const std::string& address, int port);

}  // namespace qel::system_test
