// Three servers on a network that loses, repeats, delays and reorders datagrams, that loses an
// interconnect, and that falls apart. QEL_TEST_SEED sets what happens to which datagram,
// QEL_TEST_LONG=1 makes the partition last a minute.
#include <unistd.h>

#include <cstdio>

#include "cluster_fixture.h"
#include "relay.h"
#include "support/random.h"

namespace qel::system_test {
namespace {

constexpr int kServers = 3;
constexpr int kInterconnects = 2;
constexpr std::chrono::seconds kPatienceMax(120);

constexpr Conditions kBad = {.lost_percent = 30, .repeated_percent = 10, .delay_ms_max = 500};

constexpr Conditions with_dead_interconnect(Conditions conditions) {
  conditions.dead_interconnects = 0b10;
  return conditions;
}

constexpr Conditions with_partition(Conditions conditions) {
  conditions.island = 0b100;  // the third server
  return conditions;
}

constexpr Conditions kOneDead = with_dead_interconnect(kBad);
constexpr Conditions kPartition = with_partition(kOneDead);

// Alerts that are lost again and again may go unnoticed until the logs are compared.
constexpr char kRecheck[] = "15";  // seconds

class BadNetwork : public ClusterTest {
 protected:
  BadNetwork()
      : seed_(alt_test::test_seeds({1}).front()),
        cluster_(kServers, kInterconnects, Cluster::Network::kRelayed),
        relay_(kServers, kInterconnects, cluster_.port(), seed_) {
    cluster_.hurry();
    cluster_.set_for_all("sync", "recheck", kRecheck);
  }

  // Alerts are raised on all servers while the network is as told, phase by phase.
  struct Phase {
    Conditions conditions;
    unsigned seconds;
  };
  void raise_through(const std::vector<Phase>& phases) {
    unsigned seconds = 0;
    for (const Phase& phase : phases) seconds += phase.seconds;
    raising_ = {seconds * 1000000 / kPause_us, kPause_us};
    const auto programs = raising_programs(cluster_, raising_);
    for (const Phase& phase : phases) {
      relay_.set(phase.conditions);
      sleep(phase.seconds);
    }
    for (const auto& program : programs) EXPECT_EQ(0, program->wait());
  }

  // Alerts that a server has sent to another one in vain.
  // 0 also while the daemon does not answer.
  int given_up(int i, int other) const {
    const nlohmann::json peer = cluster_.peer(i, other);
    return peer.is_object() ? peer.value("given_up", 0) : 0;
  }

  // Whether a server to which it was silent has announced itself to the server.
  bool is_greeted(int i) const {
    return cluster_.server(i).status()["network"]["received"].contains("announcement");
  }

  void make_good() {
    relay_.set({});
    good_since_ = std::chrono::steady_clock::now();
  }

  void expect_equal_logs() {
    EXPECT_TRUE(all_come_to_hold(cluster_, all_of(cluster_), size_t{kServers} * raising_.each,
                                 kPatienceMax))
        << held();
    print_figures(std::chrono::steady_clock::now() - good_since_);
    expect_logs_at_end(&cluster_, numbers_raised(all_of(cluster_), raising_));
    if (HasFailure()) {
      printf("%s\n%s\n", cluster_.diagnostic_logs().c_str(),
             alt_test::repeat_command(seed_).c_str());
    }
  }

  static constexpr int kPause_us = 40000;

  std::string held() const {
    std::string text;
    for (const int i : all_of(cluster_)) text += cluster_.server(i).status().dump(1) + "\n";
    return text;
  }

  void print_figures(std::chrono::steady_clock::duration took) const {
    const Relay::Counters counters = relay_.counters();
    printf(
        "%u alerts a server; datagrams: %llu passed, %llu lost, %llu repeated; equal logs %.1f s "
        "after the network was good again\n",
        raising_.each, static_cast<unsigned long long>(counters.passed),
        static_cast<unsigned long long>(counters.lost),
        static_cast<unsigned long long>(counters.repeated),
        std::chrono::duration<double>(took).count());
    for (const int i : all_of(cluster_)) {
      for (const int other : all_of(cluster_)) {
        if (other == i) continue;
        printf("  %s gave up %d to %s\n", cluster_.server(i).host().c_str(), given_up(i, other),
               cluster_.server(other).host().c_str());
      }
    }
  }

  uint64_t seed_;
  Cluster cluster_;
  Relay relay_;
  Raising raising_ = {};
  std::chrono::steady_clock::time_point good_since_;
};

TEST_F(BadNetwork, LossesRepetitionsAndDelaysLeaveAllLogsEqual) {
  cluster_.start_all();
  raise_through({{kBad, 6}});
  make_good();
  expect_equal_logs();
}

TEST_F(BadNetwork, PartitionOnTopOfADeadInterconnectAndLossesLeavesAllLogsEqual) {
  cluster_.start_all();
  raise_through({{kOneDead, 2}, {kPartition, is_long_run() ? 60U : 8U}, {kOneDead, 2}});
  for (const int other : {0, 1}) EXPECT_LT(0, given_up(2, other));
  make_good();
  for (const int i : all_of(cluster_)) {
    EXPECT_TRUE(eventually([&] { return is_greeted(i); })) << cluster_.server(i).host();
  }
  expect_equal_logs();
}

}  // namespace
}  // namespace qel::system_test
