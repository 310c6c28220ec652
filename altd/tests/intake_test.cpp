// The two doors of the store: appending to the intake file, and storing in the log.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <memory>
#include <regex>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/process.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";
constexpr const char* kIntake = "alerttmp.alt";
constexpr size_t kLine = 684;
constexpr size_t kSizeLimit = 4194304;

bool is_time_stamp(const std::string& text) {
  static const std::regex form(R"(\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\.\d{3})");
  return std::regex_match(text, form);
}

class Intake : public StoreTest {
 protected:
  std::string content() const { return read_file(path(kIntake)).value(); }
  std::string message_line(const ALERT_RECORD_INFO& record) const {
    return std::string("save alert to local file:") + record.szServerTime + "," + record.szModType +
           "," + record.szEventID + "," + record.szLevel + "," +
           std::string(record.szAlertMessage).substr(0, 100) + " ";
  }
};

// ---- appending ----------------------------------------------------------------------------------

TEST_F(Intake, AlertIsAppendedAsARecordLine) {
  ALERT_RECORD_INFO record = make_record(4294967295U, "node2", "net", "42", "2", "raised", "text");
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_TRUE(is_time_stamp(record.szWriteTime));
  EXPECT_EQ(first_difference(content(), alt_model::record_line(alt_model::record_of_image(
                                            {image(record), sizeof(record)}))),
            "");
  EXPECT_TRUE(log_.has(kNotable, message_line(record)));
  EXPECT_TRUE(log_.has(kTrace, "Enter function: alert_log_lib_write"));
  EXPECT_TRUE(log_.has(kTrace, "Leave function: alert_log_lib_write"));
}

TEST_F(Intake, AlertsStandInTheOrderOfTheCalls) {
  for (uint32_t id = 1; id <= 3; ++id) {
    ALERT_RECORD_INFO record = make_record(id);
    ASSERT_EQ(alert_log_lib_write(&record), 0);
  }
  ASSERT_EQ(content().size(), 3 * kLine);
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(content()[i * kLine], static_cast<char>('1' + i));
}

TEST_F(Intake, AppendingLeavesTheLogAlone) {
  ALERT_RECORD_INFO record = make_record(1);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_EQ(list_directory(store_.directory()), Texts{kIntake});
}

struct LevelCase {
  const char* given;
  const char* stored;
};
void PrintTo(const LevelCase& row, std::ostream* out) { *out << row.given; }
class Levels : public Intake, public ::testing::WithParamInterface<LevelCase> {};
INSTANTIATE_TEST_SUITE_P(Intake, Levels,
                         ::testing::Values(LevelCase{"1", "1"}, LevelCase{"2", "2"},
                                           LevelCase{"3", "3"}, LevelCase{"7", "3"},
                                           LevelCase{"0", "3"}, LevelCase{"", "3"},
                                           LevelCase{"high", "3"}, LevelCase{"-1", "3"},
                                           LevelCase{"002", "2"}, LevelCase{" 1", "1"},
                                           LevelCase{"2x", "2"}));

TEST_P(Levels, AreForcedInto1To3) {
  ALERT_RECORD_INFO record = make_record(1);
  set_text(record.szLevel, GetParam().given);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_STREQ(record.szLevel, GetParam().stored);
  EXPECT_EQ(content().substr(163, 8), std::string(GetParam().stored) + "       ");
}

TEST_F(Intake, MessageWithoutAnEndIsCutTo511Characters) {
  ALERT_RECORD_INFO record = make_record(1);
  memset(record.szAlertMessage, 'm', sizeof(record.szAlertMessage));
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_EQ(record.szAlertMessage[511], '\0');
  EXPECT_EQ(content().substr(171), std::string(511, 'm') + " \n");
}

