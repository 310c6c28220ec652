// Draining the intake into a real store.
#include "intake_drain.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <qelipc.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "alert_lock.h"
#include "drain_fixture.h"
#include "support/process.h"

namespace qel::daemon_test {
namespace {

using Outcome = IntakeDrain::Outcome;
using alt_test::make_record;

constexpr int kBatch = 64;

class Drain : public DrainTest {
 protected:
  Drain() { alt_max_count = 1000; }

  void expect_stored_and_aside(const Texts& texts, const std::string& set_aside) {
    EXPECT_EQ(texts, stored());
    EXPECT_EQ("", alt_test::first_difference(aside(), set_aside));
  }
};

TEST_F(Drain, AlertsAreStoredInTheirOrderWithIdsFrom1) {
  drain_all(new_lines(1, 5));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
  EXPECT_EQ(5U, intake_.counters().stored);
  EXPECT_EQ(5U, alt_test::read_log_numbers(log_path()).current_alert_id);
  EXPECT_FALSE(alt_test::file_exists(path("alerttmp.bad")));
  EXPECT_EQ("", index_difference());
}

TEST_F(Drain, IdsGoOnFromTheHeadersId) {
  store(41);
  drain_all(new_lines(1, 3));
  EXPECT_EQ((Texts{"41 alert 41", "42 alert 1", "43 alert 2", "44 alert 3"}), stored());
}

TEST_F(Drain, IdPutInByAProgramIsReplaced) {
  ALERT_RECORD_INFO alert = make_record(4294967295U % 1000);
  alert.alert_id = 4294967295U;
  drain_all(line_of(alert) + new_line(2));
  EXPECT_EQ((Texts{"1 alert 295", "2 alert 2"}), stored());
}

TEST_F(Drain, IdsStayAboveThoseGivenBeforeTheLogWasLost) {
  drain_all(new_lines(1, 3));
  alt_test::remove_file(log_path());
  drain_all(new_lines(4, 5));
  EXPECT_EQ(stored_texts(4, 4, 5), stored());
}

TEST_F(Drain, EveryFieldIsKept) {
  ALERT_RECORD_INFO alert = make_record(0, std::string(64, 's'), std::string(31, 'm'), "1234567",
                                        "3", "2024/01/31 23:59:59.123", std::string(511, 't'));
  drain_all(line_of(alert));
  alert.alert_id = 1;
  ASSERT_EQ(1U, alerts().size());
  EXPECT_EQ(alt_test::describe(alert), alt_test::describe(alerts()[0]));
}

TEST_F(Drain, MessageWithLineEndsIsStoredAndTheNextLineIsFound) {
  ALERT_RECORD_INFO alert = make_record(1);
  alt_test::set_text(alert.szAlertMessage, "a\nb\n");
  drain_all(line_of(alert) + new_line(2));
  EXPECT_EQ((Texts{"1 a\nb\n", "2 alert 2"}), stored());
}

TEST_F(Drain, RoundTakesABatchAndTellsThatThereIsMore) {
  settings_.intake_batch = 3;
  put_intake(new_lines(1, 7));
  EXPECT_EQ(Outcome::kMore, intake_.round());
  EXPECT_EQ(stored_texts(1, 1, 3), stored());
  EXPECT_EQ(static_cast<int64_t>(4 * kIntakeLine), intake_.waiting_bytes());
  EXPECT_EQ(Outcome::kMore, intake_.round());
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_EQ(stored_texts(1, 1, 7), stored());
  EXPECT_EQ(0, intake_.waiting_bytes());
  EXPECT_EQ("", intake());
}

TEST_F(Drain, MissingIntakeIsMadeAndEmpty) {
  EXPECT_EQ(Outcome::kEmpty, intake_.round());
  EXPECT_TRUE(alt_test::file_exists(path("alerttmp.alt")));
}

TEST_F(Drain, ProgramWaitsForTheLockUntilTheIntakeIsEmptyAndSucceeds) {
  settings_.intake_batch = 1;
  put_intake(new_lines(1, 3));
  ASSERT_EQ(Outcome::kMore, intake_.round());
  alt_test::Child program([] {
    ALERT_RECORD_INFO alert = make_record(4);
    return alert_log_lib_write(&alert) == 0 ? 0 : 1;
  });
  ASSERT_EQ(Outcome::kMore, intake_.round());
  // Not read here: closing the file would give the lock back.
  EXPECT_EQ(3 * kIntakeLine, std::filesystem::file_size(path("alerttmp.alt")))
      << "the program did not wait";
  ASSERT_EQ(1, alt_test::in_process([this] {
              const UniqueFd file(open(path("alerttmp.alt").c_str(), O_RDWR));
              return lock_reg(file.get(), F_SETLK, F_WRLCK, 0, SEEK_SET, 0) == -1 ? 1 : 0;
            }))
      << "the lock was given back too early";
  ASSERT_EQ(Outcome::kEmpty, drain(&intake_));
  EXPECT_EQ(0, program.wait());
  ASSERT_EQ(Outcome::kEmpty, drain(&intake_));
  EXPECT_EQ(stored_texts(1, 1, 4), stored());
}

TEST_F(Drain, NewAlertEventIsRaised) {
  unsigned seen = 0;
  ASSERT_EQ(0, semevt_wait_alert(&seen, 0));
  drain_all(new_line(1));
  EXPECT_EQ(1, semevt_wait_alert(&seen, 0));
}

TEST_F(Drain, BrokenBytesInFrontAreSetAside) {
  drain_all("broken" + new_lines(1, 3));
  expect_stored_and_aside(stored_texts(1, 1, 3), "broken");
  EXPECT_EQ(1U, intake_.counters().set_aside);
}

TEST_F(Drain, BrokenLineInTheMiddleIsSetAside) {
  const std::string broken = new_line(9).replace(0, 1, "?");
  drain_all(new_line(1) + broken + new_line(2));
  expect_stored_and_aside(stored_texts(1, 1, 2), broken);
}

TEST_F(Drain, HalfLineAtTheEndIsSetAside) {
  const std::string half = new_line(9).substr(0, 300);
  drain_all(new_lines(1, 2) + half);
  expect_stored_and_aside(stored_texts(1, 1, 2), half);
}

TEST_F(Drain, BrokenBytesBeforeABatchFullOfLinesCostNoAlert) {
  drain_all("0123456789abcdef" + new_lines(1, 3 * kBatch));
  expect_stored_and_aside(stored_texts(1, 1, 3 * kBatch), "0123456789abcdef");
}

TEST_F(Drain, BrokenBytesAtTheEndOfABatchCostNoAlert) {
  const std::string broken(900, '#');
  drain_all(new_lines(1, kBatch - 1) + broken + new_lines(kBatch, 2 * kBatch));
  expect_stored_and_aside(stored_texts(1, 1, 2 * kBatch), broken);
}

TEST_F(Drain, BrokenBytesOfManyBatchesCostNoAlert) {
  const std::string broken(5 * kIntakeLine * kBatch + 77, '#');
  drain_all(new_line(1) + broken + new_line(2));
  expect_stored_and_aside(stored_texts(1, 1, 2), broken);
}

TEST_F(Drain, SmallestBatchStillFindsTheLineBehindBrokenBytes) {
  settings_.intake_batch = 1;
  drain_all("###" + new_lines(1, 3) + "##" + new_line(4) + "#");
  expect_stored_and_aside(stored_texts(1, 1, 4), "######");
}

TEST_F(Drain, AlertWithABlankTextIsSetAsideAndStopsNothing) {
  drain_all(new_line(1) + unstorable_line(9) + new_line(2));
  const auto kept = stored();
  ASSERT_EQ(2U, kept.size());
  EXPECT_TRUE(kept[0] == "1 alert 1" && kept[1].ends_with(" alert 2")) << kept[1];
  EXPECT_EQ(unstorable_line(9).substr(kColumnId.width), aside().substr(kColumnId.width));
}

TEST_F(Drain, BlankWriteTimeIsStamped) {
  drain_all(new_line(1).replace(kColumnWriteTime.begin, kColumnWriteTime.width,
                                kColumnWriteTime.width, ' '));
  ASSERT_EQ(1U, alerts().size());
  EXPECT_EQ(ALERT_TIME_SIZE - 1U, strlen(alerts()[0].szWriteTime));
}

TEST_F(Drain, StampedLinesThatAreStoredAlreadyAreSkipped) {
  store(1);
  store(2);
  drain_all(stamped_line(1, 1) + stamped_line(2, 2) + new_line(3));
  EXPECT_EQ(stored_texts(1, 1, 3), stored());
  EXPECT_EQ(1U, intake_.counters().stored);
}

TEST_F(Drain, StampedLinesThatAreNotStoredGetTheirStamp) {
  store(1);
  drain_all(stamped_line(1, 1) + stamped_line(2, 2) + stamped_line(5, 3) + new_line(4));
  EXPECT_EQ((Texts{"1 alert 1", "2 alert 2", "5 alert 3", "6 alert 4"}), stored());
}

TEST_F(Drain, LinesAreStampedBeforeTheyAreStored) {
  put_intake(new_lines(1, 2));
  ASSERT_EQ(0, mkdir(log_path().c_str(), 0755));
  EXPECT_EQ(Outcome::kTrouble, intake_.round());
  EXPECT_EQ("", alt_test::first_difference(intake(), stamped_line(1, 1) + new_line(2)));
}

TEST_F(Drain, FailedStoreKeepsTheRestForALaterRound) {
  settings_.intake_batch = 2;
  put_intake(new_lines(1, 6));
  ASSERT_EQ(Outcome::kMore, intake_.round());
  std::filesystem::rename(log_path(), log_path() + ".away");
  ASSERT_EQ(0, mkdir(log_path().c_str(), 0755));
  EXPECT_EQ(Outcome::kTrouble, drain(&intake_));
  EXPECT_EQ(Outcome::kTrouble, drain(&intake_));
  ASSERT_EQ(0, rmdir(log_path().c_str()));
  std::filesystem::rename(log_path() + ".away", log_path());
  EXPECT_EQ(Outcome::kEmpty, drain(&intake_));
  EXPECT_EQ(stored_texts(1, 1, 6), stored());
}

TEST_F(Drain, ProgramsMayAppendWhileTheStoreFails) {
  put_intake(new_line(1));
  ASSERT_EQ(0, mkdir(log_path().c_str(), 0755));
  ASSERT_EQ(Outcome::kTrouble, drain(&intake_));
  EXPECT_EQ(0, alt_test::in_process([] {
              ALERT_RECORD_INFO alert = make_record(2);
              return alert_log_lib_write(&alert) == 0 ? 0 : 1;
            }));
  ASSERT_EQ(0, rmdir(log_path().c_str()));
  EXPECT_EQ(Outcome::kEmpty, drain(&intake_));
  EXPECT_EQ(stored_texts(1, 1, 2), stored());
}

// Files of this process grow no further than `bytes` while it lives.
class FileLimit {
 public:
  explicit FileLimit(uint64_t bytes) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;

