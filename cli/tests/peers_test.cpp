// qelalert peers: what an answering daemon tells of the cluster, whatever its age, and none.
#include <nlohmann/json.hpp>

#include "answering_socket.h"
#include "support.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

using nlohmann::json;

constexpr char kAnswer[] =
    R"({"server":"alpha","version":"1.0","state":"running","log":{"count":5},"peers":[)"
    R"({"server":"beta","state":"answering","last_answer":"2026/11/20 12:00:00.123","addresses":[)"
    R"({"ip":"10.0.0.2","interconnect":0,"last_heard":"2026/11/20 12:00:00.123"},)"
    R"({"ip":"2001:db8:1::2","interconnect":10,"last_heard":""}],)"
    R"("unacknowledged":3,"given_up":0,"catch_up":"running"},)"
    R"({"server":"gamma","state":"not heard yet","last_answer":"","addresses":[)"
    R"({"ip":"10.0.0.3","interconnect":0,"last_heard":""}],)"
    R"("unacknowledged":0,"given_up":12,"catch_up":""}],)"
    R"("held":[{"server":"alpha","count":120,"lowest":1,"highest":123,"missing":3,)"
    R"("holes":[[5,6],[9,9]]},)"
    R"({"server":"beta","count":9,"lowest":1,"highest":9,"missing":0,"holes":[]},)"
    R"({"server":"gamma","count":9,"lowest":1,"highest":90,"missing":81,"holes":[[2,3],[7,7]]}],)"
    R"("catch_up":{"step":"data","peer":"beta","server":"gamma","at":100,"to":500,"batches":12,)"
    R"("stored":40,"finished":2,"given_up":0},)"
    R"("network":{"received":{"alert":10},"sent":{"alert":4},"refused":{"too short":1},)"
    R"("kernel_drops":0},"later":{"addition":1}})";

constexpr char kText[] =
    "PEER   STATE          UNACKNOWLEDGED  GIVEN UP  CATCH-UP\n"
    "beta   answering      3               0         running\n"
    "gamma  not heard yet  0               12        -\n"
    "\n"
    "PEER   INTERCONNECT  LAST ANSWER              ADDRESS\n"
    "beta   0             2026/11/20 12:00:00.123  10.0.0.2\n"
    "beta   10            -                        2001:db8:1::2\n"
    "gamma  0             -                        10.0.0.3\n"
    "\n"
    "ALERTS OF  HIGHEST ID  HELD  MISSING  HOLES\n"
    "alpha      123         120   3        5-6, 9\n"
    "beta       9           9     0        -\n"
    "gamma      90          9     81       2-3, 7, ...\n"
    "\n"
    "Catch-up:  data from beta, alerts of gamma, id 100 of 500\n";

class Peers : public CliTest {
 protected:
  Result answered(const std::string& answer, const std::vector<std::string>& options = {},
                  int terminal_columns = 0) const {
    alt_test::remove_file(cluster_.socket_path());
    AnsweringSocket daemon(cluster_.socket_path(), answer + "\n");
    std::vector<std::string> call = {"peers"};
    call.insert(call.end(), options.begin(), options.end());
    Result result = qelalert(call, {.terminal_columns = terminal_columns});
    EXPECT_EQ(0, daemon.result());
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    return result;
  }
  // The line that begins with the text.
  static std::string line_of(const Result& result, const std::string& beginning) {
    const size_t begin = ("\n" + result.out).find("\n" + beginning);
    if (begin == std::string::npos) return "missing in: " + result.out;
    return result.out.substr(begin, result.out.find('\n', begin) - begin);
  }
  std::string holes_of(const std::string& members) const {
    return line_of(answered(R"({"held":[{"server":"x",)" + members + "}]}"), "x ");
  }
};

TEST_F(Peers, ClusterIsShownInTables) { EXPECT_EQ(kText, answered(kAnswer).out); }

TEST_F(Peers, OrdinaryClusterFitsInto80Columns) {
  std::string on_terminal;
  for (const char* text = kText; *text != '\0'; ++text) {
    if (*text == '\n') on_terminal += '\r';
    on_terminal += *text;
  }
  EXPECT_EQ(on_terminal, answered(kAnswer, {}, 80).out);
}

