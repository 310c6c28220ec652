// qelalert show: single alerts by their names.
#include "reading.h"

namespace qel::cli::testing {
namespace {

class Show : public ReadingTest {
 protected:
  Show() { store_five(); }
};

TEST_F(Show, AlertIsShownWithAllItHolds) {
  const Result result = qelalert({"show", "node2/4"});
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ(
      "Alert:    node2/4\n"
      "Raised:   2024/01/31 10:00:00.000\n"
      "Written:  2024/01/31 10:00:00.000\n"
      "Level:    1\n"
      "Module:   disk\n"
      "Event:    1002\n"
      "Message:  alert 4\n",
      result.out);
}

TEST_F(Show, SeveralComeInTheOrderAsked) {
  EXPECT_EQ((std::vector<uint32_t>{5, 2, 5, 1}),
            shown({"show", "node1/5", "node2/2", "node1/5", "node1/1"}));
}

TEST_F(Show, IdOfAnotherServerIsAnotherAlert) {
  cluster_.store_alert(alert(5, "node2", "m", "1", "1", "2024/02/05 10:00:00.000"));
  EXPECT_EQ("node2\n", qelalert({"show", "node2/5", "-o", "cat", "--fields", "server"}).out);
  EXPECT_EQ("node1\n", qelalert({"show", "node1/5", "-o", "cat", "--fields", "server"}).out);
}

TEST_F(Show, MissingOneIsToldWithTheIdsThatAreThere) {
  const Result result = qelalert({"show", "node1/4"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: no alert \"node1/4\": of this server there are ids from 1 to 5\n",
            result.err);
}

TEST_F(Show, ServerWithoutAnyIsTold) {
  const Result result = qelalert({"show", "node9/1"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_EQ("qelalert: no alert \"node9/1\": none of server \"node9\" is held here\n", result.err);
}

TEST_F(Show, OthersAreShownBesideAMissingOne) {
  const Result result =
      qelalert({"show", "node1/1", "node1/99", "node2/2", "-o", "cat", "--fields", "alert"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_EQ("node1/1\nnode2/2\n", result.out);
  EXPECT_NE(std::string::npos, result.err.find("\"node1/99\""));
}

TEST_F(Show, ServerMayHoldASlashAndTheIdBeTheLargest) {
  cluster_.store_alert(alert(4294967295U, "rack/7", "m", "1", "1", "2024/02/05 10:00:00.000"));
  EXPECT_EQ("rack/7/4294967295\n",
            qelalert({"show", "rack/7/4294967295", "-o", "cat", "--fields", "alert"}).out);
}

TEST_F(Show, NameThatIsHostileCannotReachTheTerminal) {
  const Result result = qelalert({"show", "\x1b[2J/1"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("\\x1b[2J/1")) << result.err;
  EXPECT_EQ(std::string::npos, result.err.find('\x1b'));
}

class Complete : public ReadingTest {};

TEST_F(Complete, ValuesThatOccurAreALineEachAndOnce) {
  store_five();
  EXPECT_EQ("node1\nnode2\n", qelalert({"complete", "server"}).out);
  EXPECT_EQ("disk\nnet\n", qelalert({"complete", "module"}).out);
  EXPECT_EQ("1001\n1002\n2001\n", qelalert({"complete", "event"}).out);
  EXPECT_EQ("node1/1\nnode1/3\nnode1/5\nnode2/2\nnode2/4\n", qelalert({"complete", "alert"}).out);
}

TEST_F(Complete, ValuesThatCannotBeTypedBackAreLeftOut) {
  cluster_.store_alert(alert(1, "a\nb", "m", "1", "1", "2024/01/30 08:00:00.000"));
  cluster_.store_alert(alert(2, "c d", "\xff", "1", "1", "2024/01/30 08:00:00.000"));
  EXPECT_EQ("c d\n", qelalert({"complete", "server"}).out);
  EXPECT_EQ("m\n", qelalert({"complete", "module"}).out);
}

TEST_F(Complete, NothingIsSaidWithoutALog) {
  const Result result = qelalert({"complete", "server"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("", result.err);
}

class Gaps : public ReadingTest {};

TEST_F(Gaps, HolesOfEachServerAreShownAndTheCodeSaysSo) {
  store_five();
  cluster_.store_alert(alert(9, "node1", "m", "1", "1", "2024/02/02 10:00:00.000"));
  const Result result = qelalert({"gaps"});
  EXPECT_EQ(4, result.exit_code);
  EXPECT_EQ("", result.err);
  EXPECT_EQ(
      "SERVER  FIRST ID  LAST ID  HELD  MISSING  HOLES\n"
      "node1   1         9        4     5        2, 4, 6-8\n"
      "node2   2         4        2     1        3\n",
      result.out);
}

TEST_F(Gaps, ServersWithoutHolesAreComplete) {
  cluster_.store_alerts(5, 9);
  const Result result = qelalert({"gaps"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(
      "SERVER  FIRST ID  LAST ID  HELD  MISSING  HOLES\n"
      "node1   5         9        5     0        -\n",
      result.out);
}

TEST_F(Gaps, ServerMayBeChosenOrLeftOut) {
  store_five();
  cluster_.store_alert(alert(3, "node2", "m", "1", "1", "2024/02/02 10:00:00.000"));
  EXPECT_EQ(4, qelalert({"gaps"}).exit_code);
  EXPECT_EQ(0, qelalert({"gaps", "-s", "node2"}).exit_code);
  EXPECT_EQ(qelalert({"gaps", "-s", "node2"}).out, qelalert({"gaps", "--server", "!node1"}).out);
}

TEST_F(Gaps, JsonHasEveryHole) {
  for (uint32_t id = 1; id <= 25; id += 2) {
    cluster_.store_alert(alert(id, "node1", "m", "1", "1", "2024/02/02 10:00:00.000"));
  }
  cluster_.store_alert(alert(4294967295U, "node1", "m", "1", "1", "2024/02/02 10:00:00.000"));
  const Result result = qelalert({"gaps", "-o", "json"});
  EXPECT_EQ(4, result.exit_code);
  const nlohmann::json answer = nlohmann::json::parse(result.out);
  ASSERT_EQ(1U, answer.size());
  EXPECT_EQ(14, answer[0]["count"]);
  EXPECT_EQ(4294967295U - 14, answer[0]["missing"]);
  ASSERT_EQ(13U, answer[0]["holes"].size());
  EXPECT_EQ(nlohmann::json({2, 2}), answer[0]["holes"][0]);
  EXPECT_EQ(nlohmann::json({26, 4294967294U}), answer[0]["holes"][12]);
  EXPECT_NE(std::string::npos, qelalert({"gaps"}).out.find("2, 4, 6, 8, 10, 12, 14, 16, ...\n"));
}

TEST_F(Gaps, NoAlertsAreNoGaps) {
  store_five();
  const Result result = qelalert({"gaps", "-s", "node9"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: no alerts are held\n", result.err);
  EXPECT_EQ("[]\n", qelalert({"gaps", "-s", "node9", "-o", "json"}).out);
}

}  // namespace
}  // namespace qel::cli::testing
