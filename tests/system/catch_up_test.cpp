// Servers that were away, that have lost everything, and that are new.
#include <cstdio>
#include <filesystem>

#include "cluster_fixture.h"
#include "raising.h"
#include "relay.h"
#include "store_content.h"
#include "support/sanitizer.h"

namespace qel::system_test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::chrono::seconds kCatchUpMax(60);
constexpr std::chrono::seconds kLongCatchUpMax(180);

class CatchUp : public ClusterTest {
 protected:
  // Starts the server; how long it takes until it holds that many alerts.
  static double seconds_to_catch_up(Cluster* cluster, int i, size_t count,
                                    std::chrono::seconds patience = kCatchUpMax) {
    const auto begin = std::chrono::steady_clock::now();
    cluster->start(i);
    EXPECT_TRUE(all_come_to_hold(*cluster, {i}, count, patience)) << cluster->diagnostic_logs();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  }
  // Whether the server has given up this many alerts to the other one.
  static bool gives_up(const Cluster& cluster, int i, int other, size_t count) {
    return eventually(
        [&] {
          const json peer = cluster.peer(i, other);
          return peer.is_object() && peer["given_up"] == count && peer["unacknowledged"] == 0;
        },
        kCatchUpMax);
  }
  static uint32_t highest_id(const Server& server, const std::string& raised_on) {
    const json status = server.status();
    for (const json& held : status.value("held", json::array())) {
      if (held["server"] == raised_on) return held["highest"];
    }
    return 0;
  }
  static uint32_t id_of(const Server& server, uint32_t number) {
    for (const ALERT_RECORD_INFO& alert : read_log(server.store("alertlog.alt"))) {
      if (number_of(alert.szAlertMessage) == number) return alert.alert_id;
    }
    return 0;
  }
};

TEST_F(CatchUp, ServerThatWasAwayGetsWhatTheOthersHaveGivenUpToSendIt) {
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  ASSERT_TRUE(cluster.stop(2));
  constexpr Raising kMissed = {1000, 1000};
  const auto beta = raising_program(cluster, 1, kMissed);
  ASSERT_TRUE(raise_on(cluster, 0, kMissed));
  ASSERT_EQ(0, beta->wait());
  ASSERT_TRUE(gives_up(cluster, 0, 2, kMissed.each)) << cluster.peer(0, 2);
  ASSERT_TRUE(gives_up(cluster, 1, 2, kMissed.each)) << cluster.peer(1, 2);
  const double seconds = seconds_to_catch_up(&cluster, 2, size_t{2} * kMissed.each);
  printf("%u alerts missed on two servers each: caught up %.1f s after the start\n", kMissed.each,
         seconds);
  expect_logs_at_end(&cluster, numbers_raised({0, 1}, kMissed));
}

TEST_F(CatchUp, ServerThatLostItsStoreGetsAllBackAndGivesNoIdAgain) {
  constexpr Raising kBefore = {50, 1000};
  constexpr Raising kAfter = {1, 0, 1000};
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  ASSERT_TRUE(raise_on_all(cluster, kBefore));
  ASSERT_TRUE(all_come_to_hold(cluster, all_of(cluster), size_t{3} * kBefore.each));
  cluster.kill(2);
  fs::remove_all(cluster.server(2).path("store"));
  fs::create_directory(cluster.server(2).path("store"));
  const uint32_t given = highest_id(cluster.server(0), cluster.server(2).host());
  ASSERT_EQ(kBefore.each, given);

  // Raised before the daemon can know which ids it has given.
  const auto early = raising_program(cluster, 2, kAfter);
  cluster.start(2);
  EXPECT_EQ(0, early->wait());
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster), size_t{3} * kBefore.each + 1, kCatchUpMax))
      << cluster.server(2).status().dump(1);
  expect_logs_at_end(&cluster,
                     joined(numbers_raised(all_of(cluster), kBefore), numbers_raised({2}, kAfter)));
  EXPECT_EQ(given + 1, id_of(cluster.server(2), first_number(kAfter, 2)));
}

TEST_F(CatchUp, NewServerGetsAllFromNothingButItsConfiguration) {
  constexpr Raising kBefore = {40, 1000};
  constexpr Raising kAfter = {20, 1000, 1000};
  Cluster cluster(3);
  cluster.hurry();
  cluster.leave(2);
  cluster.start(0);
  cluster.start(1);
  ASSERT_TRUE(raise_on(cluster, 0, kBefore) && raise_on(cluster, 1, kBefore));
  cluster.join(2);
  cluster.reload_all();
  const double seconds = seconds_to_catch_up(&cluster, 2, size_t{2} * kBefore.each);
  printf("a new server has all %u alerts %.1f s after its start\n", 2 * kBefore.each, seconds);
  EXPECT_TRUE(raise_on_all(cluster, kAfter));
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster),
                               size_t{2} * kBefore.each + size_t{3} * kAfter.each, kCatchUpMax));
  expect_logs_at_end(
      &cluster, joined(numbers_raised({0, 1}, kBefore), numbers_raised(all_of(cluster), kAfter)));
}

