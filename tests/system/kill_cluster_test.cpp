// One daemon after another of a cluster is killed while alerts are raised on all of its servers.
// QEL_TEST_KILLS sets how often, QEL_TEST_SEED which daemon and when.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cluster_fixture.h"
#include "support/random.h"

namespace qel::system_test {
namespace {

constexpr int kServers = 3;
constexpr int kLifeMax_ms = 900;  // until the next kill
constexpr int kStartMax_ms = 60;  // of a daemon that is killed before it answers
constexpr int kPause_us = 15000;
constexpr uint32_t kAlertsOfALife = 40;
constexpr std::chrono::seconds kMendMax(120);

uint32_t kills() {
  const char* text = getenv("QEL_TEST_KILLS");
  return text != nullptr ? static_cast<uint32_t>(std::max(atoi(text), 1)) : 12;
}

// A life ends at a random moment: while the daemon starts and mends, or later.
void kill_somebody(Cluster* cluster, alt_test::Random* random) {
  const int victim = random->between(0, kServers - 1);
  usleep(static_cast<useconds_t>(random->between(0, kLifeMax_ms) * 1000));
  cluster->kill(victim);
  if (random->chance(30)) {
    cluster->launch(victim);
    usleep(static_cast<useconds_t>(random->between(0, kStartMax_ms) * 1000));
    cluster->kill(victim);
  }
  cluster->start(victim);
}

TEST_F(ClusterTest, DaemonsThatAreKilledAtRandomMomentsLeaveAllLogsEqual) {
  const uint64_t seed = alt_test::test_seeds({1}).front();
  alt_test::Random random(seed);
  const Raising raising = {kills() * kAlertsOfALife, kPause_us};
  Cluster cluster(kServers);
  cluster.hurry();
  for (const int i : all_of(cluster)) {
    cluster.server(i).set_capacity(4 * static_cast<int>(raising.each));
  }
  cluster.start_all();
  const auto programs = raising_programs(cluster, raising);
  for (uint32_t n = 0; n < kills(); ++n) kill_somebody(&cluster, &random);
  for (const auto& program : programs) EXPECT_EQ(0, program->wait());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(
      all_come_to_hold(cluster, all_of(cluster), size_t{kServers} * raising.each, kMendMax));
  printf("%u kills, %u alerts a server; equal logs %.1f s after the last alert\n", kills(),
         raising.each,
         std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  expect_logs_at_end(&cluster, numbers_raised(all_of(cluster), raising));
  if (HasFailure()) {
    printf("%s\n%s\n", cluster.diagnostic_logs().c_str(), alt_test::repeat_command(seed).c_str());
  }
}

}  // namespace
}  // namespace qel::system_test
