// qelalert check: a line and an exit code for a monitoring system.
#include "answering_socket.h"
#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

constexpr char kFigures[] =
    "alerts=5;;;0;100 intake_bytes=684;1048576;3145728;0 peers=2;;;0 peers_answering=2;;;0 "
    "unacknowledged=0;;;0 missing=0;;;0";

nlohmann::json healthy() {
  return R"({"state":"running","log":{"count":5,"capacity":100},
    "intake":{"bytes":684,"set_aside":0},
    "peers":[{"server":"beta","state":"answering","unacknowledged":0},
             {"server":"gamma","state":"answering","unacknowledged":0}],
    "held":[{"server":"alpha","missing":0},{"server":"beta","missing":0}]})"_json;
}

class Check : public ReadingTest {
 protected:
  Result answered(const nlohmann::json& status,
                  const std::vector<std::string>& options = {}) const {
    alt_test::remove_file(cluster_.socket_path());
    AnsweringSocket daemon(cluster_.socket_path(), status.dump() + "\n");
    Result result = qelalert(joined({"check"}, options));
    EXPECT_EQ(0, daemon.result());
    EXPECT_EQ("", result.err);
    EXPECT_EQ(1, std::count(result.out.begin(), result.out.end(), '\n')) << result.out;
    return result;
  }
  // One member of the healthy answer is another one.
  Result with(const std::string& pointer, const nlohmann::json& value) const {
    nlohmann::json status = healthy();
    status[nlohmann::json::json_pointer(pointer)] = value;
    return answered(status);
  }
  static void expect_told(const Result& result, int code, const std::string& beginning,
                          const std::string& figure) {
    EXPECT_EQ(code, result.exit_code) << result.out;
    EXPECT_EQ(0U, result.out.find(beginning + " |")) << result.out;
    EXPECT_NE(std::string::npos, result.out.find(" " + figure)) << result.out;
  }
};

TEST_F(Check, HealthyClusterIsOkWithAllFigures) {
  const Result result = answered(healthy());
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("ALERTLOG OK - daemon, log and peers are well | " + std::string(kFigures) + "\n",
            result.out);
}

TEST_F(Check, ServerWithoutPeersIsOk) {
  nlohmann::json status = healthy();
  status["peers"] = nlohmann::json::array();
  expect_told(answered(status), 0, "ALERTLOG OK - daemon, log and peers are well", "peers=0;;;0");
}

TEST_F(Check, DaemonThatIsStillStartingIsAWarning) {
  expect_told(with("/state", "starting"), 1, "ALERTLOG WARNING - the alert daemon is starting",
              "alerts=5");
}

TEST_F(Check, LogWithoutACountIsCritical) {
  expect_told(with("/log", nlohmann::json::object()), 2,
              "ALERTLOG CRITICAL - the log cannot be read", "alerts=0;;;0;0");
}

TEST_F(Check, IntakeWarnsAtAQuarterAndIsCriticalAtThree) {
  expect_told(with("/intake/bytes", 1048575), 0, "ALERTLOG OK - daemon, log and peers are well",
              "intake_bytes=1048575;1048576;3145728;0");
  expect_told(with("/intake/bytes", 1048576), 1,
              "ALERTLOG WARNING - 1048576 bytes wait in the intake", "intake_bytes=1048576;");
  expect_told(with("/intake/bytes", 3145727), 1,
              "ALERTLOG WARNING - 3145727 bytes wait in the intake", "intake_bytes=3145727;");
  expect_told(with("/intake/bytes", 3145728), 2,
              "ALERTLOG CRITICAL - 3145728 bytes wait in the intake", "intake_bytes=3145728;");
}

TEST_F(Check, LinesSetAsideAreAWarning) {
  expect_told(with("/intake/set_aside", 3), 1, "ALERTLOG WARNING - 3 broken intake lines set aside",
              "intake_bytes=684");
}

TEST_F(Check, OnePeerThatIsSilentIsAWarningAndAllAreCritical) {
  expect_told(with("/peers/0/state", "silent"), 1, "ALERTLOG WARNING - beta is silent",
              "peers_answering=1;;;0");
  nlohmann::json status = healthy();
  status["peers"][0]["state"] = "silent";
  status["peers"][1]["state"] = "not heard yet";
  expect_told(answered(status), 2,
              "ALERTLOG CRITICAL - beta is silent; gamma is not heard yet; no other server answers",
              "peers_answering=0;;;0");
}

TEST_F(Check, UnacknowledgedAlertsAreSummedAsAFigure) {
  nlohmann::json status = healthy();
  status["peers"][0]["unacknowledged"] = 3;
  status["peers"][1]["unacknowledged"] = 4;
  expect_told(answered(status), 0, "ALERTLOG OK - daemon, log and peers are well",
              "unacknowledged=7;;;0");
}

