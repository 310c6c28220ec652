// Three servers with two interconnects between them, and alerts that are raised on all of them.
#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "arrivals.h"
#include "cluster_fixture.h"

namespace qel::system_test {
namespace {

constexpr int kServers = 3;
constexpr Raising kRaising = {1000, 5000};
constexpr std::chrono::seconds kWatched(60);

int64_t percentile_us(std::vector<int64_t> sorted_ns, size_t percent) {
  if (sorted_ns.empty()) return 0;
  return sorted_ns[std::min(sorted_ns.size() * percent / 100, sorted_ns.size() - 1)] / 1000;
}

// A line for each way.
void print_times(const ArrivalWatch& watch, const std::string& to) {
  std::map<std::string, std::vector<int64_t>> times;
  for (const auto& [from, after_ns] : watch.arrivals()) times[from].push_back(after_ns);
  for (auto& [from, of_way] : times) {
    std::sort(of_way.begin(), of_way.end());
    printf("  %-6s to %-6s  median %6.2f ms  99th percentile %6.2f ms\n", from.c_str(), to.c_str(),
           static_cast<double>(percentile_us(of_way, 50)) / 1000,
           static_cast<double>(percentile_us(of_way, 99)) / 1000);
  }
}

TEST_F(ClusterTest, AlertsRaisedOnAllAtTheSameTimeComeToEachExactlyOnce) {
  Cluster cluster(kServers);
  cluster.start_all();
  ASSERT_TRUE(is_settled(cluster)) << cluster.diagnostic_logs();
  std::vector<std::unique_ptr<ArrivalWatch>> watches;
  for (int i = 0; i < kServers; ++i) {
    watches.push_back(
        std::make_unique<ArrivalWatch>(cluster.server(i), kServers * kRaising.each, kWatched));
  }
  EXPECT_TRUE(raise_on_all(cluster, kRaising));
  for (const auto& watch : watches) EXPECT_TRUE(watch->wait()) << cluster.diagnostic_logs();
  expect_logs_at_end(&cluster, numbers_raised(all_of(cluster), kRaising));
  printf("From raise to log, %u alerts a server, one every %d us on each:\n", kRaising.each,
         kRaising.pause_us);
  for (int i = 0; i < kServers; ++i)
    print_times(*watches[static_cast<size_t>(i)], cluster.server(i).host());
}

}  // namespace
}  // namespace qel::system_test
