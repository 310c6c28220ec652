// Directories and configuration files of a simulated cluster.
#pragma once

#include <string>
#include <vector>

namespace qel::simulation {

struct Member {
  std::string name;
  std::vector<std::string> addresses;  // by interconnect
};

std::string configuration_directory(const std::string& root, const std::string& server);
std::string store_directory(const std::string& root, const std::string& server);
// The semaphore files, which all servers share.
std::string lock_directory(const std::string& root);

// `count` servers, at most 99, with an address on each of the two interconnects.
std::vector<Member> make_members(int count);

// Makes the configuration of each member below `root`. `batches_per_second` is how fast they catch
// up.
void write_configuration(const std::string& root, const std::vector<Member>& members,
                         int batches_per_second);

}  // namespace qel::simulation