TEST_F(Peers, NarrowTerminalCutsLongAddressesOnly) {
  const Result result = answered(R"({"peers":[{"server":"a-server-with-a-name","addresses":[{"ip":)"
                                 R"("2001:0db8:1111:2222:3333:4444:5555:6666","interconnect":0,)"
                                 R"("last_heard":"2026/11/20 12:00:00.123"}]}]})",
                                 {}, 80);
  EXPECT_NE(std::string::npos,
            result.out.find("a-server-with-a-name  0             2026/11/20 12:00:00.123  "
                            "2001:0db8:1111:2...\r\n"))
      << result.out;
}

TEST_F(Peers, JsonIsTheFourMembersAsTheyAre) {
  const Result result = answered(kAnswer, {"-o", "json"});
  json expected = json::parse(kAnswer);
  for (const char* other : {"server", "version", "state", "log", "later"}) expected.erase(other);
  EXPECT_EQ(expected, json::parse(result.out));
}

// ---- older and stranger daemons -----------------------------------------------------------------

TEST_F(Peers, DaemonOfAnOlderVersionTellsWhatItCan) {
  const std::string answer = R"({"server":"alpha","version":"0.9","peers":[]})";
  EXPECT_EQ(
      "Peers:        none\n"
      "Alerts held:  -\n",
      answered(answer).out);
  EXPECT_EQ(json::parse(R"({"peers":[]})"), json::parse(answered(answer, {"-o", "json"}).out));
}

TEST_F(Peers, ServerWithoutPeersShowsWhatItHolds) {
  const Result result = answered(
      R"({"peers":[],"held":[{"server":"alpha","count":2,"highest":2,"missing":0,"holes":[]}],)"
      R"("catch_up":{"step":"idle"}})");
  EXPECT_EQ(
      "ALERTS OF  HIGHEST ID  HELD  MISSING  HOLES\n"
      "alpha      2           2     0        -\n"
      "\n"
      "Peers:  none\n",
      result.out);
}

TEST_F(Peers, EmptyAnswerIsShownAsDashes) {
  EXPECT_EQ(
      "Peers:        -\n"
      "Alerts held:  -\n",
      answered("{}").out);
  EXPECT_EQ(json::object(), json::parse(answered("{}", {"-o", "json"}).out));
}

TEST_F(Peers, MissingMembersAreShownAsDashes) {
  EXPECT_EQ(
      "PEER  STATE  UNACKNOWLEDGED  GIVEN UP  CATCH-UP\n"
      "beta  -      -               -         -\n"
      "-     -      -               -         -\n"
      "\n"
      "PEER  INTERCONNECT  LAST ANSWER  ADDRESS\n"
      "-     -             -            10.0.0.3\n"
      "-     -             -            -\n"
      "\n"
      "ALERTS OF  HIGHEST ID  HELD  MISSING  HOLES\n"
      "gamma      -           -     -        -\n"
      "-          7           -     -        -\n",
      answered(R"({"peers":[{"server":"beta"},{"addresses":[{"ip":"10.0.0.3"},{}]}],)"
               R"("held":[{"server":"gamma"},{"highest":7}]})")
          .out);
}

TEST_F(Peers, MembersOfTheWrongTypeDoNoHarm) {
  for (const char* answer :
       {R"({"peers":7,"held":"all","catch_up":[],"network":null})",
        R"({"peers":{"server":"beta"},"held":{"server":"beta"}})",
        R"({"peers":[7,null,"x",[[]],true],"held":[7,null,"x",[[]],true]})",
        R"({"peers":[{"addresses":7},{"addresses":[7,null,[]]}],"held":[{"holes":{}}]})",
        R"({"catch_up":{"step":{"a":1},"peer":[2],"server":3,"at":"x","to":{}}})"}) {
    EXPECT_NE("", answered(answer).out);
  }
  EXPECT_EQ("Peers:        -", line_of(answered(R"({"peers":{"server":"beta"}})"), "Peers:"));
}

