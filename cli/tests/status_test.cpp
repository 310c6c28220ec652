// qelalert status: an answering daemon on the socket, one that misbehaves, and none.
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "answering_socket.h"
#include "support.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

using nlohmann::json;

constexpr char kAnswer[] =
    R"({"server":"node1","version":"1.0","pid":4711,"started":"2026/11/20 10:00:00.000",)"
    R"("state":"running","log":{"path":"/alert/log/alertlog.alt","capacity":10000,"count":5,)"
    R"("full":false,"oldest":"2026/11/01 00:00:00.000","newest":"2026/11/20 09:00:00.000",)"
    R"("current_alert_id":3},"intake":{"path":"/alert/log/alerttmp.alt","bytes":684,"waiting":1,)"
    R"("stored":5,"refused":2,"set_aside":4},"peers":[],"later":{"addition":1}})";

class Status : public CliTest {
 protected:
  Result answered(const std::string& answer, const std::vector<std::string>& options = {}) const {
    AnsweringSocket daemon(cluster_.socket_path(), answer);
    std::vector<std::string> call = {"status"};
    call.insert(call.end(), options.begin(), options.end());
    Result result = qelalert(call);
    EXPECT_EQ(0, daemon.result());
    return result;
  }
};

TEST_F(Status, AnswerIsShownAligned) {
  const Result result = answered(std::string(kAnswer) + "\n");
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ("", result.err);
  EXPECT_EQ(
      "Server:          node1\n"
      "State:           running\n"
      "Version:         1.0\n"
      "PID:             4711\n"
      "Started:         2026/11/20 10:00:00.000\n"
      "Alert log:       /alert/log/alertlog.alt\n"
      "  Capacity:      10000\n"
      "  Alerts:        5\n"
      "  Full:          no\n"
      "  Oldest:        2026/11/01 00:00:00.000\n"
      "  Newest:        2026/11/20 09:00:00.000\n"
      "  Own alert id:  3\n"
      "Intake:          /alert/log/alerttmp.alt\n"
      "  Bytes:         684\n"
      "  Waiting:       1\n"
      "  Stored:        5\n"
      "  Set aside:     4\n"
      "Peers:           none\n",
      result.out);
}

TEST_F(Status, AnswerAsJsonIsPassedOnWhole) {
  const Result result = answered(std::string(kAnswer) + "\n", {"-o", "json"});
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ(json::parse(kAnswer), json::parse(result.out));
}

TEST_F(Status, MissingMembersAreShownAsDashes) {
  const Result result = answered("{\"state\":\"starting\",\"log\":7}\n");
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_NE(std::string::npos, result.out.find("Server:          -\n"));
  EXPECT_NE(std::string::npos, result.out.find("State:           starting\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Capacity:      -\n"));
  EXPECT_NE(std::string::npos, result.out.find("Peers:           -\n"));
}

TEST_F(Status, EmptyTextIsShownAsADash) {
  const Result result = answered("{\"log\":{\"oldest\":\"\",\"count\":0}}\n");
  EXPECT_NE(std::string::npos, result.out.find("  Oldest:        -\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Alerts:        0\n"));
}

TEST_F(Status, PeersAreATable) {
  const Result result = answered(
      R"({"peers":[{"server":"node2","unacknowledged":3},{"server":"node10","given_up":1}]})"
      "\n");
  EXPECT_NE(std::string::npos, result.out.find("\nPEER    ")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("\nnode2   ")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("\nnode10  ")) << result.out;
}

// A cluster in the middle of a catch-up.
constexpr char kClusterAnswer[] =
    R"({"state":"running","peers":[)"
    R"({"server":"beta","state":"answering","last_answer":"2026/11/20 12:00:00.123",)"
    R"("unacknowledged":3,"given_up":7,"catch_up":"running"},)"
    R"({"server":"gamma","state":"not heard yet","last_answer":"","unacknowledged":0}],)"
    R"("catch_up":{"step":"data","peer":"beta","server":"gamma","at":100,"to":500},)"
    R"("network":{"received":{"alert":10},"refused":{"too short":2,"unknown type":40},)"
    R"("kernel_drops":9}})";