TEST_F(Intake, OtherTextsWithoutAnEndKeepTheLineItsLength) {
  ALERT_RECORD_INFO record;
  memset(&record, 'x', sizeof(record));
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_EQ(content().size(), kLine);
  EXPECT_EQ(content().substr(58, 65).find_first_not_of('x') == std::string::npos ||
                content().substr(58, 65) == std::string(64, 'x') + " ",
            true);
}

TEST_F(Intake, FileOfExactlyTheLimitTakesOneMoreLine) {
  write_file(path(kIntake), std::string(kSizeLimit, 'x'));
  ALERT_RECORD_INFO record = make_record(1);
  EXPECT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_EQ(content().size(), kSizeLimit + kLine);
}

TEST_F(Intake, FileAboveTheLimitRefusesTheAlert) {
  write_file(path(kIntake), std::string(kSizeLimit + 1, 'x'));
  ALERT_RECORD_INFO record = make_record(1);
  EXPECT_EQ(alert_log_lib_write(&record), -1);
  EXPECT_EQ(content().size(), kSizeLimit + 1);
  EXPECT_TRUE(log_.has(kFailures, "temporary file's size is too large,alert can not be wrote"));
  EXPECT_TRUE(log_.has(kNotable, message_line(record)));
}

TEST_F(Intake, NoAlertIsAnError) {
  EXPECT_EQ(alert_log_lib_write(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error."));
  EXPECT_FALSE(file_exists(path(kIntake)));
}

TEST_F(Intake, FileThatCannotBeOpenedRefusesTheAlert) {
  std::filesystem::create_directory(path(kIntake));
  ALERT_RECORD_INFO record = make_record(1);
  EXPECT_EQ(alert_log_lib_write(&record), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert temporary file failed"));
  EXPECT_TRUE(log_.has(kNotable, message_line(record)));
}

struct AppendFault {
  Site site;
  const char* message;
};
void PrintTo(const AppendFault& fault, std::ostream* out) { *out << fault.message; }
class AppendFaults : public Intake, public ::testing::WithParamInterface<AppendFault> {};
INSTANTIATE_TEST_SUITE_P(Intake, AppendFaults,
                         ::testing::Values(AppendFault{Site::kStatus, "fstat failed: 5"},
                                           AppendFault{Site::kLockExclusive,
                                                       "call writew_lock failed: 5"},
                                           AppendFault{Site::kSeek, "lseek failed: 5"},
                                           AppendFault{Site::kWrite, "write data disk failed"}));

TEST_P(AppendFaults, RefuseTheAlertAndLeaveNothing) {
  ALERT_RECORD_INFO record = make_record(1);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  {
    const Fault fault(GetParam().site, EIO);
    EXPECT_EQ(alert_log_lib_write(&record), -1);
  }
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
  EXPECT_EQ(log_.count(kNotable, message_line(record)), 2);
  EXPECT_EQ(content().size(), kLine);
}

TEST_F(Intake, LockThatCannotBeGivenBackIsReported) {
  ALERT_RECORD_INFO record = make_record(1);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  const Fault fault(Site::kUnlock, EIO);
  EXPECT_EQ(alert_log_lib_write(&record), -1);
  EXPECT_TRUE(log_.has(kFailures, "call un_lock failed: 5"));
}

TEST_F(Intake, HalfAppendedAlertIsTakenBack) {
  ALERT_RECORD_INFO record = make_record(1);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  const int result = in_process([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit limit = {kLine + 100, kLine + 100};
    setrlimit(RLIMIT_FSIZE, &limit);
    return alert_log_lib_write(&record) == -1 ? 0 : 1;
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(content().size(), kLine);
}

TEST_F(Intake, AppendWaitsForTheLockOfTheWholeFile) {
  ALERT_RECORD_INFO record = make_record(1);
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  const std::string file = path(kIntake);
  bool locked = false;
  const Interception watch(Site::kWrite, [&](size_t) {
    locked = in_process([&] {
               const Opened other(file);
               struct flock range = {};
               range.l_type = F_RDLCK;
               fcntl(other, F_GETLK, &range);
               return range.l_type == F_WRLCK && range.l_start == 0 && range.l_len == 0 ? 1 : 0;
             }) == 1;
    return kPass;
  });
  ASSERT_EQ(alert_log_lib_write(&record), 0);
  EXPECT_TRUE(locked);
}

TEST_F(Intake, ManyProcessesLeaveWholeLines) {
  constexpr int kProcesses = 4;
  constexpr int kAlerts = 50;
  std::vector<std::unique_ptr<Child>> children;
  write_file(path(kIntake), "");
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(std::make_unique<Child>([process] {
      for (int i = 0; i < kAlerts; ++i) {
        ALERT_RECORD_INFO record = make_record(static_cast<uint32_t>(1000 * process + i));
        if (alert_log_lib_write(&record) != 0) return 1;
      }
      return 0;
    }));
  }
  for (auto& child : children) EXPECT_EQ(child->wait(), 0);
  const std::string text = content();
  ASSERT_EQ(text.size(), kProcesses * kAlerts * kLine);
  Numbers next(kProcesses, 0);
  for (size_t at = 0; at < text.size(); at += kLine) {
    EXPECT_EQ(text[at + kLine - 1], '\n');
    const uint32_t id = static_cast<uint32_t>(atoi(text.c_str() + at));
    EXPECT_EQ(id % 1000, next[id / 1000]++);
  }
}

// ---- time stamps --------------------------------------------------------------------------------

TEST_F(Intake, LocalTimeHas23Characters) {
  char text[40];
  memset(text, 'x', sizeof(text));
  EXPECT_EQ(get_current_localtime(text, sizeof(text)), 23);
  EXPECT_TRUE(is_time_stamp(text));
  EXPECT_EQ(text[39], '\0');  // all of the buffer is cleared
}

TEST_F(Intake, LocalTimeFitsItsField) {
  char text[25];
  memset(text, 'x', sizeof(text));
  EXPECT_EQ(get_current_localtime(text, 24), 23);
  EXPECT_EQ(text[24], 'x');
}

TEST_F(Intake, DateThatDoesNotFitLeavesTheBufferEmpty) {
  char text[24];
  memset(text, 'x', sizeof(text));
  EXPECT_EQ(get_current_localtime(text, 10), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(text[10], 'x');
}

TEST_F(Intake, DateThatCannotBeFormattedLeavesTheBufferEmpty) {
  char text[24];
  memset(text, 'x', sizeof(text));
  const Fault fault(Site::kFormatTime, EINVAL);
  EXPECT_EQ(get_current_localtime(text, sizeof(text)), 0);
  EXPECT_STREQ(text, "");
}

// ---- storing ------------------------------------------------------------------------------------

class Store : public Intake {
 protected:
  ALERT_RECORD_INFO stored(int line) {
    ALERT_RECORD_INFO record = {};
    EXPECT_EQ(read_alert_record(Opened(path(kLog)), line, &record), 0);
    return record;
  }
  int store_image(const ALERT_RECORD_INFO& record, size_t size = sizeof(ALERT_RECORD_INFO)) {
    return udp_write_disk(image(record), size, 1);
  }
};

TEST_F(Store, LocalAlertKeepsItsWriteTimeAndMovesTheLocalId) {
  const ALERT_RECORD_INFO record = make_record(7);
  ASSERT_EQ(udp_write_disk(image(record), sizeof(record), 1), 0);
  EXPECT_EQ(describe(stored(0)), describe(record));
  EXPECT_EQ(read_log_numbers(path(kLog)).current_alert_id, 7U);
}

TEST_F(Store, RemoteAlertGetsTheTimeOfStoring) {
  const ALERT_RECORD_INFO record = make_record(7);
  ASSERT_EQ(udp_write_disk(image(record), sizeof(record), 0), 0);
  EXPECT_STRNE(stored(0).szWriteTime, record.szWriteTime);
  EXPECT_TRUE(is_time_stamp(stored(0).szWriteTime));
  EXPECT_EQ(read_log_numbers(path(kLog)).current_alert_id, 0U);
}

TEST_F(Store, AllIndexesFollow) {
  ASSERT_EQ(store_image(make_record(1)), 0);
  ASSERT_EQ(store_image(make_record(2)), 0);
  for (int type = 0; type < 6; ++type) {
    EXPECT_EQ(read_entries(index_path(store_.directory(), type), type).size(), 2U);
  }
}

TEST_F(Store, ShortImageIsRefused) {
  const ALERT_RECORD_INFO record = make_record(1);
  EXPECT_EQ(store_image(record, 679), -1);
  EXPECT_TRUE(log_.has(kFailures, "the alert data length is wrong"));
  EXPECT_EQ(read_log_numbers(path(kLog)).count, 0U);
}

TEST_F(Store, LongImageCountsUpToItsRecord) {
  std::string bytes(image(make_record(1)), 680);
  bytes += std::string(320, 'x');
  EXPECT_EQ(udp_write_disk(bytes.data(), bytes.size(), 1), 0);
  EXPECT_EQ(stored(0).alert_id, 1U);
}

TEST_F(Store, NoImageIsAnError) {
  EXPECT_EQ(udp_write_disk(nullptr, 680, 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(Store, LogIsOpenedBeforeTheLengthIsChecked) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(store_image(make_record(1), 679), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed"));
  EXPECT_FALSE(log_.has(kFailures, "the alert data length is wrong"));
}

TEST_F(Store, UnstorableAlertIsRefusedWith1) {
  ALERT_RECORD_INFO record = make_record(1);
  set_text(record.szModType, "");
  EXPECT_EQ(store_image(record), 1);
  EXPECT_FALSE(log_.has(kFailures, "write alert record failed"));
  EXPECT_EQ(read_log_numbers(path(kLog)).count, 0U);
}

TEST_F(Store, FailedWriteOfTheRecordIsReported) {
  ASSERT_EQ(store_image(make_record(1)), 0);
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_EQ(store_image(make_record(2)), -1);
  EXPECT_TRUE(log_.has(kFailures, "write alert record failed"));
}

struct MaskCase {
  int changed;
  bool checked;
};
void PrintTo(const MaskCase& row, std::ostream* out) { *out << row.changed; }
class Masks : public Store, public ::testing::WithParamInterface<MaskCase> {};
INSTANTIATE_TEST_SUITE_P(Intake, Masks,
                         ::testing::Values(MaskCase{0, false}, MaskCase{64, false},
                                           MaskCase{128, false}, MaskCase{192, false},
                                           MaskCase{1, true}, MaskCase{255, true},
                                           MaskCase{64 + 1, true}));

TEST_P(Masks, DecideWhetherIndexesAreDeletedBeforeTheStore) {
  write_log(path(kLog), 10, {make_record(1)}, GetParam().changed);
  const std::string wrong = index_text(0, {{"0000", 0, 0}});
  write_file(path("time.idx"), wrong);
  ASSERT_EQ(store_image(make_record(2)), 0);
  const Texts entries = entry_texts(path("time.idx"), 0);
  EXPECT_EQ(entries.front() == "0000:0", !GetParam().checked);
}

TEST_F(Store, FailedIntegrityCheckStoresNothing) {
  write_log(path(kLog), 10, {make_record(1)}, 255);
  std::filesystem::create_directories(path("time.idx") + "/inside");
  EXPECT_EQ(store_image(make_record(2)), -1);
  EXPECT_EQ(read_log_numbers(path(kLog)).count, 1U);
}

TEST_F(Store, FullLogReplacesItsOldest) {
  alt_max_count = 2;
  for (uint32_t id = 1; id <= 3; ++id) ASSERT_EQ(store_image(make_record(id)), 0);
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{3, 2}));
}

}  // namespace
}  // namespace alt_test
