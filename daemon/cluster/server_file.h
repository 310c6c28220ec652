// The servers of the cluster, as cluster.xml tells them.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "alert_msg.h"

namespace qel::daemon {

constexpr size_t kServersMax = AL_SVRNAME_COUNT;  // the protocol's tables of server names
constexpr size_t kServerNameMax = ALERT_NAME_SIZE - 1;
constexpr size_t kAddressesMax = 8;  // of one server; each alert goes to every one of them

struct ServerAddress {
  std::string ip;    // numeric, as inet_ntop writes it; an IPv4-mapped one as dotted IPv4
  int interconnect;  // from 0; equal numbers on two servers: the same network

  bool operator==(const ServerAddress&) const = default;
};

struct ServerEntry {
  std::string name;  // short host name
  std::vector<ServerAddress> addresses;

  bool operator==(const ServerEntry&) const = default;
};

// The short host name of this server, which is what the cluster calls it. False with the reason in
// *error when it does not fit into an alert.
bool local_server_name(std::string* name, std::string* error);

// Every server of the cluster in the order of the file, this one among them; an empty <cluster> is
// this server alone, without addresses. All of what the library relies on is checked: names and
// addresses are well-formed and each there once, a server is on an interconnect once, and has an
// address when there are others. False with the first fault in *error, which names file, key,
// server and value; *servers is then unchanged. Starts and ends the XML library.
bool read_servers(std::vector<ServerEntry>* servers, std::string* error);

// What is allowed and yet likely to surprise, a sentence each: names that begin other names,
// servers that `local_name` shares no interconnect with, and more servers than one message can
// name.
std::vector<std::string> server_warnings(const std::vector<ServerEntry>& servers,
                                         const std::string& local_name);

}  // namespace qel::daemon
