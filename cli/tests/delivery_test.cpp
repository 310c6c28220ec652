// qelalert raise --wait: until the alert is stored and the other servers have it.
#include <unistd.h>

#include "answering_socket.h"
#include "intake_line.h"
#include "reading.h"
#include "support/files.h"
#include "support/process.h"

namespace qel::cli::testing {
namespace {

constexpr char kStatus[] = R"({"request":"status"})";
constexpr char kDelivery[] = R"({"request":"delivery","id":17})";
constexpr char kStored[] = "node1/17: ";

std::string without_blanks(const std::string& column) {
  return column.substr(0, column.find_last_not_of(' ') + 1);
}

class Delivery : public ReadingTest {
 protected:
  // The log that the daemon has made at its start.
  Delivery() { cluster_.store_alerts(1, 3); }

  const std::vector<std::string> kCall = {"raise", "-i", "1001", "-m", "disk", "-p", "1", "--wait"};

  // What the daemon does with a line of the intake: it stores it as alert 17 of this server.
  int store_when_raised() const {
    std::string intake;
    for (int i = 0; i < 3000 && intake.size() < kLineSize; ++i) {
      usleep(10000);
      intake = alt_test::read_file(cluster_.store_path("alerttmp.alt")).value_or("");
    }
    if (intake.size() < kLineSize) return 1;
    const IntakeLine line(intake);
    ALERT_RECORD_INFO stored =
        alert(17, "node1", without_blanks(line.module), without_blanks(line.event),
              without_blanks(line.level), without_blanks(line.raised));
    alt_test::set_text(stored.szWriteTime, without_blanks(line.written));
    alt_test::set_text(stored.szAlertMessage, without_blanks(line.message));
    cluster_.store_alert(stored);
    return HasFailure() ? 1 : 0;
  }

  // A call with a daemon that stores it and gives these answers to the questions about delivery.
  Result raised(const std::vector<std::string>& deliveries,
                const std::vector<std::string>& options = {}) const {
    std::vector<Exchange> exchanges = {{kStatus, "{\"state\":\"running\"}\n"}};
    for (const std::string& peers : deliveries) {
      exchanges.push_back({kDelivery, "{\"peers\":" + peers + "}\n"});
    }
    alt_test::Child store([this] { return store_when_raised(); });
    AnsweringSocket daemon(cluster_.socket_path(), exchanges);
    Result result = qelalert(joined(joined(kCall, options), {"disk 3 failed"}));
    EXPECT_EQ(0, store.wait());
    EXPECT_EQ(0, daemon.result());
    return result;
  }
};

TEST_F(Delivery, AlertThatAllHaveIsToldByItsNameAndTheirs) {
  const Result result =
      raised({R"([{"server":"beta","state":"answering","delivery":"acknowledged"},)"
              R"({"server":"gamma","state":"answering","delivery":"acknowledged"}])"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored, acknowledged by beta, gamma\n"), result.out);
  EXPECT_EQ("", result.err);
}

TEST_F(Delivery, ServerWithoutPeersIsDoneOnceItIsStored) {
  const Result result = raised({"[]"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored; there are no other servers\n"), result.out);
}

TEST_F(Delivery, WaitingServersAreAskedAboutAgain) {
  const std::string waiting = R"([{"server":"beta","state":"answering","delivery":"waiting"}])";
  const std::string done = R"([{"server":"beta","state":"answering","delivery":"acknowledged"}])";
  const Result result = raised({waiting, waiting, waiting, done});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored, acknowledged by beta\n"), result.out);
}

TEST_F(Delivery, SilentServerIsToldAndNotWaitedFor) {
  const Result result =
      raised({R"([{"server":"beta","state":"silent","delivery":"waiting"},)"
              R"({"server":"gamma","state":"answering","delivery":"acknowledged"}])"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored, acknowledged by gamma\n"), result.out);
  EXPECT_EQ("qelalert: beta is silent; it fetches the alert when it catches up\n", result.err);
}

TEST_F(Delivery, ServerThatWasGivenUpMakesItIncomplete) {
  const Result result =
      raised({R"([{"server":"beta","state":"answering","delivery":"given up"}])"});
  EXPECT_EQ(4, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored, acknowledged by no other server\n"), result.out);
  EXPECT_EQ("qelalert: beta: given up; it fetches the alert when it catches up\n", result.err);
}

TEST_F(Delivery, ServerThatDoesNotAnswerInTimeMakesItIncomplete) {
  const Exchange waiting = {
      kDelivery, R"({"peers":[{"server":"beta","state":"answering","delivery":"waiting"}]})"
                 "\n"};
  std::vector<Exchange> exchanges(1000, waiting);
  exchanges[0] = {kStatus, "{}\n"};
  alt_test::Child store([this] { return store_when_raised(); });
  const AnsweringSocket daemon(cluster_.socket_path(), exchanges);
  const Result result = qelalert(joined(kCall, {"--timeout", "1", "disk 3 failed"}));
  EXPECT_EQ(4, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored, acknowledged by no other server\n"), result.out);
  EXPECT_EQ("qelalert: beta: waiting; it fetches the alert when it catches up\n", result.err);
  EXPECT_EQ(0, store.wait());
}

TEST_F(Delivery, AlertThatIsNotStoredInTimeIsIncomplete) {
  AnsweringSocket daemon(cluster_.socket_path(), "{}\n");
  const Result result = qelalert(joined(kCall, {"--timeout", "1", "disk 3 failed"}));
  EXPECT_EQ(4, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: the alert was accepted, and not stored within 1 s\n", result.err);
  EXPECT_EQ(0, daemon.result());
  EXPECT_EQ(kLineSize, alt_test::read_file(cluster_.store_path("alerttmp.alt")).value().size());
}

TEST_F(Delivery, DaemonThatDoesNotRunIsToldAndTheAlertKept) {
  const Result result = qelalert(joined(kCall, {"disk 3 failed"}));
  EXPECT_EQ(3, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_NE(std::string::npos, result.err.find("the alert was accepted; it is stored and sent"));
  EXPECT_NE(std::string::npos, result.err.find("the alert daemon is not running"));
  EXPECT_EQ(kLineSize, alt_test::read_file(cluster_.store_path("alerttmp.alt")).value().size());
}

TEST_F(Delivery, FirstAlertOfAServerWithoutALogIsWaitedForToo) {
  for (const auto& [name, bytes] : cluster_.store_files()) {
    alt_test::remove_file(cluster_.store_path(name));
  }
  const Result result = raised({"[]"});
  EXPECT_EQ(0, result.exit_code) << result.err;
}

TEST_F(Delivery, OlderAlertWithTheSameTextIsNotTakenForIt) {
  ALERT_RECORD_INFO old = alert(4, "node1", "disk", "1001", "1", "2024/01/31 10:00:00.000");
  alt_test::set_text(old.szAlertMessage, "disk 3 failed");
  cluster_.store_alert(old);
  const Result result = raised({"[]"}, {"--time", "2024/01/31 10:00:00.000"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(kStored + std::string("stored; there are no other servers\n"), result.out);
}

}  // namespace
}  // namespace qel::cli::testing
