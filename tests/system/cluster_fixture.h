// What the tests of clusters share.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <numeric>
#include <vector>

#include "cluster.h"
#include "cluster_alerts.h"
#include "host.h"

namespace qel::system_test {

class ClusterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!can_move_to_host()) GTEST_SKIP() << "no hosts can be made here";
  }
  static std::vector<int> all_of(const Cluster& cluster) {
    std::vector<int> servers(static_cast<size_t>(cluster.size()));
    std::iota(servers.begin(), servers.end(), 0);
    return servers;
  }
  static bool is_settled(const Cluster& cluster) {
    return eventually([&] { return cluster.is_settled(); }, std::chrono::seconds(60));
  }
  // Ends all daemons and then looks at the logs of all servers.
  static void expect_logs_at_end(Cluster* cluster, const std::vector<uint32_t>& numbers) {
    EXPECT_TRUE(cluster->stop_all());
    EXPECT_EQ("", fault_in_logs(*cluster, all_of(*cluster), numbers));
  }
};

// Whether tests that have a short and a long form take the long one.
inline bool is_long_run() { return getenv("QEL_TEST_LONG") != nullptr; }

}  // namespace qel::system_test
