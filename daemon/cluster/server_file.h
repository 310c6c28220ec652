// The servers of the cluster, as cluster.xml tells them. What must hold there is the
// configuration's own affair; here it is read through the XML library of the product.
#pragma once

#include <string>
#include <vector>

#include "configuration/servers.h"

namespace qel::daemon {

using configuration::local_server_name;
using configuration::ServerAddress;
using configuration::ServerEntry;

// Every server of the cluster in the order of the file, this one among them; an empty <cluster> is
// this server alone, without addresses. False with the first fault in *error, which names file,
// key, server and value; *servers is then unchanged. Starts and ends the XML library.
bool read_servers(std::vector<ServerEntry>* servers, std::string* error);

// What is allowed and yet likely to surprise `local_name`, a sentence each.
std::vector<std::string> server_warnings(const std::vector<ServerEntry>& servers,
                                         const std::string& local_name);

}  // namespace qel::daemon
