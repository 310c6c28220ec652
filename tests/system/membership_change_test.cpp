// Servers come, go and move while the daemons of the others run on.
#include "cluster_fixture.h"

namespace qel::system_test {
namespace {

using nlohmann::json;

constexpr std::chrono::seconds kPatienceMax(60);

class MembershipChange : public ClusterTest {
 protected:
  static bool knows(const Cluster& cluster, int i, int other) {
    return cluster.peer(i, other).is_object();
  }
  // Whether alerts to the other server are not acknowledged, or were given up.
  static bool sends_in_vain(const Cluster& cluster, int i, int other) {
    const json peer = cluster.peer(i, other);
    return peer.is_object() && (peer["unacknowledged"] > 0 || peer["given_up"] > 0);
  }
  // Whether the server has heard the other one at the address that it has now.
  static bool hears(const Cluster& cluster, int i, int other, int interconnect) {
    const json peer = cluster.peer(i, other);
    for (const json& address : peer.is_object() ? peer["addresses"] : json::array()) {
      if (address["ip"] == cluster.address(other, interconnect)) return address["last_heard"] != "";
    }
    return false;
  }
};

TEST_F(MembershipChange, ServerThatLeavesGetsNothingMoreAndAllWhenItComesBack) {
  constexpr Raising kWithAll = {20, 2000};
  constexpr Raising kWithoutIt = {20, 2000, 1000};
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  ASSERT_TRUE(raise_on_all(cluster, kWithAll));
  ASSERT_TRUE(all_come_to_hold(cluster, all_of(cluster), 60));

  cluster.leave(2);
  cluster.reload_all();
  for (const int i : {0, 1}) {
    EXPECT_TRUE(eventually([&] { return !knows(cluster, i, 2); })) << cluster.diagnostic_logs();
    EXPECT_TRUE(eventually([&] { return !knows(cluster, 2, i); })) << cluster.diagnostic_logs();
  }
  ASSERT_TRUE(raise_on(cluster, 0, kWithoutIt) && raise_on(cluster, 1, kWithoutIt));
  ASSERT_TRUE(all_come_to_hold(cluster, {0, 1}, 100));
  EXPECT_EQ(60U, alerts_held(cluster.server(2)));

  cluster.join(2);
  cluster.reload_all();
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster), 100, kPatienceMax))
      << cluster.diagnostic_logs();
  expect_logs_at_end(&cluster, joined(numbers_raised(all_of(cluster), kWithAll),
                                      numbers_raised({0, 1}, kWithoutIt)));
}

TEST_F(MembershipChange, ServerThatMovesToOtherAddressesIsHeardThereAndNothingIsLost) {
  constexpr Raising kRaising = {1000, 6000};
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  // Else the catching up of the start would bring what was lost.
  ASSERT_TRUE(is_settled(cluster)) << cluster.diagnostic_logs();
  const auto programs = raising_programs(cluster, kRaising);
  for (const int interconnect : {0, 1}) cluster.move(1, interconnect);
  cluster.reload(1);
  for (const int i : {0, 2}) EXPECT_TRUE(eventually([&] { return sends_in_vain(cluster, i, 1); }));
  cluster.reload_all();
  for (const int i : {0, 2}) {
    for (const int interconnect : {0, 1}) {
      EXPECT_TRUE(eventually([&] { return hears(cluster, i, 1, interconnect); }))
          << cluster.diagnostic_logs();
    }
  }
  for (const auto& program : programs) EXPECT_EQ(0, program->wait());
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster), size_t{3} * kRaising.each, kPatienceMax))
      << cluster.diagnostic_logs();
  expect_logs_at_end(&cluster, numbers_raised(all_of(cluster), kRaising));
}

TEST_F(MembershipChange, ServerThatJoinsAmongAlertsGetsAllAndIsHeardByAll) {
  constexpr Raising kRaising = {600, 6000};
  Cluster cluster(4);
  cluster.hurry();
  cluster.leave(3);
  for (const int i : {0, 1, 2}) cluster.start(i);
  std::vector<std::unique_ptr<alt_test::Child>> programs;
  for (const int i : {0, 1, 2}) programs.push_back(raising_program(cluster, i, kRaising));
  cluster.join(3);
  cluster.reload_all();
  cluster.start(3);
  programs.push_back(raising_program(cluster, 3, kRaising));
  for (const auto& program : programs) EXPECT_EQ(0, program->wait());
  EXPECT_TRUE(all_come_to_hold(cluster, all_of(cluster), size_t{4} * kRaising.each, kPatienceMax))
      << cluster.diagnostic_logs();
  expect_logs_at_end(&cluster, numbers_raised(all_of(cluster), kRaising));
}

}  // namespace
}  // namespace qel::system_test
