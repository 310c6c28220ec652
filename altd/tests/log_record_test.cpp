// Writing and reading single records of the alert log.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "alert_log.h"
#include "support/cluster.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";
constexpr int kLocal = 1;
constexpr int kRemote = 0;
constexpr int kWithIndexes = 1;
constexpr int kWithoutIndexes = 2;

std::string padded(const std::string& text, size_t width) {
  return text + std::string(width - text.size(), ' ');
}

class LogRecord : public StoreTest {
 protected:
  LogRecord() { write_log(path(kLog), static_cast<uint32_t>(alt_max_count), {}); }

  ALERT_FILE_HEADER header() const {
    ALERT_FILE_HEADER header = {};
    EXPECT_EQ(read_alert_header(Opened(path(kLog)), &header), 0);
    return header;
  }
  // Stores at the line that the header names.
  int write(const ALERT_RECORD_INFO& record, int islocal = kLocal, int caller = kWithIndexes) {
    const ALERT_FILE_HEADER now = header();
    return write_at(static_cast<int>(now.nCurToWrite), record, islocal, caller);
  }
  int write_at(int line, const ALERT_RECORD_INFO& record, int islocal = kLocal,
               int caller = kWithIndexes) {
    const Opened log(path(kLog));
    return write_alert_record(log, line, record, header(), islocal, caller);
  }
  ALERT_RECORD_INFO read(int line) {
    ALERT_RECORD_INFO record = {};
    EXPECT_EQ(read_alert_record(Opened(path(kLog)), line, &record), 0);
    return record;
  }
  std::string content() const { return read_file(path(kLog)).value(); }
  LogNumbers numbers() const { return read_log_numbers(path(kLog)); }
  // Ids 1 to count, ids and times counting up.
  void fill(int count) {
    for (int id = 1; id <= count; ++id) ASSERT_EQ(write(make_record(static_cast<uint32_t>(id))), 0);
  }
};

// ---- the line -----------------------------------------------------------------------------------

TEST_F(LogRecord, LineHasItsColumnsLeftAlignedInTheirWidths) {
  ASSERT_EQ(write(make_record(7, "node2", "net", "42", "3", "raised", "text")), 0);
  EXPECT_EQ(first_difference(content().substr(332),
                             padded("7", 10) + padded("2024/01/01 00:00:00.000", 24) +
                                 padded("raised", 24) + padded("node2", 65) + padded("net", 32) +
                                 padded("42", 8) + padded("3", 8) + padded("text", 512) + "\n"),
            "");
}

TEST_F(LogRecord, TenDigitIdTouchesTheWriteTimeAndIsReadBack) {
  ASSERT_EQ(write(make_record(4294967295U)), 0);
  EXPECT_EQ(content().substr(332, 14), "42949672952024");
  EXPECT_EQ(read(0).alert_id, 4294967295U);
  EXPECT_STREQ(read(0).szWriteTime, "2024/01/01 00:00:00.000");
}

TEST_F(LogRecord, FieldsOfFullWidthAreReadBackWhole) {
  const ALERT_RECORD_INFO record =
      make_record(9, std::string(64, 's'), std::string(31, 'm'), "1234567", "7654321",
                  "2024/12/31 23:59:59.999", std::string(511, 't'));
  ASSERT_EQ(write(record), 0);
  EXPECT_EQ(describe(read(0)), describe(record));
}

TEST_F(LogRecord, TrailingBlanksAreCutAndLeadingOnesKept) {
  ASSERT_EQ(write(make_record(1, " node1", "disk ", "1", "1", "t", "abc   ")), 0);
  EXPECT_STREQ(read(0).szServer, " node1");
  EXPECT_STREQ(read(0).szModType, "disk");
  EXPECT_STREQ(read(0).szAlertMessage, "abc");
}

TEST_F(LogRecord, TextWithoutItsEndIsCutAtItsWidth) {
  ALERT_RECORD_INFO record = make_record(1);
  memset(record.szServer, 's', sizeof(record.szServer));
  memset(record.szAlertMessage, 'm', sizeof(record.szAlertMessage));
  ASSERT_EQ(write(record), 0);
  EXPECT_EQ(content().size(), 332U + 684U);
  EXPECT_EQ(std::string(read(0).szServer).find_first_not_of('s'), std::string::npos);
  EXPECT_EQ(std::string(read(0).szAlertMessage).size(), 511U);
}