TEST_F(Status, ClusterIsALineForEachPeerBelowWhatIsGoingOn) {
  const Result result = answered(std::string(kClusterAnswer) + "\n");
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ(
      "  Set aside:     -\n"
      "Catch-up:        data from beta, alerts of gamma, id 100 of 500\n"
      "Datagrams:       42 refused\n"
      "\n"
      "PEER   STATE          LAST ANSWER              UNACKNOWLEDGED\n"
      "beta   answering      2026/11/20 12:00:00.123  3\n"
      "gamma  not heard yet  -                        0\n",
      result.out.substr(result.out.find("  Set aside:")));
}

TEST_F(Status, PeersFitIntoANarrowTerminal) {
  const AnsweringSocket daemon(cluster_.socket_path(), std::string(kClusterAnswer) + "\n");
  const Result result = qelalert({"status"}, {.terminal_columns = 80});
  EXPECT_NE(std::string::npos,
            result.out.find("\nbeta   answering      2026/11/20 12:00:00.123  3\r\n"))
      << result.out;
}

TEST_F(Status, StepsOfACatchUpBeforeTheDataAreShownWithoutIds) {
  const Result names =
      answered(R"({"catch_up":{"step":"names","peer":"beta","server":"","at":0,"to":0}})"
               "\n");
  EXPECT_NE(std::string::npos, names.out.find("Catch-up:        names from beta\n")) << names.out;
  alt_test::remove_file(cluster_.socket_path());
  const Result ids =
      answered(R"({"catch_up":{"step":"ids","peer":"beta","server":"gamma","at":0,"to":0}})"
               "\n");
  EXPECT_NE(std::string::npos, ids.out.find("Catch-up:        ids from beta, alerts of gamma\n"))
      << ids.out;
}

TEST_F(Status, NothingGoingOnGetsNoLine) {
  for (const char* answer :
       {R"({"catch_up":{"step":"idle","peer":"","finished":2},"network":{"refused":{}}})",
        R"({"network":{"refused":{"too short":0,"unknown type":0}}})", R"({"catch_up":{}})",
        R"({"catch_up":"idle","network":[1,2]})", R"({"network":{"refused":{"too short":"many"}}})",
        R"({"network":{"refused":{"too short":-3}}})", R"({"network":{"refused":null}})"}) {
    const Result result = answered(std::string(answer) + "\n");
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ(std::string::npos, result.out.find("Catch-up:")) << result.out;
    EXPECT_EQ(std::string::npos, result.out.find("Datagrams:")) << result.out;
    alt_test::remove_file(cluster_.socket_path());
  }
}

TEST_F(Status, PeersOfAnyTypeAreShown) {
  const Result result = answered(R"({"peers":[7,null,[],{"state":["x"],"server":{}}]})"
                                 "\n");
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ(
      "\n\n"
      "PEER  STATE  LAST ANSWER  UNACKNOWLEDGED\n"
      "-     -      -            -\n"
      "-     -      -            -\n"
      "-     -      -            -\n"
      "{}    [\"x\"]  -            -\n",
      result.out.substr(result.out.find("\n\n")));
}

TEST_F(Status, AnswerWithControlCharactersCannotReachTheTerminal) {
  const Result result = answered("{\"state\":\"\\u001b[31m\"}\n");
  EXPECT_NE(std::string::npos, result.out.find("State:           \\x1b[31m\n")) << result.out;
}

TEST_F(Status, AnswerWithoutLineEndIsTaken) { EXPECT_EQ(0, answered(kAnswer).exit_code); }

TEST_F(Status, AnswerThatIsNoObjectFails) {
  for (const char* answer : {"hello\n", " \n", "[1,2]\n", "{\"state\":\n", "7\n"}) {
    expect_refused(answered(answer), 1, {"not understood", cluster_.socket_path()});
    alt_test::remove_file(cluster_.socket_path());
  }
}

TEST_F(Status, RefusedRequestFailsWithTheReason) {
  expect_refused(answered("{\"error\":\"unknown request\"}\n"), 1,
                 {"refuses the request", "unknown request"});
}

TEST_F(Status, ConnectionClosedWithoutAnAnswerCountsAsNotReachable) {
  const Result result = answered("");
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cannot be reached"));
}

TEST_F(Status, AnswerNestedTooDeepFails) {
  const std::string answer =
      "{\"log\":" + std::string(100000, '[') + std::string(100000, ']') + "}\n";
  expect_refused(answered(answer, {"-o", "json"}), 1, {"not understood"});
}

TEST_F(Status, EndlessAnswerFails) {
  AnsweringSocket daemon(cluster_.socket_path(), std::string(16U << 20U, ' '));
  expect_refused(qelalert({"status"}), 1, {"not understood"});
  EXPECT_EQ(0, daemon.result());
}