TEST_F(Check, MissingAlertsAreAWarning) {
  nlohmann::json status = healthy();
  status["held"][0]["missing"] = 2;
  status["held"][1]["missing"] = 5;
  expect_told(answered(status), 1,
              "ALERTLOG WARNING - 2 alerts of alpha are missing; 5 alerts of beta are missing",
              "missing=7;;;0");
}

TEST_F(Check, TextsOfTheDaemonKeepTheFormOfTheLine) {
  nlohmann::json status = healthy();
  status["peers"][0] = {{"server", "be|ta\n"}, {"state", "si\x1b|lent"}};
  const Result result = answered(status);
  EXPECT_EQ(1, result.exit_code);
  EXPECT_EQ(0U, result.out.find("ALERTLOG WARNING - be/ta\\x0a is si\\x1b/lent | alerts="))
      << result.out;
}

TEST_F(Check, AnswersOfAnyShapeDoNoHarm) {
  for (const char* answer : {"{}", R"({"peers":7,"held":"x","log":[],"intake":null,"state":3})",
                             R"({"state":"running","log":{"count":-1},"peers":[1,null,[]]})"}) {
    const Result result = answered(nlohmann::json::parse(answer));
    EXPECT_LE(result.exit_code, 2) << result.out;
    EXPECT_EQ(0U, result.out.find("ALERTLOG ")) << result.out;
  }
}

TEST_F(Check, DaemonThatDoesNotRunIsCritical) {
  store_five();
  const Result result = qelalert({"check"});
  EXPECT_EQ(2, result.exit_code);
  EXPECT_EQ(0U, result.out.find("ALERTLOG CRITICAL - the alert daemon is not running: "))
      << result.out;
  EXPECT_EQ("", result.err);
}

TEST_F(Check, AnswerThatIsNoneIsUnknown) {
  AnsweringSocket daemon(cluster_.socket_path(), "hello\n");
  const Result result = qelalert({"check"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_EQ(0U, result.out.find("ALERTLOG UNKNOWN - ")) << result.out;
  EXPECT_EQ(0, daemon.result());
}

TEST_F(Check, ConfigurationThatCannotBeReadIsUnknown) {
  alt_test::remove_file(cluster_.config_path("webalert.xml"));
  const Result result = qelalert({"check"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_EQ(0U, result.out.find("ALERTLOG UNKNOWN - ")) << result.out;
}

TEST_F(Check, WrongOptionIsUnknown) {
  const std::vector<std::string> calls[] = {{"check", "-w", "0"},
                                            {"check", "-c", "x"},
                                            {"check", "--nothing"},
                                            {"check", "-p", "9"},
                                            {"check", "extra"},
                                            {"check", "-S", "soon"},
                                            {"check", "--last", "1h", "-U", "2020/01/01"}};
  for (const std::vector<std::string>& call : calls) {
    const Result result = qelalert(call);
    EXPECT_EQ(3, result.exit_code) << result.err;
    EXPECT_NE(std::string::npos, result.err.find("check --help")) << result.err;
  }
}

class CheckOfAlerts : public Check {
 protected:
  CheckOfAlerts() { store_five(); }
  void expect_matching(const std::vector<std::string>& options, int code, const std::string& text,
                       const std::string& figure) const {
    const Result result = answered(healthy(), options);
    EXPECT_EQ(code, result.exit_code) << result.out;
    EXPECT_EQ("ALERTLOG " + text + " | " + kFigures + " " + figure + "\n", result.out);
  }
};

TEST_F(CheckOfAlerts, ThresholdsAreReachedAtTheirCount) {
  const std::string well = "OK - daemon, log and peers are well";
  expect_matching({"-w", "6"}, 0, well, "matching=5;6;;0");
  expect_matching({"-w", "5"}, 1, "WARNING - 5 alerts match", "matching=5;5;;0");
  expect_matching({"-c", "6"}, 0, well, "matching=5;;6;0");
  expect_matching({"--critical", "5"}, 2, "CRITICAL - 5 alerts match", "matching=5;;5;0");
  expect_matching({"--warning", "2", "-c", "5"}, 2, "CRITICAL - 5 alerts match",
                  "matching=5;2;5;0");
  expect_matching({"-w", "2", "-c", "6"}, 1, "WARNING - 5 alerts match", "matching=5;2;6;0");
}

TEST_F(CheckOfAlerts, FiltersChooseWhatIsCounted) {
  expect_matching({"-w", "3", "-s", "node2"}, 0, "OK - daemon, log and peers are well",
                  "matching=2;3;;0");
  expect_matching({"-c", "2", "-p", "1", "-m", "!net"}, 2, "CRITICAL - 2 alerts match",
                  "matching=2;;2;0");
}

TEST_F(CheckOfAlerts, LogThatCannotBeReadIsUnknown) {
  alt_test::remove_file(cluster_.store_path("alertlog.alt"));
  const Result result = answered(healthy(), {"-w", "1"});
  EXPECT_EQ(3, result.exit_code);
  EXPECT_EQ(0U, result.out.find("ALERTLOG UNKNOWN - no alert log at ")) << result.out;
}

}  // namespace
}  // namespace qel::cli::testing