TEST_F(LogRecord, RecordsAreFoundBehindAWidenedHeader) {
  ASSERT_EQ(write(make_record(123456789)), 0);  // widens the line of the local id
  EXPECT_EQ(numbers().current_alert_id, 123456789U);
  ASSERT_EQ(write_at(0, make_record(1), kRemote, kWithoutIndexes), 0);
  EXPECT_EQ(read(0).alert_id, 1U);
}

// ---- the header after a write -------------------------------------------------------------------

TEST_F(LogRecord, WriteCountsTheRecordAndLeavesOnlyTheTwoMarksSet) {
  ASSERT_EQ(write(make_record(1)), 0);
  EXPECT_EQ(numbers().count, 1U);
  EXPECT_EQ(numbers().to_write, 1U);
  EXPECT_EQ(numbers().changed, 192);
  ASSERT_EQ(write(make_record(2)), 0);
  EXPECT_EQ(numbers().changed, 192);
}

TEST_F(LogRecord, CallersStructuresAreNotChanged) {
  const ALERT_FILE_HEADER given = header();
  const Opened log(path(kLog));
  ASSERT_EQ(write_alert_record(log, 0, make_record(1), given, kLocal, kWithIndexes), 0);
  EXPECT_EQ(given.nCurCount, 0U);
  EXPECT_EQ(given.isChanged, 0);
}

TEST_F(LogRecord, LocalIdBecomesTheCurrentOne) {
  ASSERT_EQ(write(make_record(50), kLocal), 0);
  EXPECT_EQ(numbers().current_alert_id, 50U);
  ASSERT_EQ(write(make_record(20), kLocal), 0);
  EXPECT_EQ(numbers().current_alert_id, 20U);
}

TEST_F(LogRecord, RemoteIdLeavesTheCurrentOne) {
  ASSERT_EQ(write(make_record(50), kLocal), 0);
  ASSERT_EQ(write(make_record(60), kRemote), 0);
  EXPECT_EQ(numbers().current_alert_id, 50U);
}

TEST_F(LogRecord, LargestLocalIdCountsTheCurrentOneUp) {
  ASSERT_EQ(write(make_record(50), kLocal), 0);
  ASSERT_EQ(write(make_record(4294967295U), kLocal), 0);
  EXPECT_EQ(numbers().current_alert_id, 51U);
}

TEST_F(LogRecord, WriteTimeOfALocalRecordIsKept) {
  ASSERT_EQ(write(make_record(1), kLocal), 0);
  EXPECT_STREQ(read(0).szWriteTime, "2024/01/01 00:00:00.000");
}

class NotLocal : public LogRecord, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(LogRecord, NotLocal, ::testing::Values(0, 2, -1));

TEST_P(NotLocal, RecordIsStampedAndItsIdIsNotAdopted) {
  ASSERT_EQ(write(make_record(1), GetParam()), 0);
  EXPECT_STRNE(read(0).szWriteTime, "2024/01/01 00:00:00.000");
  EXPECT_EQ(std::string(read(0).szWriteTime).size(), 23U);
  EXPECT_EQ(numbers().current_alert_id, 0U);
}

class OtherCaller : public LogRecord, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(LogRecord, OtherCaller, ::testing::Values(0, 2));

TEST_P(OtherCaller, LeavesIndexesAndCurrentIdAlone) {
  ASSERT_EQ(write(make_record(9), kLocal, GetParam()), 0);
  EXPECT_EQ(numbers().count, 1U);
  EXPECT_EQ(numbers().changed, 255);
  EXPECT_EQ(numbers().current_alert_id, 0U);
  EXPECT_EQ(list_directory(store_.directory()), Texts{kLog});
}

TEST_F(LogRecord, StoredRecordIsTold) {
  ASSERT_EQ(write(make_record(7, "node2", "net", "42", "3", "raised", "text")), 0);
  EXPECT_TRUE(log_.has(kNotable, "alert record after write to local file "));
  EXPECT_TRUE(log_.has(kNotable, "alert_id = 7,szServer = node2, szServerTime = raised"));
}

// ---- a full log ---------------------------------------------------------------------------------

TEST_F(LogRecord, RecordThatFillsTheLogPointsToTheOldest) {
  write_log(path(kLog), 3, {});
  alt_max_count = 3;
  ASSERT_EQ(write(record_of({1, "a", "t5"})), 0);
  ASSERT_EQ(write(record_of({2, "a", "t1"})), 0);
  ASSERT_EQ(write(record_of({3, "a", "t3"})), 0);
  EXPECT_EQ(numbers().count, 3U);
  EXPECT_EQ(numbers().to_write, 1U);
}

