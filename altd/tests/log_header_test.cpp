// The header of the alert log: its text, its length, and what is read from it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";

ALERT_FILE_HEADER header_of(uint32_t max, uint32_t count, uint32_t to_write, int changed,
                            uint32_t id) {
  ALERT_FILE_HEADER header = {};
  init_header_data(&header);
  prepare_header_field(&header);
  header.nMaxCount = max;
  header.nCurCount = count;
  header.nCurToWrite = to_write;
  header.isChanged = changed;
  header.current_alert_id = id;
  return header;
}

class LogHeader : public StoreTest {
 protected:
  // A log file with this content.
  void put(const std::string& content) const { write_file(path(kLog), content); }
  std::string content() const { return read_file(path(kLog)).value(); }
  int length_of(const std::string& text) const {
    put(text);
    return get_header_length(Opened(path(kLog)));
  }
};

// ---- a new header -------------------------------------------------------------------------------

TEST_F(LogHeader, NewHeaderHasTheCapacityOfTheSettingAndNoRecords) {
  alt_max_count = 4711;
  ALERT_FILE_HEADER header;
  memset(&header, 0x55, sizeof(header));
  init_header_data(&header);
  EXPECT_EQ(header.nMaxCount, 4711U);
  EXPECT_EQ(header.nCurCount, 0U);
  EXPECT_EQ(header.nCurToWrite, 0U);
  EXPECT_EQ(header.nMaxRecordSize, 683U);
  EXPECT_EQ(header.isChanged, 0);
  EXPECT_EQ(header.current_alert_id, 0U);
  EXPECT_EQ(header.alertField[3].nFieldLen, 0x55555555);
}

TEST_F(LogHeader, ColumnsHaveTheirTitlesAndWidths) {
  ALERT_FILE_HEADER header = {};
  prepare_header_field(&header);
  Texts columns;
  for (const ALERT_FIELD_INFO& field : header.alertField) {
    columns.push_back(std::string(field.szFieldName) + ":" + std::to_string(field.nFieldLen));
    EXPECT_EQ(field.nFieldType, 0);
    EXPECT_EQ(field.bIndex, 0);
  }
  EXPECT_EQ(columns, (Texts{"AlertID:10", "Write Time:24", "Date & Time:24", "Server:65",
                            "Module:32", "EventId:8", "Level:8", "Alert Message:512"}));
}

TEST_F(LogHeader, ExportedColumnTablesMatchTheHeader) {
  ALERT_FILE_HEADER header = {};
  prepare_header_field(&header);
  for (int i = 0; i < ALERT_FIELD_COUNT; ++i) {
    EXPECT_STREQ(record_field_name[i], header.alertField[i].szFieldName);
    EXPECT_EQ(record_field_lenth[i], header.alertField[i].nFieldLen);
  }
}

// ---- writing ------------------------------------------------------------------------------------

TEST_F(LogHeader, WholeHeaderIsWrittenByType0) {
  put("");
  const Opened log(path(kLog));
  EXPECT_EQ(write_alert_header(log, header_of(10, 3, 4, 255, 77), 0), 0);
  EXPECT_EQ(first_difference(content(),
                             "Max count:      10\nCurrent count:       3\n"
                             "Current to write:       4\nMax record size:     683\n"
                             "Is changed:     255\nCurrent alert Id:      77\n"
                             "AlertID   Write Time              Date & Time             Server" +
                                 std::string(59, ' ') + "Module" + std::string(26, ' ') +
                                 "EventId Level   Alert Message       \n\n"),
            "");
}

TEST_F(LogHeader, OtherTypesRewriteTheNumbersInPlace) {
  for (const int type : {1, 2, -1}) {
    put(std::string(400, 'x'));
    EXPECT_EQ(write_alert_header(Opened(path(kLog)), header_of(10, 3, 4, 255, 77), type), 0);
    EXPECT_EQ(content().substr(0, 29), "Max count:      10\nCurrent co");
    EXPECT_EQ(content().substr(113), "Current alert Id:      77\n" + std::string(261, 'x'));
  }
}