TEST_F(Peers, HostileTextCannotReachTheTerminal) {
  const Result result = answered(
      R"({"peers":[{"server":"\u001b[2Jbeta","state":"a\nb","catch_up":"\u009b31m","addresses":[)"
      R"({"ip":"10.0.0.2\u0007","last_heard":"\r"}]}],"held":[{"server":"\u0000x",)"
      R"("holes":"\u001b"}],"catch_up":{"step":"data\u001b","peer":"\t","server":"\b"}})");
  for (const char c : result.out) {
    EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << static_cast<int>(c);
  }
  EXPECT_NE(std::string::npos, result.out.find("\\x1b[2Jbeta  a\\x0ab")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("10.0.0.2\\x07")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("\\x00x")) << result.out;
  EXPECT_NE(std::string::npos, result.out.find("Catch-up:  data\\x1b from \\x09")) << result.out;
}

// ---- holes --------------------------------------------------------------------------------------

TEST_F(Peers, HolesThatAreNotAllThatIsMissingEndInDots) {
  EXPECT_EQ("x          -           -     3        1-3",
            holes_of(R"("missing":3,"holes":[[1,3]])"));
  EXPECT_EQ("x          -           -     4        1-3, ...",
            holes_of(R"("missing":4,"holes":[[1,3]])"));
  EXPECT_EQ("x          -           -     -        1-3", holes_of(R"("holes":[[1,3]])"));
}

TEST_F(Peers, LargestIdsAreShownWhole) {
  EXPECT_EQ("x          4294967295  1     -        1-4294967294",
            holes_of(R"("highest":4294967295,"count":1,"holes":[[1,4294967294]])"));
}

TEST_F(Peers, HolesThatAreNoRangesAreLeftOut) {
  EXPECT_EQ("x          -           -     -        8-9",
            holes_of(R"("holes":[[],[1],[1,2,3],[4,3],[-1,2],["1","2"],7,null,[1.5,2],[8,9]])"));
}

// ---- whether the picture is complete ------------------------------------------------------------

TEST_F(Peers, CheckOfACompletePictureIsSilentAndSucceeds) {
  const std::string answer =
      R"({"peers":[{"server":"beta","state":"answering","unacknowledged":0}],)"
      R"("held":[{"server":"alpha","count":2,"highest":2,"missing":0,"holes":[]}]})";
  EXPECT_EQ(answered(answer).out, answered(answer, {"--check"}).out);
  EXPECT_EQ(json::parse(answer), json::parse(answered(answer, {"--check", "-o", "json"}).out));
  EXPECT_NE("", answered("{}", {"--check"}).out);
}

TEST_F(Peers, CheckTellsWhatIsMissingAndSaysSoByItsCode) {
  for (const char* form : {"text", "json"}) {
    alt_test::remove_file(cluster_.socket_path());
    AnsweringSocket daemon(cluster_.socket_path(), std::string(kAnswer) + "\n");
    const Result result = qelalert({"peers", "--check", "-o", form});
    EXPECT_EQ(4, result.exit_code);
    EXPECT_EQ(
        "qelalert: beta has not acknowledged 3 alerts\n"
        "qelalert: gamma is not heard yet\n"
        "qelalert: 3 alerts of alpha are missing\n"
        "qelalert: 81 alerts of gamma are missing\n",
        result.err);
    EXPECT_EQ(0, daemon.result());
  }
}

TEST_F(Peers, CheckWithoutADaemonIsNotReachable) {
  expect_refused(qelalert({"peers", "--check"}), 3, {"not running"});
}

// ---- no daemon ----------------------------------------------------------------------------------

TEST_F(Peers, NothingIsShownWhenTheDaemonDoesNotRun) {
  cluster_.store_alerts(1, 3);
  expect_refused(qelalert({"peers"}), 3,
                 {"qelalert: the alert daemon is not running: " + cluster_.socket_path()});
  expect_refused(qelalert({"peers", "-o", "json"}), 3, {"not running"});
}

TEST_F(Peers, AnswerThatIsNoObjectFails) {
  AnsweringSocket daemon(cluster_.socket_path(), "[1,2]\n");
  expect_refused(qelalert({"peers"}), 1, {"not understood", cluster_.socket_path()});
  EXPECT_EQ(0, daemon.result());
}

TEST_F(Peers, OutputFormThatDoesNotExistIsRefused) {
  expect_refused(qelalert({"peers", "-o", "table"}), 2, {"--output", "\"table\"", "text|json"});
}

}  // namespace
}  // namespace qel::cli::testing
