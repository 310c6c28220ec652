// The library's lists of servers, kept in step with the configuration.
#pragma once

#include <string>
#include <vector>

#include "cluster/server_file.h"

namespace qel::daemon {

// What an installation of servers changed. The names are those of other servers.
struct MembershipChange {
  std::vector<std::string> added;
  std::vector<std::string> removed;
  std::vector<std::string> changed;  // their addresses
  bool own_addresses_changed = false;
};

// Makes server_list_head (all servers in the order given) and local_svr from `servers`, which
// `local_name` must be among. That name stays the same as long as the daemon runs.
// The first call leaves it to the daemon's start to fill new_server_list; all other servers count
// as added. A later call that finds something changed brings the working lists in step too: removed
// servers leave new_server_list and servers_not_reply, the nodes there of changed ones are replaced
// in their place, and added ones are appended to new_server_list. A resynchronisation whose peer
// was removed or changed is ended first. Nodes are made anew: no pointer into a list stays valid.
// False with the reason in *error; then nothing has changed, nor when `servers` are those that are
// installed. Between calls of the library only.
bool install_servers(const std::vector<ServerEntry>& servers, const std::string& local_name,
                     MembershipChange* change, std::string* error);

// Frees every list of servers.
void release_servers();

}  // namespace qel::daemon