 private:
  rlimit before_ = {};
};

// As on a full disk: the log takes two lines and `part` bytes of a third.
class FullDisk : public Drain, public ::testing::WithParamInterface<size_t> {};

TEST_P(FullDisk, StoredAlertsStayAndTheOthersFollowWhenThereIsRoom) {
  for (uint32_t id = 1; id <= 10; ++id) store(id);
  put_intake(new_lines(11, 15));
  {
    const FileLimit limit(std::filesystem::file_size(log_path()) + 2 * kRecordLine + GetParam());
    EXPECT_EQ(Outcome::kTrouble, drain(&intake_));
    EXPECT_EQ(Outcome::kTrouble, drain(&intake_));
  }
  EXPECT_EQ(Outcome::kEmpty, drain(&intake_));
  EXPECT_EQ(stored_texts(1, 1, 15), stored());
  EXPECT_EQ("", index_difference());
}

INSTANTIATE_TEST_SUITE_P(WithRoomFor, FullDisk, ::testing::Values(0, 1, 300, 683));

TEST_F(Drain, EmptyLogFileIsMadeAnewAndTheAlertsAreStored) {
  drain_all(new_lines(1, 2));
  alt_test::write_file(log_path(), "");
  put_intake(new_lines(3, 4));
  for (int i = 0; i < 3 && drain(&intake_) != Outcome::kEmpty; ++i) continue;
  EXPECT_EQ(stored_texts(3, 3, 4), stored());
}

TEST_F(Drain, UnreadableIndexOfTheIdsDoesNotHoldUpTheIntake) {
  drain_all(new_lines(1, 3));
  const std::string index = path("srv_alt_id.idx");
  alt_test::write_file(index, std::string(alt_test::read_file(index)->size(), '#'));
  drain_all(new_lines(4, 5));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
  EXPECT_EQ("", index_difference());
}

TEST_F(Drain, SomebodyElseEmptyingTheIntakeDoesNoHarm) {
  settings_.intake_batch = 2;
  put_intake(new_lines(1, 5));
  ASSERT_EQ(Outcome::kMore, intake_.round());
  ASSERT_EQ(0, truncate(path("alerttmp.alt").c_str(), 0));
  ASSERT_EQ(Outcome::kEmpty, intake_.round());
  drain_all(new_line(6));
  EXPECT_EQ((Texts{"1 alert 1", "2 alert 2", "3 alert 6"}), stored());
}

}  // namespace
}  // namespace qel::daemon_test
