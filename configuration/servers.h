// The servers of the cluster as cluster.xml tells them: how they are read, and what must hold.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "configuration/rules.h"

namespace qel::configuration {

inline constexpr char kCluster[] = "/root/cluster";

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

// The text of a key such as "/root/cluster/server[2]/name"; nothing when there is no such element.
using TextOf = std::function<std::optional<std::string>(const std::string& key)>;

// The short host name of this server, which is what the cluster calls it. False with the reason in
// *error when it does not fit into an alert.
bool local_server_name(std::string* name, std::string* error);

// Reads every server in the order of the file; `local` must be among them. Without any, the list is
// `local` alone, without addresses. All of what the alert log relies on is checked: names and
// addresses are well-formed and each there once, a server is on an interconnect once, and has an
// address when there are others. Gives every fault, in the order of the file as far as it goes;
// *servers is of use when there is none.
std::vector<Fault> read_servers(const TextOf& text_of, const std::string& local,
                                std::vector<ServerEntry>* servers);

// What is allowed and yet likely to surprise: names that begin other names, servers that
// `local` shares no interconnect with, and more servers than one message can name. The servers are
// those of a reading without fault.
std::vector<Fault> warnings_about(const std::vector<ServerEntry>& servers,
                                  const std::string& local);

}  // namespace qel::configuration