TEST_F(Status, EnvironmentNamesAnotherSocket) {
  const std::string path = cluster_.root() + "/other.sock";
  AnsweringSocket daemon(path, std::string(kAnswer) + "\n");
  // No configuration is needed then.
  const Result result = qelalert(
      {"status"}, {.environment = {{"QELALERT_SOCKET", path}, {"QEL_CONFIG_DIR", "/nonexistent"}}});
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ(0, daemon.result());
}

TEST_F(Status, SocketPathThatIsTooLongIsRefused) {
  const std::string path = "/" + std::string(120, 'x');
  expect_refused(qelalert({"status"}, {.environment = {{"QELALERT_SOCKET", path}}}), 1,
                 {"too long", "107", path});
}

TEST_F(Status, StoreIsReadWhenTheDaemonDoesNotRun) {
  cluster_.store_alerts(1, 3);
  ASSERT_EQ(0, qelalert({"raise", "-i", "1", "-m", "m", "text"}).exit_code);
  const auto before = cluster_.store_files();
  const Result result = qelalert({"status"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("qelalert: the alert daemon is not running: " +
                                               cluster_.socket_path()));
  EXPECT_NE(std::string::npos, result.out.find("State:           not running\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Capacity:      100\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Alerts:        3\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Own alert id:  3\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Bytes:         684\n"));
  EXPECT_NE(std::string::npos, result.out.find("  Waiting:       1\n"));
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

TEST_F(Status, StoreAsJsonHasTheFormOfTheAnswer) {
  cluster_.store_alerts(1, 3);
  const Result result = qelalert({"status", "-o", "json"});
  EXPECT_EQ(3, result.exit_code);
  const json status = json::parse(result.out);
  EXPECT_EQ("not running", status["state"]);
  EXPECT_EQ(cluster_.store_path("alertlog.alt"), status["log"]["path"]);
  EXPECT_EQ(3, status["log"]["count"]);
  EXPECT_EQ(false, status["log"]["full"]);
  EXPECT_EQ(cluster_.store_path("alerttmp.alt"), status["intake"]["path"]);
}

TEST_F(Status, SocketThatADeadDaemonLeftCountsAsNotRunning) {
  { const UniqueFd left = listen_at(cluster_.socket_path()); }
  const Result result = qelalert({"status"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("not running"));
  EXPECT_NE(std::string::npos, result.err.find("Connection refused"));
}

TEST_F(Status, SocketWithoutAccessCountsAsNotReachable) {
  const UniqueFd listener = listen_at(cluster_.socket_path());
  ASSERT_EQ(0, chmod(cluster_.socket_path().c_str(), 0));
  const Result result = qelalert({"status"}, {.prepare = obey_file_rights});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cannot be reached"));
  EXPECT_NE(std::string::npos, result.err.find("Permission denied"));
  EXPECT_NE(std::string::npos, result.out.find("State:           not reachable\n"));
}

TEST_F(Status, DaemonThatStaysSilentCountsAsNotReachable) {
  const UniqueFd listener = listen_at(cluster_.socket_path());
  const Result result = qelalert({"status"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cannot be reached"));
  EXPECT_NE(std::string::npos, result.err.find("timed out"));
}

TEST_F(Status, MissingLogIsToldAndNotMade) {
  const Result result = qelalert({"status"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_NE(std::string::npos,
            result.err.find("no alert log at " + cluster_.store_path("alertlog.alt")));
  EXPECT_NE(std::string::npos, result.out.find("  Alerts:        -\n"));
  EXPECT_TRUE(cluster_.store_files().empty());
}

TEST_F(Status, BrokenConfigurationIsToldWhenItIsNeeded) {
  cluster_.edit_config("webalert.xml", "</use>", "</used>");
  expect_refused(qelalert({"status"}), 1, {"qelalert: " + cluster_.config_path("webalert.xml")});
  const RunOptions chosen{.environment = {{"QELALERT_SOCKET", cluster_.socket_path()}}};
  expect_refused(qelalert({"status"}, chosen), 3,
                 {"not running", cluster_.config_path("webalert.xml")});
}

TEST_F(Status, OutputFormThatDoesNotExistIsRefused) {
  expect_refused(qelalert({"status", "-o", "table"}), 2, {"--output", "\"table\"", "text|json"});
}

}  // namespace
}  // namespace qel::cli::testing
