// qelalert raise --wait: what it says must be so.
#include <algorithm>
#include <string>

#include "cluster_fixture.h"
#include "store_content.h"

namespace qel::system_test {
namespace {

class RaiseWait : public ClusterTest {
 protected:
  static std::unique_ptr<Program> raise_and_wait(Server* server, const std::string& message) {
    return server->run_tool(
        {"raise", "--wait", "-i", "7", "-m", "test", "--timeout", "60", message});
  }
  static bool holds(const Server& server, const std::string& message) {
    const auto log = read_log(server.store("alertlog.alt"));
    return std::any_of(log.begin(), log.end(), [&](const ALERT_RECORD_INFO& alert) {
      return alert.szAlertMessage == message;
    });
  }
  static bool says(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
  }
};

TEST_F(RaiseWait, EndsWhenEveryServerHoldsTheAlert) {
  Cluster cluster(3);
  cluster.start_all();
  ASSERT_TRUE(is_settled(cluster)) << cluster.diagnostic_logs();
  for (int i = 1; i <= 5; ++i) {
    const std::string message = "alert " + std::to_string(i);
    const auto raised = raise_and_wait(&cluster.server(0), message);
    ASSERT_EQ(0, raised->wait()) << raised->err();
    for (int server = 0; server < 3; ++server) {
      EXPECT_TRUE(holds(cluster.server(server), message)) << server;
    }
    EXPECT_EQ(cluster.server(0).host() + "/" + std::to_string(i) + ": stored, acknowledged by " +
                  cluster.server(1).host() + ", " + cluster.server(2).host() + "\n",
              raised->out());
    EXPECT_EQ("", raised->err());
  }
}

TEST_F(RaiseWait, ServerThatGoesMeanwhileIsToldOnceItIsGivenUp) {
  Cluster cluster(3);
  cluster.hurry();
  cluster.start_all();
  ASSERT_TRUE(is_settled(cluster)) << cluster.diagnostic_logs();
  cluster.kill(2);
  const auto raised = raise_and_wait(&cluster.server(0), "into the void");
  EXPECT_EQ(0, raised->wait()) << raised->err();
  EXPECT_TRUE(says(raised->out(), "acknowledged by " + cluster.server(1).host() + "\n"))
      << raised->out();
  EXPECT_TRUE(says(raised->err(), cluster.server(2).host() + " is silent")) << raised->err();
  EXPECT_TRUE(holds(cluster.server(1), "into the void"));
}

TEST_F(RaiseWait, ServerAloneHasStoredIt) {
  Server server;
  const auto daemon = server.start_daemon();
  const auto raised = raise_and_wait(&server, "alone");
  EXPECT_EQ(0, raised->wait()) << raised->err();
  EXPECT_TRUE(says(raised->out(), "/1: stored; there are no other servers\n")) << raised->out();
  EXPECT_TRUE(holds(server, "alone"));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

TEST_F(RaiseWait, WithoutDaemonTheAlertWaitsInTheIntake) {
  Server server;
  Server::stop(server.start_daemon().get());
  const auto raised = raise_and_wait(&server, "later");
  EXPECT_EQ(3, raised->wait());
  EXPECT_TRUE(says(raised->err(), "the alert was accepted")) << raised->err();
  EXPECT_TRUE(says(raised->err(), "not running")) << raised->err();
  const auto daemon = server.start_daemon();
  EXPECT_TRUE(eventually([&] { return holds(server, "later"); }));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

}  // namespace
}  // namespace qel::system_test
