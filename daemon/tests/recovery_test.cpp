// What a kill in the middle of a store leaves, and what the next start makes of it.
#include "recovery.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "drain_fixture.h"

namespace qel::daemon_test {
namespace {

using alt_test::make_record;
using alt_test::read_log_numbers;

constexpr uint32_t kCapacity = alt_test::TempStore::kDefaultCapacity;

class Recovery : public DrainTest {
 protected:
  void store_ids(uint32_t first, uint32_t last) {
    for (uint32_t id = first; id <= last; ++id) store(id);
  }

  // As the daemon starts: mends, opens, completes, drains what is in the intake.
  void restart() {
    daemon::mend_files();
    ASSERT_EQ(0, check_file_size());
    ASSERT_EQ(0, daemon::complete_interrupted_store());
    EXPECT_EQ("", index_difference());
    IntakeDrain fresh(settings_, &log_sync_);
    ASSERT_EQ(IntakeDrain::Outcome::kEmpty, drain(&fresh));
  }

  void restart_with_intake(const std::string& bytes) {
    put_intake(bytes);
    restart();
    EXPECT_EQ("", index_difference());
  }

  void append_to_log(const std::string& bytes) const {
    alt_test::write_file(log_path(), *alt_test::read_file(log_path()) + bytes);
  }

  void set_header(const ALERT_FILE_HEADER& numbers) const {
    const UniqueFd log(open_file(alt_name_only, O_RDWR));
    ASSERT_EQ(0, write_alert_header(log.get(), numbers, 1));
  }
  ALERT_FILE_HEADER header() const {
    ALERT_FILE_HEADER numbers = {};
    const UniqueFd log(open_file(alt_name_only, O_RDWR));
    EXPECT_EQ(0, read_alert_header(log.get(), &numbers));
    return numbers;
  }
  void set_current_id(uint32_t id) const {
    ALERT_FILE_HEADER numbers = header();
    numbers.current_alert_id = id;
    set_header(numbers);
  }

  // Replaces the first `size` bytes of the line that the header aims at, and nothing else.
  void overwrite_aimed_line(const std::string& line, size_t size) const {
    const std::string log = *alt_test::read_file(log_path());
    const size_t offset = log.find("\n\n") + 2 + header().nCurToWrite * kRecordLine;
    alt_test::write_file_at(log_path(), offset, line.substr(0, size));
  }

  // The indexes as they were before the last store.
  void keep_indexes() { kept_ = alt_test::read_directory(store_.directory()); }
  void put_old_indexes_back() const {
    for (int i = 1; i < 7; ++i) {
      alt_test::write_file(path(alt_test::kStoreFiles[i]), kept_.at(alt_test::kStoreFiles[i]));
    }
  }

 private:
  std::map<std::string, std::string> kept_;
};

std::string stored_line(uint32_t id) { return line_of(make_record(id)); }

TEST_F(Recovery, OfACleanStoreChangesNoAlert) {
  store_ids(1, 5);
  restart();
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
  EXPECT_EQ(5U, header().current_alert_id);
}

TEST_F(Recovery, OfAnEmptyLogChangesNothing) {
  restart_with_intake(new_line(1));
  EXPECT_EQ(stored_texts(1, 1, 1), stored());
}

TEST_F(Recovery, HalfLineBehindTheCountedOnesIsCutAndItsAlertStoredFromTheIntake) {
  store_ids(1, 3);
  for (const size_t size : {1UL, 342UL, 683UL}) {
    const uint32_t id = read_log_numbers(log_path()).count + 1;
    append_to_log(stored_line(id).substr(0, size));
    restart_with_intake(stamped_line(id, id));
    EXPECT_EQ(stored_texts(1, 1, id), stored()) << size;
  }
}

TEST_F(Recovery, WholeLineBehindTheCountedOnesIsCutAndItsAlertStoredFromTheIntake) {
  store_ids(1, 3);
  append_to_log(stored_line(4));
  restart_with_intake(stamped_line(4, 4) + new_line(5));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
}

TEST_F(Recovery, MoreThanALineTooMuchIsLeftToTheLibrary) {
  store_ids(1, 3);
  append_to_log(stored_line(4) + "x");
  const std::string before = *alt_test::read_file(log_path());
  daemon::mend_files();
  EXPECT_EQ("", alt_test::first_difference(*alt_test::read_file(log_path()), before));
}

TEST_F(Recovery, LeftoverOfAResizeIsRemoved) {
  store_ids(1, 3);
  alt_test::write_file(path("alertlog_tmp.alt"), "left over");
  restart();
  EXPECT_FALSE(alt_test::file_exists(path("alertlog_tmp.alt")));
  EXPECT_EQ(stored_texts(1, 1, 3), stored());
}

TEST_F(Recovery, OldIndexesOfALogWithRoomAreBuiltAgain) {
  store_ids(1, 3);
  keep_indexes();
  store_ids(4, 4);
  put_old_indexes_back();
  restart_with_intake(stamped_line(4, 4) + new_line(5));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
}

TEST_F(Recovery, MissingIndexesAreBuiltAgain) {
  store_ids(1, 3);
  for (int i = 1; i < 7; ++i) alt_test::remove_file(path(alt_test::kStoreFiles[i]));
  restart();
}

TEST_F(Recovery, CountedRecordWhoseIdTheHeaderLacksIsNotStoredTwice) {
  store_ids(1, 4);
  set_current_id(3);
  restart_with_intake(stamped_line(4, 4) + new_line(5));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
}

// The alert of another server was counted before the header took its id. Nothing follows it in the
// intake; the daemon is restarted once more before the next alert comes.
TEST_F(Recovery, CountedRecordOfAnotherServerKeepsItsIdForItself) {
  store_ids(1, 3);
  store(4, "elsewhere");
  set_current_id(3);
  ALERT_RECORD_INFO fourth = make_record(4);
  alt_test::set_text(fourth.szServer, "elsewhere");
  restart_with_intake(with_stamp(line_of(fourth), 4));
  ALERT_RECORD_INFO fifth = make_record(5);
  alt_test::set_text(fifth.szServer, "elsewhere");
  restart_with_intake(line_of(fifth));
  EXPECT_EQ(stored_texts(1, 1, 5), stored());
}

TEST_F(Recovery, RecordThatMadeTheLogFullWithTheHeaderNotYetAimedIsKept) {
  store_ids(1, kCapacity);
  ALERT_FILE_HEADER numbers = header();
  numbers.nCurToWrite = kCapacity;
  numbers.current_alert_id = kCapacity - 1;
  set_header(numbers);
  restart_with_intake(stamped_line(kCapacity, kCapacity));
  EXPECT_EQ(stored_texts(1, 1, kCapacity), stored());
  EXPECT_EQ(0U, header().nCurToWrite);
}

// A full log in which the store of alert 11 in place of alert 1 was interrupted.
class FullLogRecovery : public Recovery {
 protected:
  static constexpr uint32_t kNext = kCapacity + 1;
  // So many bytes of a line end before the last digit of its message.
  static constexpr size_t kInMessage = kColumnMessage.begin + sizeof "alert 1" - 1;

