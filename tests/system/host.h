// Host names: a server of the cluster is known by that of the host it runs on.
#pragma once

#include <string>

namespace qel::system_test {

// For a forked process: puts it, and whatever it starts, on a host of that name that shares all
// but the name with this one. Works for root and where users may make namespaces. Else it throws.
void move_to_host(const std::string& name);

// Whether move_to_host works here.
bool can_move_to_host();

}  // namespace qel::system_test