TEST_F(LogRecord, FullLogReplacesTheOldestByRaiseTime) {
  write_log(path(kLog), 3, {});
  alt_max_count = 3;
  const char* times[] = {"t5", "t1", "t3", "t4", "t6"};
  for (uint32_t id = 1; id <= 5; ++id) ASSERT_EQ(write(record_of({id, "a", times[id - 1]})), 0);
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{1, 4, 5}));
  EXPECT_EQ(numbers().count, 3U);
  EXPECT_EQ(numbers().to_write, 1U);  // t4 is the oldest now
  EXPECT_EQ(content().size(), 332U + 3 * 684U);
}

TEST_F(LogRecord, FullLogOf10000RecordsReplacesItsOldest) {
  alt_max_count = 10000;
  std::vector<ALERT_RECORD_INFO> records;
  for (uint32_t id = 1; id <= 9999; ++id) records.push_back(make_record(id));
  write_log(path(kLog), 10000, records);
  log_.set_levels(kFailures);
  for (uint32_t id = 10000; id <= 10001; ++id) store(make_record(id), kLocal);
  EXPECT_EQ(numbers().count, 10000U);
  EXPECT_EQ(numbers().to_write, 1U);
  EXPECT_EQ(content().size(), 332U + 684U * 10000U);
  EXPECT_EQ(read(0).alert_id, 10001U);
  EXPECT_EQ(read(1).alert_id, 2U);
  log_.set_levels(~0);
}

// ---- refusals and failures ----------------------------------------------------------------------

struct WrongLine {
  int line;
  const char* message;
};
void PrintTo(const WrongLine& row, std::ostream* out) { *out << row.line; }
class LineOutside : public LogRecord, public ::testing::WithParamInterface<WrongLine> {};
INSTANTIATE_TEST_SUITE_P(
    LogRecord, LineOutside,
    ::testing::Values(WrongLine{-1, "writing line error!<line = -1,max count = 10000>"},
                      WrongLine{10000, "writing line error!<line = 10000,max count = 10000>"},
                      WrongLine{10001, "writing line error!<line = 10001,max count = 10000>"}));

TEST_P(LineOutside, OfTheCapacityIsRefused) {
  alt_max_count = 10000;
  const std::string before = content();
  EXPECT_EQ(write_at(GetParam().line, make_record(1)), -1);
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
  EXPECT_EQ(content(), before);
}

TEST_F(LogRecord, UnstorableRecordIsRefusedWith1AndNothingIsWritten) {
  const std::string before = content();
  ALERT_RECORD_INFO record = make_record(1);
  set_text(record.szAlertMessage, "  ");
  EXPECT_EQ(write(record), 1);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(list_directory(store_.directory()), Texts{kLog});
}

TEST_F(LogRecord, LineIsCheckedBeforeTheRecord) {
  ALERT_RECORD_INFO record = make_record(1);
  set_text(record.szAlertMessage, "  ");
  EXPECT_EQ(write_at(-1, record), -1);
}

struct WriteFault {
  Site site;
  const char* message;
};
void PrintTo(const WriteFault& fault, std::ostream* out) { *out << fault.message; }
class FirstFault : public LogRecord, public ::testing::WithParamInterface<WriteFault> {};
INSTANTIATE_TEST_SUITE_P(
    LogRecord, FirstFault,
    ::testing::Values(WriteFault{Site::kLockShared, "get alert file header length error"},
                      WriteFault{Site::kWrite, "call write_local_disk failed"},
                      WriteFault{Site::kLockExclusive, "call write_local_disk failed"}));

TEST_P(FirstFault, EndsTheWriteBeforeTheHeader) {
  const ALERT_FILE_HEADER now = header();
  const Opened log(path(kLog));
  {
    const Fault fault(GetParam().site, EIO);
    EXPECT_EQ(write_alert_record(log, 0, make_record(1), now, kLocal, kWithIndexes), -1);
  }
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
  EXPECT_EQ(numbers().count, 0U);
}

TEST_F(LogRecord, WriteThatFailsAnywhereFailsTheStoreAndIsReported) {
  int failed = 0;
  const int faults = for_each_call(
      Site::kWrite, ENOSPC, [&] { write_log(path(kLog), 10, {}); },
      [&] { failed += write(make_record(1), kLocal, kWithoutIndexes) == -1 ? 1 : 0; });
  EXPECT_EQ(failed, faults);
  EXPECT_GE(faults, 2);
  EXPECT_TRUE(log_.has(kFailures, "call write_local_disk failed"));
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
}