TEST_F(CatchUp, CutInTheMiddleIsMadeGoodAndWhatBothMissedMeanwhileComes) {
  constexpr Raising kBefore = {2000};
  constexpr Raising kMeanwhile = {50, 1000, kBefore.each};
  Cluster cluster(2, 2, Cluster::Network::kRelayed);
  Relay relay(2, 2, cluster.port(), 1);
  cluster.hurry();
  cluster.set_for_all("sync", "batches", "100");
  cluster.leave(1);
  cluster.start(0);
  ASSERT_TRUE(raise_on(cluster, 0, kBefore));
  ASSERT_TRUE(all_come_to_hold(cluster, {0}, kBefore.each));
  cluster.join(1);
  cluster.reload_all();
  cluster.start(1);
  ASSERT_TRUE(eventually([&] { return alerts_held(cluster.server(1)) > kBefore.each / 10; }));
  relay.set({.island = 0b10});
  EXPECT_TRUE(raise_on_all(cluster, kMeanwhile));
  EXPECT_TRUE(gives_up(cluster, 0, 1, kMeanwhile.each)) << cluster.peer(0, 1);
  EXPECT_TRUE(gives_up(cluster, 1, 0, kMeanwhile.each)) << cluster.peer(1, 0);
  EXPECT_GT(kBefore.each, alerts_held(cluster.server(1)));
  relay.set({});
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster), kBefore.each + size_t{2} * kMeanwhile.each,
                               kCatchUpMax))
      << cluster.server(0).status().dump(1) << cluster.server(1).status().dump(1);
  expect_logs_at_end(
      &cluster, joined(numbers_raised({0}, kBefore), numbers_raised(all_of(cluster), kMeanwhile)));
}

// Ten thousand alerts, four in a data reply: so many requests, each over one of the two paths. Only
// a request that is not answered until the next resend is repeated, over both.
class LongCatchUp : public CatchUp {
 protected:
  static constexpr Raising kRaising = {alt_test::is_sanitized() ? 4000 : 10000, 0};
  static constexpr size_t kBatches = kRaising.each / 4;
  static constexpr uint32_t kRound = 2000;  // more would fill the intake

  void fill(Cluster* cluster) {
    for (uint32_t raised = 0; raised < kRaising.each; raised += kRound) {
      ASSERT_TRUE(raise_on(*cluster, 0, {kRound, 0, raised}));
      ASSERT_TRUE(all_come_to_hold(*cluster, {0}, raised + kRound));
    }
  }
  static void print_received(const Server& server, const json& status) {
    printf("  %s received:\n", server.host().c_str());
    for (const auto& [name, count] : status["network"]["received"].items()) {
      printf("    %-24s %6d\n", name.c_str(), count.get<int>());
    }
  }
};

TEST_F(LongCatchUp, AsksForEachFourAlertsOnce) {
  Cluster cluster(2);
  cluster.hurry();
  for (const int i : all_of(cluster)) cluster.server(i).set_capacity(20000);
  cluster.leave(1);
  cluster.start(0);
  ASSERT_NO_FATAL_FAILURE(fill(&cluster));
  cluster.join(1);
  cluster.reload_all();
  const double seconds = seconds_to_catch_up(&cluster, 1, kRaising.each, kLongCatchUpMax);
  const json at_end = cluster.server(1).status();
  const json peer = cluster.server(0).status();
  printf("%u alerts: caught up %.1f s after the start\n", kRaising.each, seconds);
  print_received(cluster.server(0), peer);
  print_received(cluster.server(1), at_end);

  // A further run with nothing left to fetch asks once.
  const json& catch_up = at_end["catch_up"];
  const size_t batches = catch_up["batches"];
  EXPECT_LE(kBatches, batches);
  EXPECT_GE(kBatches + catch_up.value("finished", 0U) + catch_up.value("given_up", 0U), batches);
  const size_t requests = peer["network"]["received"]["data request"];
  printf("  %zu data requests for %zu batches\n", requests, batches);
  EXPECT_LE(batches, requests);
  EXPECT_GT(batches * 5 / 4, requests);
  expect_logs_at_end(&cluster, numbers_raised({0}, kRaising));
}

}  // namespace
}  // namespace qel::system_test