  FullLogRecovery() { store_ids(1, kCapacity); }

  void expect_last_stored(uint32_t id) {
    Texts expected;
    for (uint32_t number = id - kCapacity + 1; number <= id; ++number) {
      expected.push_back(std::to_string(number) + " alert " + std::to_string(number));
    }
    Texts found = stored();
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(expected, found);
    EXPECT_EQ(id, header().current_alert_id);
    EXPECT_EQ(id % kCapacity, header().nCurToWrite);
  }
};

TEST_F(FullLogRecovery, TornLineIsWrittenAgainFromTheIntake) {
  for (const size_t size : {1UL, 10UL, 50UL, kInMessage, 683UL}) {
    const uint32_t id = header().current_alert_id + 1;
    overwrite_aimed_line(stored_line(id), size);
    restart_with_intake(stamped_line(id, id));
    expect_last_stored(id);
  }
}

TEST_F(FullLogRecovery, LineBeforeAnyByteOfItWasWrittenIsStored) {
  restart_with_intake(stamped_line(kNext, kNext) + new_line(kNext + 1));
  expect_last_stored(kNext + 1);
}

TEST_F(FullLogRecovery, LineWrittenWhileTheHeaderIsOldIsCompleted) {
  overwrite_aimed_line(stored_line(kNext), kRecordLine);
  restart_with_intake(stamped_line(kNext, kNext) + new_line(kNext + 1));
  expect_last_stored(kNext + 1);
}

TEST_F(FullLogRecovery, OldIndexesAndAHeaderNotYetAimedAreCompleted) {
  keep_indexes();
  const uint32_t aimed_before = header().nCurToWrite;
  store(kNext);
  put_old_indexes_back();
  ALERT_FILE_HEADER numbers = header();
  numbers.nCurToWrite = aimed_before;
  set_header(numbers);
  restart_with_intake(stamped_line(kNext, kNext) + new_line(kNext + 1));
  expect_last_stored(kNext + 1);
}

TEST_F(FullLogRecovery, StoredLinesInFrontOfTheTornOneArePassedOver) {
  store(kNext);
  overwrite_aimed_line(stored_line(kNext + 1), kInMessage);
  restart_with_intake(stamped_line(kNext, kNext) + stamped_line(kNext + 1, kNext + 1));
  expect_last_stored(kNext + 1);
}

TEST_F(FullLogRecovery, BrokenBytesInFrontOfTheTornLinesAlertDoNotHideIt) {
  overwrite_aimed_line(stored_line(kNext), kInMessage);
  restart_with_intake("broken" + stamped_line(kNext, kNext));
  expect_last_stored(kNext);
}

TEST_F(FullLogRecovery, UnstorableLineInFrontOfTheTornLinesAlertDoesNotHideIt) {
  overwrite_aimed_line(stored_line(kNext + 1), kInMessage);
  restart_with_intake(with_stamp(unstorable_line(5), kNext) + stamped_line(kNext + 1, kNext + 1));
  const Texts found = stored();
  EXPECT_EQ(kCapacity, found.size());
  EXPECT_EQ(1, std::count(found.begin(), found.end(), "12 alert 12"));
  EXPECT_EQ(0, std::count(found.begin(), found.end(), "1 alert 1"));
}

TEST_F(FullLogRecovery, TornLineOfAnotherServersAlertIsWrittenAgain) {
  ALERT_RECORD_INFO alert = make_record(kNext);
  alt_test::set_text(alert.szServer, "elsewhere");
  overwrite_aimed_line(line_of(alert), kInMessage);
  restart_with_intake(with_stamp(line_of(alert), kNext));
  expect_last_stored(kNext);
}

TEST_F(FullLogRecovery, IdOfTheHeaderIsNeverLowered) {
  set_current_id(500);
  restart();
  EXPECT_EQ(500U, header().current_alert_id);
  restart_with_intake(new_line(99));
  EXPECT_EQ(501U, header().current_alert_id);
}

}  // namespace
}  // namespace qel::daemon_test
