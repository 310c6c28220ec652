// What a daemon costs that has nothing to do.
#include <unistd.h>

#include <cstdio>

#include "cluster_fixture.h"
#include "process_figures.h"
#include "support/sanitizer.h"

namespace qel::system_test {
namespace {

constexpr int kServers = 3;
constexpr unsigned kWatched_s = 10;
constexpr long kMemoryMax_kb = 64 * 1024;  // a leak or a careless buffer, not a figure to aim at

TEST_F(ClusterTest, SettledDaemonNeedsLittleMemory) {
  Cluster cluster(kServers);
  cluster.start_all();
  ASSERT_TRUE(is_settled(cluster)) << cluster.diagnostic_logs();
  std::vector<std::chrono::microseconds> before;
  for (int i = 0; i < kServers; ++i) before.push_back(processor_time(cluster.daemon(i).pid()));
  sleep(kWatched_s);
  for (int i = 0; i < kServers; ++i) {
    const pid_t pid = cluster.daemon(i).pid();
    const auto used = processor_time(pid) - before[static_cast<size_t>(i)];
    const long memory_kb = resident_kb(pid);
    printf("idle: %-6s %.3f %% of a processor, %.1f MB\n", cluster.server(i).host().c_str(),
           static_cast<double>(used.count()) / (kWatched_s * 1e4),
           static_cast<double>(memory_kb) / 1024);
    if (!alt_test::is_sanitized()) {
      EXPECT_LT(memory_kb, kMemoryMax_kb);
    }
    EXPECT_FALSE(cluster.daemon(i).has_ended());
  }
  EXPECT_TRUE(cluster.stop_all());
}

}  // namespace
}  // namespace qel::system_test