TEST_F(LogHeader, NumbersArePrintedSigned) {
  put("");
  ASSERT_EQ(write_alert_header(Opened(path(kLog)), header_of(1, 1, 1, 0, 4294967295U), 1), 0);
  EXPECT_EQ(content().substr(113), "Current alert Id:      -1\n");
}

TEST_F(LogHeader, NumberOfNineDigitsWidensItsLine) {
  put("");
  ASSERT_EQ(write_alert_header(Opened(path(kLog)), header_of(123456789, 0, 0, 0, 0), 0), 0);
  EXPECT_EQ(content().substr(0, 34), "Max count:123456789\nCurrent count:");
  EXPECT_EQ(get_header_length(Opened(path(kLog))), 333);
}

TEST_F(LogHeader, FailedWriteOfTheHeaderIsReported) {
  const Opened full("/dev/full", O_RDWR);
  EXPECT_EQ(write_alert_header(full, header_of(1, 1, 1, 0, 1), 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "call write_local_disk failed"));
}

// ---- length -------------------------------------------------------------------------------------

TEST_F(LogHeader, LengthEndsBehindTheFirstEmptyLine) {
  EXPECT_EQ(length_of("a\nbc\n\nrecords\n\n"), 6);
}

TEST_F(LogHeader, LengthOfAFileThatStartsWithALineEndIs1) { EXPECT_EQ(length_of("\nabc\n\n"), 1); }

TEST_F(LogHeader, WithoutAnEmptyLineTheLengthIsOneMoreThanWasRead) {
  EXPECT_EQ(length_of("abc\ndef\n"), 9);
  EXPECT_EQ(length_of(""), 1);
}

TEST_F(LogHeader, EmptyLineBehind1024BytesIsNotFound) {
  EXPECT_EQ(length_of(std::string(1023, 'x') + "\n\n"), 1025);
  EXPECT_EQ(length_of(std::string(1022, 'x') + "\n\n"), 1024);
}

TEST_F(LogHeader, LengthOfAPipeCannotBeSought) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Opened reading(ends[0]);
  const Opened writing(ends[1]);
  EXPECT_EQ(get_header_length(reading), -1);
  EXPECT_TRUE(log_.has(kFailures, "lseek failed: 29"));
}

struct LengthFault {
  Site site;
  const char* message;
};
void PrintTo(const LengthFault& fault, std::ostream* out) { *out << fault.message; }
class HeaderLengthFaults : public StoreTest, public ::testing::WithParamInterface<LengthFault> {};
INSTANTIATE_TEST_SUITE_P(LogHeader, HeaderLengthFaults,
                         ::testing::Values(LengthFault{Site::kSeek, "lseek failed: 5"},
                                           LengthFault{Site::kLockShared, "lock file failed: 5"},
                                           LengthFault{Site::kRead, "read data failed"},
                                           LengthFault{Site::kUnlock, "unlock file failed: 5"}));

TEST_P(HeaderLengthFaults, AreReported) {
  write_log(path(kLog), 10, {});
  const Opened log(path(kLog));
  const Fault fault(GetParam().site, EIO);
  EXPECT_EQ(get_header_length(log), -1);
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
}

TEST_F(LogHeader, LockIsGivenBackWhenTheLengthCannotBeRead) {
  write_log(path(kLog), 10, {});
  const Opened log(path(kLog));
  const Fault fault(Site::kRead, EIO);
  int unlocks = 0;
  const Interception watch(Site::kUnlock, [&](size_t) {
    ++unlocks;
    return kPass;
  });
  EXPECT_EQ(get_header_length(log), -1);
  EXPECT_EQ(unlocks, 1);
}

// ---- reading ------------------------------------------------------------------------------------

