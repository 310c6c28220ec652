// What must hold in a cluster that was left in peace for long enough.
#pragma once

#include <string>

#include "cluster.h"
#include "ledger.h"

namespace qel::simulation {

// Whether every server runs, may write, and holds alerts of the same ids as all others. Cheap.
bool is_settled(Cluster* cluster);

// A line for each server.
std::string describe_servers(Cluster* cluster);

// Empty when every log holds the same alerts, among them each that is owed, each of them once and
// under an id of its own, no server would give an id again, and each index equals a fresh one; else
// what is wrong. Builds the indexes anew.
std::string find_fault(Cluster* cluster, const Ledger& ledger);

}  // namespace qel::simulation
