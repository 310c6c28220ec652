// The way of a local alert from the intake to the other servers.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "cluster_fixture.h"
#include "drain_fixture.h"
#include "recovery.h"
#include "sync_watch.h"

namespace qel::daemon_test {
namespace {

using Outcome = IntakeDrain::Outcome;

class IntakeForward : public alt_test::ProtocolTest {
 protected:
  void put_intake(const std::string& bytes) const {
    alt_test::write_file(path("alerttmp.alt"), bytes);
  }
  size_t intake_size() const { return std::filesystem::file_size(path("alerttmp.alt")); }
  static std::string line_naming(const std::string& server, uint32_t number) {
    ALERT_RECORD_INFO alert = alert_of(server, number);
    alert.alert_id = 0;
    return line_of(alert);
  }

  // What came to the first address of node2: "server:id message" of each alert.
  Texts forwarded() {
    Texts texts;
    for (const alt_test::Datagram& datagram : wire_.take()) {
      if (datagram.to != kNode2[0]) continue;
      ALERT_RECORD_INFO alert;
      memcpy(&alert, datagram.bytes.data() + AL_MSG_HEADER_SIZE, sizeof alert);
      texts.push_back(std::string(alert.szServer) + ":" +
                      std::to_string(__builtin_bswap32(alert.alert_id)) + " " +
                      alert.szAlertMessage);
    }
    return texts;
  }
  // A daemon that starts after another one was killed.
  Outcome drain_after_a_kill() {
    IntakeDrain fresh(settings_, &log_sync_);
    return fresh.round();
  }
  // While it lives, nothing can be stored: the log is out of the way.
  class LogAway {
   public:
    explicit LogAway(std::string log) : log_(std::move(log)) {
      std::filesystem::rename(log_, log_ + ".away");
      std::filesystem::create_directory(log_);
    }
    ~LogAway() {
      std::filesystem::remove(log_);
      std::filesystem::rename(log_ + ".away", log_);
    }
    LogAway(const LogAway&) = delete;
    LogAway& operator=(const LogAway&) = delete;

   private:
    std::string log_;
  };

