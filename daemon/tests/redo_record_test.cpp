// The alert of another server that was about to overwrite a line of a full log when the daemon was
// killed.
#include "redo_record.h"

#include <gtest/gtest.h>
#include <signal.h>

#include "cluster/remote_alerts.h"
#include "cluster_fixture.h"
#include "recovery_fixture.h"
#include "support/process.h"

namespace qel::daemon_test {
namespace {

using daemon::RedoRecord;

constexpr char kFile[] = "qelalertd.redo";

class Redo : public FullLogRecovery {
 protected:
  static ALERT_RECORD_INFO remote_alert(uint32_t id) { return alert_of("elsewhere", id); }

  // As a daemon that was killed with so many bytes of the line written.
  void be_killed_while_storing(uint32_t id, size_t written) {
    ASSERT_TRUE(RedoRecord().keep(remote_alert(id)));
    overwrite_aimed_line(line_of(remote_alert(id)), written);
  }
  // The log holds just the alerts up to this number.
  void expect_last_held(uint32_t last) {
    Texts expected;
    for (uint32_t id = last - kCapacity + 1; id <= last; ++id) {
      expected.push_back(std::to_string(id) + " alert " + std::to_string(id));
    }
    Texts found = stored();
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(expected, found);
    EXPECT_EQ(last % kCapacity, header().nCurToWrite);
  }
  std::string redo_file() const { return alt_test::read_file(path(kFile)).value_or(""); }
};

// ---- the file -----------------------------------------------------------------------------------

TEST_F(Redo, RecordIsKeptWithTheLineItGoesToUntilItIsForgotten) {
  store(kNext);
  RedoRecord redo;
  ASSERT_TRUE(redo.keep(remote_alert(77)));
  const auto kept = RedoRecord::left_over();
  ASSERT_TRUE(kept.has_value());
  EXPECT_EQ(1U, kept->line);
  EXPECT_EQ(alt_test::describe(remote_alert(77)), alt_test::describe(kept->record));
  redo.forget();
  EXPECT_FALSE(RedoRecord::left_over().has_value());
}

TEST_F(Redo, NextRecordTakesThePlaceOfTheOneBefore) {
  RedoRecord redo;
  for (const uint32_t id : {77U, 78U}) {
    ASSERT_TRUE(redo.keep(remote_alert(id)));
    ASSERT_TRUE(RedoRecord::left_over().has_value());
    EXPECT_EQ(id, RedoRecord::left_over()->record.alert_id);
    redo.forget();
  }
}

TEST_F(Redo, LogWithRoomKeepsNothing) {
  alt_test::remove_file(log_path());
  store(1);
  RedoRecord redo;
  EXPECT_TRUE(redo.keep(remote_alert(77)));
  EXPECT_FALSE(alt_test::file_exists(path(kFile)));
  redo.forget();
  EXPECT_FALSE(RedoRecord::left_over().has_value());
}

TEST_F(Redo, RecordThatCannotBeWrittenIsToldAndNotLeftOver) {
  RedoRecord redo;
  {
    const alt_test::Fault full_disk(alt_test::Site::kWrite, ENOSPC);
    EXPECT_FALSE(redo.keep(remote_alert(77)));
  }
  EXPECT_TRUE(
      log_.has(alt_test::kFailures, "writing qelalertd.redo failed: No space left on device"));
  redo.forget();
  EXPECT_FALSE(RedoRecord::left_over().has_value());
}

TEST_F(Redo, FileThatCannotBeEmptiedIsEmptiedTheNextTime) {
  RedoRecord redo;
  ASSERT_TRUE(redo.keep(remote_alert(77)));
  {
    const alt_test::Fault broken(alt_test::Site::kTruncate, EIO);
    redo.forget();
  }
  EXPECT_TRUE(log_.has(alt_test::kFailures, "emptying qelalertd.redo failed: Input/output error"));
  redo.forget();
  EXPECT_FALSE(RedoRecord::left_over().has_value());
}

TEST_F(Redo, FileThatIsCutIsNotBelieved) {
  ASSERT_TRUE(RedoRecord().keep(remote_alert(77)));
  const std::string whole = redo_file();
  for (size_t size = 0; size < whole.size(); size += 13) {
    alt_test::write_file(path(kFile), whole.substr(0, size));
    EXPECT_FALSE(RedoRecord::left_over().has_value()) << size;
  }
  alt_test::write_file(path(kFile), whole.substr(0, whole.size() - 1));
  EXPECT_FALSE(RedoRecord::left_over().has_value());
}

TEST_F(Redo, FileOfWhichAByteIsWrongGivesNoOtherRecord) {
  ASSERT_TRUE(RedoRecord().keep(remote_alert(77)));
  const std::string whole = redo_file();
  int believed = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    std::string wrong = whole;
    wrong[at] = static_cast<char>(wrong[at] ^ 0x10);
    alt_test::write_file(path(kFile), wrong);
    const auto left = RedoRecord::left_over();
    if (!left) continue;
    ++believed;
    EXPECT_EQ(0U, left->line) << at;
    EXPECT_EQ(alt_test::describe(remote_alert(77)), alt_test::describe(left->record)) << at;
  }
  EXPECT_GE(8, believed) << "only what fills the structure up may be wrong";
}

TEST_F(Redo, NothingIsLeftOverWithoutAFile) {
  EXPECT_FALSE(RedoRecord::left_over().has_value());
  RedoRecord::remove_left_over();
  EXPECT_FALSE(log_.has_part(alt_test::kFailures, "removing"));
}

// ---- recovery -----------------------------------------------------------------------------------

TEST_F(Redo, LineTornAtAnyByteIsWrittenAgain) {
  uint32_t id = kCapacity;
  for (size_t written = 0; written <= kRecordLine; written += written < 12 ? 1 : 84) {
    be_killed_while_storing(++id, written);
    restart();
    expect_last_held(id);
    EXPECT_EQ(kCapacity, header().current_alert_id) << "an id of this server";
  }
}

TEST_F(Redo, OldIndexesAndAHeaderNotYetAimedAreCompleted) {
  keep_indexes();
  const ALERT_FILE_HEADER before = header();
  ASSERT_TRUE(RedoRecord().keep(remote_alert(kNext)));
  store(kNext, "elsewhere");
  put_old_indexes_back();
  ALERT_FILE_HEADER numbers = header();
  numbers.nCurToWrite = before.nCurToWrite;
  set_header(numbers);
  restart();
  expect_last_held(kNext);
}

TEST_F(Redo, AlertsOfTheIntakeAreStoredBehindIt) {
  be_killed_while_storing(kNext, kInMessage);
  restart_with_intake(stamped_line(kNext + 1, kNext + 1) + new_line(kNext + 2));
  expect_last_held(kNext + 2);
}

TEST_F(Redo, RecordThatWasKeptForALineThatIsNotAimedAtAnyMoreIsNotWritten) {
  ASSERT_TRUE(RedoRecord().keep(remote_alert(77)));
  store(kNext);
  const Texts before = stored();
  restart();
  EXPECT_EQ(before, stored());
}

TEST_F(Redo, TornRecordChangesNothing) {
  ASSERT_TRUE(RedoRecord().keep(remote_alert(kNext)));
  alt_test::write_file(path(kFile), redo_file().substr(0, 300));
  const Texts before = stored();
  restart();
  EXPECT_EQ(before, stored());
}

TEST_F(Redo, RecordIsNotWrittenIntoALogThatHasRoom) {
  ASSERT_TRUE(RedoRecord().keep(remote_alert(77)));
  alt_max_count = 2 * kCapacity;
  ASSERT_EQ(0, adjust_alert_record(alt_max_count));
  const Texts before = stored();
  restart();
  EXPECT_EQ(before, stored());
}

// The log is at the same line again after all others were written, when the next kill comes.
TEST_F(Redo, UsedRecordDoesNotComeBack) {
  be_killed_while_storing(kNext, kInMessage);
  restart();
  for (uint32_t id = kNext + 1; id <= kNext + 2 * kCapacity - 1; ++id) store(id);
  ASSERT_EQ(0U, header().nCurToWrite);
  const Texts before = stored();
  restart();
  EXPECT_EQ(before, stored());
}

// A real daemon, killed before each of the writes of a store.
TEST_F(Redo, KillBeforeAnyWriteOfAStoreCostsNoAlert) {
  constexpr int kWritesMax = 200;
  const auto store_and_be_killed = [&](uint32_t id, int survived_writes) {
    Arrival arrival("", alt_test::datagram({.type = 0x1, .sequence = 1},
                                           alt_test::alert_payload(remote_alert(id))));
    return alt_test::in_process([&] {
      int writes = 0;
      const alt_test::Interception killer(alt_test::Site::kWrite, [&](size_t) {
        if (writes++ == survived_writes) kill(getpid(), SIGKILL);
        return alt_test::kPass;
      });
      return daemon::RemoteAlerts(&log_sync_).store(arrival.datagram()) ? 0 : 1;
    });
  };
  uint32_t id = kCapacity;
  int killed = 0;
  int result = 1;
  while (killed < kWritesMax && (result = store_and_be_killed(++id, killed)) != 0) {
    ASSERT_EQ(alt_test::kChildSignalled + SIGKILL, result);
    ++killed;
    restart();
    // Its sender has no answer and repeats it.
    ASSERT_EQ(0, store_and_be_killed(id, kWritesMax));
    expect_last_held(id);
  }
  EXPECT_EQ(0, result);
  EXPECT_LT(5, killed);
}

// ---- an alert of the intake that names another server of the cluster
// ------------------------------

TEST_F(Redo, TornLineOfAnAlertThatNamesAnotherServerIsWrittenAgainUnderTheOwnName) {
  server_list_head->next = alt_test::new_server("elsewhere");
  const std::string line = line_of(remote_alert(kNext));
  overwrite_aimed_line(line_of(alert_of("node1", kNext)), kInMessage);
  restart_with_intake(with_stamp(line, kNext));
  expect_last_stored(kNext);
  for (const ALERT_RECORD_INFO& alert : alerts()) EXPECT_STREQ("node1", alert.szServer);
}

}  // namespace
}  // namespace qel::daemon_test
