// Headers and entries of the index files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

using alt_model::kIndexNames;

constexpr size_t kHeader = 148;

std::string padded(const std::string& text, size_t width) {
  return text + std::string(width - text.size(), ' ');
}

INDEX_RECORD_INFO entry_of(const std::string& key, unsigned line, unsigned id = 0) {
  INDEX_RECORD_INFO entry = {};
  set_text(entry.szKeyVal, key);
  entry.nLine = line;
  entry.alert_id = id;
  return entry;
}

class IndexFormat : public StoreTest {
 protected:
  std::string file() const { return path("server.idx"); }
  std::string content() const { return read_file(file()).value(); }
  void put(const std::string& text) const { write_file(file(), text); }
  // The result of reading the header of a file with these two lines.
  int read_lines(const std::string& first, const std::string& second) {
    put(padded(first, 73) + "\n" + padded(second, 73) + "\n");
    header_ = {};
    return read_index_header(Opened(file()), &header_);
  }
  INDEX_HEADER header_ = {};
};

// ---- header -------------------------------------------------------------------------------------

class HeaderName : public IndexFormat, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(IndexFormat, HeaderName, ::testing::Range(0, 6));

TEST_P(HeaderName, IsTheFileNameWithoutItsExtension) {
  const std::string name = idx_name[GetParam()];
  EXPECT_EQ(name, kIndexNames[GetParam()]);
  header_.nCurCount = 9;
  init_index_header(&header_, name.c_str());
  EXPECT_EQ(header_.nCurCount, 0U);
  EXPECT_EQ(std::string(header_.idxname) + ".idx", name);
}

TEST_F(IndexFormat, WholeHeaderIsTwoPaddedLines) {
  put("");
  init_index_header(&header_, "server.idx");
  header_.nCurCount = 12;
  EXPECT_EQ(write_index_header(Opened(file()), header_, 0), 0);
  EXPECT_EQ(content(),
            padded("Index field:server", 73) + "\n" + padded("Current count:12", 73) + "\n");
}

TEST_F(IndexFormat, OtherTypesWriteTheCountLineOnly) {
  for (const int type : {1, 2, -1}) {
    put(std::string(200, 'x'));
    header_.nCurCount = 4294967;
    EXPECT_EQ(write_index_header(Opened(file()), header_, type), 0);
    EXPECT_EQ(content(), std::string(74, 'x') + padded("Current count:4294967", 73) + "\n" +
                             std::string(52, 'x'));
  }
}

TEST_F(IndexFormat, FailedWriteOfTheHeaderIsReported) {
  EXPECT_EQ(write_index_header(Opened("/dev/full", O_RDWR), header_, 0), -1);
  EXPECT_TRUE(log_.has(kFailures, "call write_local_disk failed"));
}

TEST_F(IndexFormat, WrittenHeaderIsReadBack) {
  put(index_text(1, {{"a", 0}, {"b", 1}}));
  EXPECT_EQ(read_index_header(Opened(file()), &header_), 0);
  EXPECT_EQ(header_.nCurCount, 2U);
  EXPECT_STREQ(header_.idxname, "server");
}

TEST_F(IndexFormat, EmptyIndexHas148BytesAndCount0) {
  EXPECT_EQ(read_lines("Index field:server", "Current count:0"), 0);
  EXPECT_EQ(content().size(), kHeader);
  EXPECT_EQ(header_.nCurCount, 0U);
}

TEST_F(IndexFormat, NameAndCountAreNotCompared) {
  EXPECT_EQ(read_lines("Index field:other", "Current count:77"), 0);
  EXPECT_EQ(header_.nCurCount, 77U);
  EXPECT_STREQ(header_.idxname, "other");
}

TEST_F(IndexFormat, ShortFileIsDestroyedWithAllIndexes) {
  write_log(path("alertlog.alt"), 10, {});
  for (const size_t size : {size_t{0}, size_t{1}, size_t{147}}) {
    for (const char* name : kIndexNames) write_file(path(name), "old");
    put(index_text(1, {}).substr(0, size));
    const Opened index(file());
    EXPECT_EQ(read_index_header(index, &header_), -1);
    EXPECT_FALSE(index.is_open());
    EXPECT_EQ(list_directory(store_.directory()), Texts{"alertlog.alt"});
  }
  EXPECT_EQ(log_.count(kFailures,
                       "error for file was empty or file was destroyed. the bad file will be "
                       "deleted."),
            3);
}