  alt_test::StoppedClock clock_{QEL_TIMES(nullptr)};
  daemon::Settings settings_;
  daemon::LogSync log_sync_{settings_};
  IntakeDrain intake_{settings_, &log_sync_};
};

// ---- once ---------------------------------------------------------------------------------------

TEST_F(IntakeForward, AlertGoesToEveryAddressOfEveryOtherServer) {
  put_intake(new_line(1));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ((Texts{"127.0.1.1 > 127.0.1.2 0x1 1", "127.0.2.1 > 127.0.2.2 0x1 1",
                   "127.0.1.1 > 127.0.1.3 0x1 2", "127.0.2.1 > 127.0.2.3 0x1 2"}),
            arrived());
  EXPECT_EQ((Texts{"0x1 1", "0x1 2"}), outstanding_requests());
}

TEST_F(IntakeForward, AlertsGoWithTheirIdsInTheirOrder) {
  put_intake(new_lines(7, 9));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ((Texts{"node1:1 alert 7", "node1:2 alert 8", "node1:3 alert 9"}), forwarded());
  EXPECT_EQ((Texts{"node1:1", "node1:2", "node1:3"}), held());
}

TEST_F(IntakeForward, AlertThatCannotBeStoredGoesOnceAndIsStoredLater) {
  put_intake(new_lines(1, 2));
  {
    const LogAway away(path("alertlog.alt"));
    EXPECT_EQ(Outcome::kTrouble, intake_.round());
    EXPECT_EQ(Texts{"node1:1 alert 1"}, forwarded());
    EXPECT_EQ(Outcome::kTrouble, intake_.round());
    EXPECT_EQ(Texts{}, forwarded());
  }
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(Texts{"node1:2 alert 2"}, forwarded());
  EXPECT_EQ((Texts{"node1:1", "node1:2"}), held());
}

TEST_F(IntakeForward, EachFailingWriteOfAStoreLeavesTheAlertForwardedAndStoredOnce) {
  make_log(1000);
  uint32_t number = 0;
  int rounds = 0;
  const auto go_on = [&] {
    // What the fault has left is stored without it a second later.
    clock_.advance(tckconf);
    for (int i = 0; i < 3 && intake_.round() != Outcome::kEmpty; ++i) ++rounds;
    const Texts all = forwarded();
    EXPECT_EQ(number == 0 ? 0U : 1U, all.size()) << number;
    EXPECT_EQ(number, held().size());
    ++number;
    put_intake(new_line(number));
  };
  const int faults = alt_test::for_each_call(alt_test::Site::kWrite, ENOSPC, go_on,
                                             [&] { static_cast<void>(intake_.round()); });
  EXPECT_LT(8, faults);
  EXPECT_EQ(0, rounds) << "the intake was not empty after one round without a fault";
}

TEST_F(IntakeForward, UnstorableLineGoesNowhere) {
  put_intake(unstorable_line(1) + new_line(2));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(1U, forwarded().size());
  EXPECT_EQ(1U, intake_.counters().set_aside);
}

// ---- the disk -----------------------------------------------------------------------------------

TEST_F(IntakeForward, IntakeIsEmptiedWhenItsAlertsHaveReachedTheDisk) {
  put_intake(new_lines(1, 2));
  {
    const SyncWatch broken([] { return EIO; });
    EXPECT_EQ(Outcome::kTrouble, intake_.round());
    EXPECT_EQ(Outcome::kTrouble, intake_.round());
    EXPECT_EQ(2, broken.calls());
  }
  EXPECT_EQ(2 * kIntakeLine, intake_size());
  EXPECT_EQ(2U, forwarded().size());
  size_t size_at_sync = 0;
  const SyncWatch disk([&] {
    size_at_sync = intake_size();
    return 0;
  });
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(1, disk.calls());
  EXPECT_EQ(2 * kIntakeLine, size_at_sync);
  EXPECT_EQ(0U, intake_size());
  EXPECT_EQ(Texts{}, forwarded());
  EXPECT_EQ((Texts{"node1:1", "node1:2"}), held());
}

TEST_F(IntakeForward, DaemonThatIsToldToDoWithoutEmptiesTheIntakeWithoutASync) {
  settings_.durable = false;
  put_intake(new_line(1));
  const SyncWatch disk;
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(0, disk.calls());
  EXPECT_EQ(0U, intake_size());
}

// ---- after a kill -------------------------------------------------------------------------------

TEST_F(IntakeForward, AlertsThatWereStoredBeforeAKillGoAgain) {
  hold("node1", {1, 2});
  put_intake(stamped_line(1, 1) + stamped_line(2, 2) + new_line(3));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ((Texts{"node1:1 alert 1", "node1:2 alert 2", "node1:3 alert 3"}), forwarded());
  EXPECT_EQ((Texts{"node1:1", "node1:2", "node1:3"}), held());
}

TEST_F(IntakeForward, AlertsThatWereStoredBeforeAKillReachTheDiskBeforeTheyLeaveTheIntake) {
  hold("node1", {1});
  put_intake(stamped_line(1, 1));
  size_t size_at_sync = 0;
  const SyncWatch disk([&] {
    size_at_sync = intake_size();
    return 0;
  });
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(1, disk.calls());
  EXPECT_EQ(kIntakeLine, size_at_sync);
}

TEST_F(IntakeForward, AlertThatWasStampedBeforeAKillGoesWithItsStamp) {
  put_intake(stamped_line(5, 1));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(Texts{"node1:5 alert 1"}, forwarded());
  EXPECT_EQ(Texts{"node1:5"}, held());
}

TEST_F(IntakeForward, AlertThatAFullLogHasOverwrittenSinceGoesNowhere) {
  make_log(2);
  hold("node1", {5, 6, 7});
  put_intake(stamped_line(5, 5));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(Texts{}, forwarded());
  EXPECT_EQ((Texts{"node1:7", "node1:6"}), held());
}

// The log was lost, and its new header has the highest id that another server has told.
TEST_F(IntakeForward, StampedAlertThatALogWithRoomLacksIsStored) {
  ASSERT_EQ(0, daemon::keep_alert_id(60));
  put_intake(stamped_line(55, 1));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(Texts{"node1:55 alert 1"}, forwarded());
  EXPECT_EQ(Texts{"node1:55"}, held());
}

// ---- whose alert it is --------------------------------------------------------------------------

TEST_F(IntakeForward, AlertThatNamesAnotherServerIsKeptAndGoesUnderTheOwnName) {
  put_intake(line_naming("node2", 1) + line_naming("elsewhere", 2) + line_naming("node1", 3));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ((Texts{"node1:1", "node1:2", "node1:3"}), held());
  EXPECT_EQ((Texts{"node1:1 alert 1", "node1:2 alert 2", "node1:3 alert 3"}), forwarded());
}

TEST_F(IntakeForward, AlertThatNamesAnotherServerStaysAsItIsOnAServerAlone) {
  keep_only_the_local_server();
  put_intake(line_naming("elsewhere", 1));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(Texts{"elsewhere:1"}, held());
}

TEST_F(IntakeForward, AlertThatNamesAnotherServerGoesAgainUnderTheOwnNameAfterAKill) {
  hold("node1", {1});
  hold("node2", {1});
  put_intake(with_stamp(line_naming("node2", 1), 1));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(Texts{"node1:1 alert 1"}, forwarded());
  EXPECT_EQ((Texts{"node1:1", "node2:1"}), held());
}

TEST_F(IntakeForward, LineThatNamesNobodyIsSetAsideInAClusterAsWell) {
  put_intake(line_naming("", 1));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(1U, intake_.counters().set_aside);
  EXPECT_EQ(Texts{}, forwarded());
}

// ---- ids ----------------------------------------------------------------------------------------

TEST_F(IntakeForward, IdsGoOnBehindTheHighestThatAnotherServerHasTold) {
  hold("node1", {3});
  max_alertid_localserver = 41;
  put_intake(new_line(4));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(Texts{"node1:42 alert 4"}, forwarded());
}

// A log that was put back from a copy, into which own alerts have come back from the others.
TEST_F(IntakeForward, IdOfAnOwnAlertThatHasComeBackIsNotGivenToAnother) {
  alt_test::store(alert_of("node1", 1), 0);
  alt_test::store(alert_of("node1", 2), 0);
  put_intake(new_line(7));
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ((Texts{"node1:1", "node1:2", "node1:3"}), held());
  const Texts all = forwarded();
  ASSERT_FALSE(all.empty());
  EXPECT_EQ("node1:3 alert 7", all.back());
}

TEST_F(IntakeForward, StampOfAnOwnAlertThatHasComeBackIsReplaced) {
  alt_test::store(alert_of("node1", 1), 0);
  put_intake(stamped_line(1, 7));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ((Texts{"node1:1", "node1:2"}), held());
}

TEST_F(IntakeForward, AlertThatHasComeBackItselfIsNotStoredAgain) {
  alt_test::store(alert_of("node1", 1), 0);
  put_intake(stamped_line(1, 1));
  EXPECT_EQ(Outcome::kEmpty, drain_after_a_kill());
  EXPECT_EQ(Texts{"node1:1"}, held());
  EXPECT_EQ(1U, alt_test::read_log_numbers(path("alertlog.alt")).current_alert_id);
}

}  // namespace
}  // namespace qel::daemon_test