TEST_F(LogHeader, WrittenHeaderIsReadBackWithoutItsColumns) {
  put("");
  const Opened log(path(kLog));
  ASSERT_EQ(write_alert_header(log, header_of(10, 3, 4, 192, 4294967295U), 0), 0);
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(log, &header), 0);
  EXPECT_EQ(header.nMaxCount, 10U);
  EXPECT_EQ(header.nCurCount, 3U);
  EXPECT_EQ(header.nCurToWrite, 4U);
  EXPECT_EQ(header.nMaxRecordSize, 683U);
  EXPECT_EQ(header.isChanged, 192);
  EXPECT_EQ(header.current_alert_id, 4294967295U);
  EXPECT_STREQ(header.alertField[0].szFieldName, "");
}

TEST_F(LogHeader, NamesOfTheNumbersAreNotExamined) {
  put("a:1\nb: 2\nc:   3\n:4\ne:-5\nf:6\n");
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(Opened(path(kLog)), &header), 0);
  EXPECT_EQ(header.nMaxCount, 1U);
  EXPECT_EQ(header.nCurCount, 2U);
  EXPECT_EQ(header.nCurToWrite, 3U);
  EXPECT_EQ(header.nMaxRecordSize, 4U);
  EXPECT_EQ(header.isChanged, -5);
  EXPECT_EQ(header.current_alert_id, 6U);
}

TEST_F(LogHeader, ReadingIntoNothingIsAnError) {
  put("");
  const Opened log(path(kLog));
  EXPECT_EQ(read_alert_header(log, nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
  EXPECT_TRUE(log.is_open());
}

TEST_F(LogHeader, ReadingFromAClosedDescriptorFails) {
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(-1, &header), -1);
  EXPECT_TRUE(log_.has(kFailures, "fstat failed: 9"));
}

TEST_F(LogHeader, EmptyLogIsJudgedDestroyed) {
  put("");
  write_file(path("time.idx"), "index");
  const Opened log(path(kLog));
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(log, &header), -1);
  EXPECT_TRUE(log_.has(kFailures,
                       "error for file was empty or file was destroyed. the bad file will be "
                       "deleted."));
  EXPECT_FALSE(log.is_open());
  EXPECT_TRUE(list_directory(store_.directory()).empty());
}

TEST_F(LogHeader, UnreadableHeaderIsReported) {
  write_log(path(kLog), 10, {});
  const Opened log(path(kLog));
  const Fault fault(Site::kRead, EIO);
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(log, &header), -1);
  EXPECT_TRUE(log_.has(kFailures, "call read_local_disk failed"));
}

class DamagedHeaderLine : public StoreTest, public ::testing::WithParamInterface<int> {
 protected:
  // Six lines of equal length.
  static constexpr size_t kLine = 8;
  std::string header_ = "name:10\nname:10\nname:10\nname:10\nname:10\nname:10\n";
};
INSTANTIATE_TEST_SUITE_P(LogHeader, DamagedHeaderLine, ::testing::Range(0, 6));

TEST_P(DamagedHeaderLine, WithoutItsColonIsAFormatError) {
  header_[kLine * static_cast<size_t>(GetParam()) + 4] = ' ';
  write_file(path(kLog), header_);
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(Opened(path(kLog)), &header), ALERT_ERR_HEADER_FORMAT);
  EXPECT_TRUE(log_.has(kFailures, " read alert header with char (:) failed"));
}

TEST_P(DamagedHeaderLine, WithoutItsEndIsAFormatError) {
  write_file(path(kLog), header_.substr(0, kLine * static_cast<size_t>(GetParam()) + 7));
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(Opened(path(kLog)), &header), ALERT_ERR_HEADER_FORMAT);
}

TEST_F(LogHeader, LineWithoutItsEndIsReportedLiterally) {
  put("name:10");
  ALERT_FILE_HEADER header = {};
  EXPECT_EQ(read_alert_header(Opened(path(kLog)), &header), ALERT_ERR_HEADER_FORMAT);
  EXPECT_TRUE(log_.has(kFailures, " read alert header with char (\n) failed"));
}

TEST(FormatErrors, HaveTheirDocumentedValues) {
  EXPECT_EQ(ALERT_ERR_HEADER_FORMAT, -8323067);
  EXPECT_EQ(ALERT_ERR_RECORD_OVERFLOW, -8323066);
}

}  // namespace
}  // namespace alt_test