TEST_F(IndexFormat, HeaderIntoNothingIsAnError) {
  put(index_text(1, {}));
  EXPECT_EQ(read_index_header(Opened(file()), nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(IndexFormat, HeaderFromAClosedDescriptorFails) {
  EXPECT_EQ(read_index_header(-1, &header_), -1);
  EXPECT_TRUE(log_.has(kFailures, "fstat failed: 9"));
}

TEST_F(IndexFormat, UnreadableHeaderIsReported) {
  put(index_text(1, {}));
  const Opened index(file());
  const Fault fault(Site::kRead, EIO);
  EXPECT_EQ(read_index_header(index, &header_), -1);
  EXPECT_TRUE(log_.has(kFailures, "call read_local_disk failed"));
}

struct BadHeader {
  const char* first;
  const char* second;
  const char* message;  // a part of it
};
void PrintTo(const BadHeader& row, std::ostream* out) { *out << row.first << "|" << row.second; }
class BadHeaders : public IndexFormat, public ::testing::WithParamInterface<BadHeader> {};
INSTANTIATE_TEST_SUITE_P(
    IndexFormat, BadHeaders,
    ::testing::Values(BadHeader{"Index field server", "Current count:0", "header"},
                      BadHeader{"Index field:server", "Current count 0",
                                " read index header with char (:) failed"},
                      BadHeader{"", "Current count:0", ""}, BadHeader{"Index field:server", "", ""},
                      BadHeader{"Index field:1234567890123456789012345", "Current count:0",
                                "format of index header is error"},
                      BadHeader{"Index field:server", "Current count:0000000000000000000000001",
                                "format of index header is error"}));

TEST_P(BadHeaders, AreFormatErrors) {
  EXPECT_EQ(read_lines(GetParam().first, GetParam().second), ALERT_ERR_HEADER_FORMAT);
  EXPECT_TRUE(log_.has_part(kFailures, GetParam().message));
  EXPECT_TRUE(file_exists(file()));
}

TEST_F(IndexFormat, ValueOf24CharactersIsAccepted) {
  EXPECT_EQ(read_lines("Index field:server", "Current count:000000000000000000000007"), 0);
  EXPECT_EQ(header_.nCurCount, 7U);
}

TEST_F(IndexFormat, HeaderWithoutLineEndsIsAFormatError) {
  std::string text = index_text(1, {});
  std::replace(text.begin(), text.end(), '\n', ' ');
  put(text);
  EXPECT_EQ(read_index_header(Opened(file()), &header_), ALERT_ERR_HEADER_FORMAT);
  EXPECT_TRUE(log_.has_part(kFailures, " read index header with char ("));
  EXPECT_TRUE(log_.has_part(kFailures, ")  failed"));
}

TEST_F(IndexFormat, HeaderFunctionsTraceAndEntryFunctionsDoNot) {
  put("");
  const Opened index(file());
  ASSERT_EQ(write_index_header(index, header_, 0), 0);
  EXPECT_TRUE(log_.has(kTrace, "Enter function: write_index_header"));
  EXPECT_TRUE(log_.has(kTrace, "Leave function: write_index_header"));
  ASSERT_EQ(read_index_header(index, &header_), 0);
  EXPECT_TRUE(log_.has(kTrace, "Enter function: read_index_header"));
  EXPECT_TRUE(log_.has(kTrace, "Leave function: read_index_header"));
  INDEX_RECORD_INFO entry = {};
  ASSERT_EQ(write_index_record(index, 0, entry_of("a", 1)), 0);
  ASSERT_EQ(read_index_record(index, 0, &entry), 0);
  EXPECT_FALSE(log_.has_part(kTrace, "index_record"));
}

// ---- short entries ------------------------------------------------------------------------------

TEST_F(IndexFormat, ShortEntryIsWrittenAtItsSlot) {
  put(index_text(1, {{"a", 0}, {"b", 1}}));
  EXPECT_EQ(write_index_record(Opened(file()), 1, entry_of("node1", 42)), 0);
  EXPECT_EQ(content().substr(kHeader + 74), padded("node1", 65) + padded("42", 8) + "\n");
  EXPECT_EQ(content().substr(0, kHeader + 74), index_text(1, {{"a", 0}, {"b", 1}}).substr(0, 222));
}

TEST_F(IndexFormat, ShortEntryIsReadBackAndTheIdIsLeftAlone) {
  put(index_text(1, {{"a", 0}, {std::string(64, 'k'), 99999999}}));
  INDEX_RECORD_INFO entry = entry_of("old", 1, 4711);
  EXPECT_EQ(read_index_record(Opened(file()), 1, &entry), 0);
  EXPECT_EQ(entry.szKeyVal, std::string(64, 'k'));
  EXPECT_EQ(entry.nLine, 99999999U);
  EXPECT_EQ(entry.alert_id, 4711U);
}

TEST_F(IndexFormat, SlotBehindTheLastIsAnEmptyKeyAndLine0) {
  put(index_text(1, {{"a", 5}}));
  INDEX_RECORD_INFO entry = entry_of("old", 9);
  EXPECT_EQ(read_index_record(Opened(file()), 1, &entry), 0);
  EXPECT_STREQ(entry.szKeyVal, "");
  EXPECT_EQ(entry.nLine, 0U);
}

TEST_F(IndexFormat, BlankKeyIsReadAsAnEmptyText) {
  put(index_text(1, {{"", 5}}));
  INDEX_RECORD_INFO entry = entry_of("old", 9);
  EXPECT_EQ(read_index_record(Opened(file()), 0, &entry), 0);
  EXPECT_STREQ(entry.szKeyVal, "");
  EXPECT_EQ(entry.nLine, 5U);
}

TEST_F(IndexFormat, BlankLineNumberOverflows) {
  put(index_text(1, {{"a", 5}}));
  write_file_at(file(), kHeader + 65, std::string(8, ' '));
  INDEX_RECORD_INFO entry = {};
  EXPECT_EQ(read_index_record(Opened(file()), 0, &entry), ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "access overflow!"));
}

// ---- long entries -------------------------------------------------------------------------------

TEST_F(IndexFormat, LongEntryIsWrittenAtItsSlot) {
  put(index_text(5, {{"a", 0, 1}}));
  EXPECT_EQ(write_index_srv_id_record(Opened(file()), 1, entry_of("node1", 42, 4294967295U)), 0);
  EXPECT_EQ(content().substr(kHeader + 84),
            padded("node1", 65) + "4294967295" + padded("42", 8) + "\n");
  EXPECT_TRUE(log_.has_part(kDump, "Write alert id: Line=42,Alert_id="));
}

TEST_F(IndexFormat, LongEntryIsReadBackWhole) {
  put(index_text(5, {{"a", 0, 1}, {std::string(64, 'k'), 99999999, 4294967295U}}));
  INDEX_RECORD_INFO entry = {};
  EXPECT_EQ(read_index_srv_id_record(Opened(file()), 1, &entry), 0);
  EXPECT_EQ(entry.szKeyVal, std::string(64, 'k'));
  EXPECT_EQ(entry.nLine, 99999999U);
  EXPECT_EQ(entry.alert_id, 4294967295U);
}

TEST_F(IndexFormat, ReadingALongEntryLogsWhatStoodThereBefore) {
  put(index_text(5, {{"a", 7, 8}}));
  INDEX_RECORD_INFO entry = entry_of("old", 3, 4);
  EXPECT_EQ(read_index_srv_id_record(Opened(file()), 0, &entry), 0);
  EXPECT_TRUE(log_.has(kDump, "Read alert id: Line=3,Alert_id=4"));
}

struct BlankNumber {
  size_t offset;
  size_t width;
};
void PrintTo(const BlankNumber& row, std::ostream* out) { *out << row.offset; }
class BlankNumbers : public IndexFormat, public ::testing::WithParamInterface<BlankNumber> {};
INSTANTIATE_TEST_SUITE_P(IndexFormat, BlankNumbers,
                         ::testing::Values(BlankNumber{65, 10}, BlankNumber{75, 8}));

TEST_P(BlankNumbers, OfALongEntryOverflow) {
  put(index_text(5, {{"a", 7, 8}}));
  write_file_at(file(), kHeader + GetParam().offset, std::string(GetParam().width, ' '));
  INDEX_RECORD_INFO entry = {};
  EXPECT_EQ(read_index_srv_id_record(Opened(file()), 0, &entry), ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "access overflow!"));
}

// ---- failures of both forms ---------------------------------------------------------------------

using ReadEntry = int (*)(int, int, LPINDEX_RECORD_INFO);
using WriteEntry = int (*)(int, int, INDEX_RECORD_INFO);

TEST_F(IndexFormat, EntryIntoNothingIsAnError) {
  put(index_text(1, {}));
  for (const ReadEntry read : {read_index_record, read_index_srv_id_record}) {
    EXPECT_EQ(read(Opened(file()), 0, nullptr), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

TEST_F(IndexFormat, UnreadableEntryIsReported) {
  put(index_text(1, {{"a", 0}}));
  const Opened index(file());
  const Fault fault(Site::kRead, EIO);
  for (const ReadEntry read : {read_index_record, read_index_srv_id_record}) {
    INDEX_RECORD_INFO entry = {};
    EXPECT_EQ(read(index, 0, &entry), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "call read_local_disk failed"), 2);
}

TEST_F(IndexFormat, EntryIntoAPipeCannotBeSought) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Opened reading(ends[0]);
  const Opened writing(ends[1]);
  for (const WriteEntry write : {write_index_record, write_index_srv_id_record}) {
    EXPECT_EQ(write(writing, 0, entry_of("a", 0)), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "lseek failed: 29"), 2);
}

TEST_F(IndexFormat, FailedWriteOfAnEntryIsReported) {
  for (const WriteEntry write : {write_index_record, write_index_srv_id_record}) {
    EXPECT_EQ(write(Opened("/dev/full", O_RDWR), 0, entry_of("a", 0)), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "call write_local_disk failed"), 2);
}

}  // namespace
}  // namespace alt_test
