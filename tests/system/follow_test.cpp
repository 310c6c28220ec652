// qelalert follow beside a real daemon: every alert is shown once, whatever becomes of the log.
#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "cluster_fixture.h"
#include "raising.h"

namespace qel::system_test {
namespace {

namespace fs = std::filesystem;

constexpr uint32_t kAlerts = 5000;
constexpr std::chrono::seconds kShownMax(120);

// The numbers of the alerts that it has shown so far, in its order; a line that is not whole yet
// is left out.
std::vector<uint32_t> shown(const Program& follower) {
  const std::string text = follower.out();
  std::istringstream lines(text.substr(0, text.rfind('\n') + 1));
  std::vector<uint32_t> numbers;
  for (std::string line; std::getline(lines, line);) {
    numbers.push_back(number_of(nlohmann::json::parse(line)["message"]));
  }
  return numbers;
}

size_t lines_of(const Program& follower) {
  const std::string text = follower.out();
  return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

bool comes_to_show(const Program& follower, size_t alerts) {
  return eventually([&] { return lines_of(follower) >= alerts; }, kShownMax);
}

std::vector<uint32_t> sorted(std::vector<uint32_t> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::vector<uint32_t> numbers_to(uint32_t last) {
  std::vector<uint32_t> numbers(last);
  std::iota(numbers.begin(), numbers.end(), 1U);
  return numbers;
}

// Log and indexes; the intake stays.
void remove_log(const Server& server) {
  for (const fs::directory_entry& file : fs::directory_iterator(server.path("store"))) {
    if (file.path().filename() != "alerttmp.alt") fs::remove(file.path());
  }
}

class Follow : public ::testing::Test {
 protected:
  void raise(uint32_t first, uint32_t last) { ASSERT_EQ(0, raise_alerts(first, last)); }

  // A follower that has looked at the log: it shows an alert that was raised for it alone.
  std::unique_ptr<Program> started_follower() {
    auto follower = server_.run_tool({"follow", "-n", "1", "-o", "json"});
    EXPECT_TRUE(comes_to_show(*follower, 1)) << follower->err();
    return follower;
  }

  Server server_;
};

TEST_F(Follow, EveryAlertIsShownOnceAcrossARestartAndALogThatIsMadeAgain) {
  server_.set_capacity(20000);
  auto daemon = server_.start_daemon();
  raise(1, 1);
  ASSERT_TRUE(eventually([&] { return server_.intake_is_empty(); })) << server_.diagnostic_log();
  const auto follower = started_follower();
  raise(2, 2000);
  EXPECT_EQ(0, Server::stop(daemon.get()));
  raise(2001, 2500);  // they wait in the intake
  daemon = server_.start_daemon();
  raise(2501, 3500);
  ASSERT_TRUE(comes_to_show(*follower, 3500)) << follower->err();
  EXPECT_EQ(0, Server::stop(daemon.get()));
  remove_log(server_);
  raise(3501, 4000);
  daemon = server_.start_daemon();  // and the ids begin anew
  raise(4001, kAlerts);
  EXPECT_TRUE(comes_to_show(*follower, kAlerts)) << follower->err();
  EXPECT_EQ(0, Server::stop(daemon.get()));
  EXPECT_EQ(numbers_to(kAlerts), sorted(shown(*follower)));
}

TEST_F(Follow, DaemonThatIsKilledAgainAndAgainChangesNothingOfIt) {
  constexpr uint32_t kEach = 200;
  constexpr uint32_t kRounds = 5;
  auto daemon = server_.start_daemon();
  raise(1, 1);
  ASSERT_TRUE(eventually([&] { return server_.intake_is_empty(); })) << server_.diagnostic_log();
  const auto follower = started_follower();
  for (uint32_t round = 0; round < kRounds; ++round) {
    raise(2 + round * kEach, 1 + (round + 1) * kEach);
    daemon->signal(SIGKILL);
    daemon->wait();
    daemon = server_.start_daemon();
  }
  EXPECT_TRUE(comes_to_show(*follower, 1 + kRounds * kEach)) << follower->err();
  EXPECT_EQ(0, Server::stop(daemon.get()));
  EXPECT_EQ(numbers_to(1 + kRounds * kEach), sorted(shown(*follower)));
}

class FollowCluster : public ClusterTest {};

TEST_F(FollowCluster, LogThatTheOthersFillAgainRepeatsNothing) {
  constexpr Raising kFirst = {300};
  constexpr Raising kLater = {100, 0, 1000};
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  const auto follower = cluster.server(0).run_tool({"follow", "-n", "1000", "-o", "json"});
  ASSERT_TRUE(raise_on_all(cluster, kFirst));
  const std::vector<int> servers = all_of(cluster);
  ASSERT_TRUE(all_come_to_hold(cluster, servers, 900)) << cluster.diagnostic_logs();
  ASSERT_TRUE(comes_to_show(*follower, 900)) << follower->err();
  ASSERT_TRUE(cluster.stop(0));
  remove_log(cluster.server(0));
  cluster.start(0);
  ASSERT_TRUE(all_come_to_hold(cluster, {0}, 900, std::chrono::seconds(60)))
      << cluster.diagnostic_logs();
  ASSERT_TRUE(raise_on_all(cluster, kLater));
  EXPECT_TRUE(comes_to_show(*follower, 1200)) << follower->err();
  EXPECT_TRUE(all_come_to_hold(cluster, servers, 1200)) << cluster.diagnostic_logs();
  EXPECT_EQ(sorted(joined(numbers_raised(servers, kFirst), numbers_raised(servers, kLater))),
            sorted(shown(*follower)));
  EXPECT_TRUE(cluster.stop_all());
}

}  // namespace
}  // namespace qel::system_test