TEST_F(LogRecord, UnreadableOldRecordOfAFullLogFailsTheWrite) {
  alt_max_count = 2;
  write_log(path(kLog), 2, {make_record(1), make_record(2)});
  ALERT_FILE_HEADER now = header();
  now.nCurToWrite = 1;
  write_file_at(path(kLog), 332 + 684 + 10, std::string(24, ' '));  // a column that cannot be cut
  const Opened log(path(kLog));
  EXPECT_EQ(write_alert_record(log, 1, make_record(3), now, kLocal, kWithoutIndexes), -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(No. 1) failed"));
}

TEST_F(LogRecord, RecordThatFillsTheLogWithoutATimeIndexFails) {
  write_log(path(kLog), 1, {});
  alt_max_count = 1;
  std::filesystem::create_directory(path("time.idx"));
  EXPECT_EQ(write(make_record(1)), -1);
  EXPECT_TRUE(log_.has(kFailures, "call get_nexto_write failed"));
  EXPECT_EQ(read(0).alert_id, 1U);
}

TEST_F(LogRecord, FailedIndexUpkeepDoesNotFailTheWrite) {
  std::filesystem::create_directories(path("level.idx") + "/inside");
  EXPECT_EQ(write(make_record(1)), 0);
  EXPECT_TRUE(log_.has(kFailures, "modify index file failed"));
  EXPECT_EQ(numbers().count, 1U);
}

TEST_F(LogRecord, UnfinishedWriteOfTheLineLeavesTheHeader) {
  const ALERT_FILE_HEADER now = header();
  const Opened full("/dev/full", O_RDWR);
  EXPECT_EQ(write_alert_record(full, 0, make_record(1), now, kLocal, kWithoutIndexes), -1);
  EXPECT_TRUE(log_.has(kFailures, "write data to disk failed"));
}

// ---- reading ------------------------------------------------------------------------------------

TEST_F(LogRecord, HeaderLengthThatCannotBeFoundFailsTheReading) {
  ALERT_RECORD_INFO record = {};
  EXPECT_EQ(read_alert_record(-1, 0, &record), -1);
  EXPECT_TRUE(log_.has(kFailures, "get alert file header length failed"));
}

TEST_F(LogRecord, UnreadableLineFailsTheReading) {
  write_log(path(kLog), 10, {make_record(1)});
  const Opened log(path(kLog));
  int failed = 0;
  const int faults = for_each_call(
      Site::kRead, EIO, [] {},
      [&] {
        ALERT_RECORD_INFO record = {};
        failed += read_alert_record(log, 0, &record) == -1 ? 1 : 0;
      });
  EXPECT_EQ(failed, faults);
  EXPECT_TRUE(log_.has(kFailures, "get alert file header length failed"));
  EXPECT_TRUE(log_.has(kFailures, "call read_local_disk failed"));
}

struct BlankColumn {
  size_t offset;
  size_t width;
};
void PrintTo(const BlankColumn& column, std::ostream* out) { *out << column.offset; }
class StoredBlankColumn : public LogRecord, public ::testing::WithParamInterface<BlankColumn> {};
INSTANTIATE_TEST_SUITE_P(LogRecord, StoredBlankColumn,
                         ::testing::Values(BlankColumn{10, 24}, BlankColumn{34, 24},
                                           BlankColumn{58, 65}, BlankColumn{123, 32},
                                           BlankColumn{155, 8}, BlankColumn{163, 8},
                                           BlankColumn{171, 512}));

TEST_P(StoredBlankColumn, BehindAPaddedColumnOverflows) {
  fill(1);
  write_file_at(path(kLog), 332 + GetParam().offset, std::string(GetParam().width, ' '));
  ALERT_RECORD_INFO record = {};
  EXPECT_EQ(read_alert_record(Opened(path(kLog)), 0, &record), ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "access overflow!"));
}

TEST_F(LogRecord, BlankColumnBehindAFullColumnIsAnEmptyText) {
  fill(1);
  write_file_at(path(kLog), 332, "1234567890" + std::string(24, ' '));
  const ALERT_RECORD_INFO record = read(0);
  EXPECT_EQ(record.alert_id, 1234567890U);
  EXPECT_STREQ(record.szWriteTime, "");
}

TEST_F(LogRecord, LineOfBlanksOverflows) {
  fill(1);
  write_file_at(path(kLog), 332, std::string(683, ' '));
  ALERT_RECORD_INFO record = {};
  EXPECT_EQ(read_alert_record(Opened(path(kLog)), 0, &record), ALERT_ERR_RECORD_OVERFLOW);
}

}  // namespace
}  // namespace alt_test
