// The latest alerts, and paging by count.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";

Numbers down(uint32_t from, uint32_t to) {
  Numbers ids;
  for (uint32_t id = from; id >= to; --id) ids.push_back(id);
  return ids;
}

class Latest : public StoreTest {
 protected:
  // Ids 1 to count, the newest last in time and first in the file.
  void put_count(uint32_t count) {
    std::vector<ALERT_RECORD_INFO> records;
    for (const uint32_t id : down(count, 1)) records.push_back(make_record(id));
    alt_max_count = static_cast<int>(std::max(count, 10U));
    write_log(path(kLog), static_cast<uint32_t>(alt_max_count), records);
  }
  Numbers last(int count) {
    std::vector<ALERT_RECORD_INFO> records(static_cast<size_t>(count));
    result_ = alert_get_last(records.data(), count);
    return ids_of(records, result_);
  }
  Numbers by_count(int total, int size, int page) {
    std::vector<ALERT_RECORD_INFO> records(static_cast<size_t>(size));
    size_ = size;
    page_ = page;
    result_ = get_alert_by_count(total, &size_, &page_, records.data());
    return ids_of(records, result_ > 0 ? size_ : 0);
  }
  static Numbers ids_of(const std::vector<ALERT_RECORD_INFO>& records, int count) {
    Numbers ids;
    for (int i = 0; i < count; ++i) ids.push_back(records[static_cast<size_t>(i)].alert_id);
    return ids;
  }
  // Makes a number column of the time index blank.
  void spoil_time_index() const { write_file_at(path("time.idx"), 148 + 65, std::string(8, ' ')); }
  void spoil_record(size_t line) const {
    write_file_at(path(kLog), 332 + 684 * line + 10, std::string(24, ' '));
  }
  int result_ = 0;
  int size_ = 0;
  int page_ = 0;
};

// ---- the latest ---------------------------------------------------------------------------------

TEST_F(Latest, NewestRecordsComeNewestFirst) {
  put_count(9);
  EXPECT_EQ(last(4), (Numbers{9, 8, 7, 6}));
  EXPECT_TRUE(log_.has(kNotable, "Leave <== alert_get_last(). return 4"));
  EXPECT_TRUE(log_.has_part(kNotable, "ENTER ==> alert_get_last("));
}

TEST_F(Latest, MoreThanTheLogHoldsGivesAll) {
  put_count(3);
  EXPECT_EQ(last(100), (Numbers{3, 2, 1}));
}

TEST_F(Latest, OrderIsThatOfTheTimeIndex) {
  write_log(path(kLog), 10,
            {record_of({1, "a", "t2"}), record_of({2, "a", "t3"}), record_of({3, "a", "t1"})});
  EXPECT_EQ(last(3), (Numbers{2, 1, 3}));
}

TEST_F(Latest, ManyRecordsComeThroughTheSecondArray) {
  log_.set_levels(kFailures | kNotable);
  put_count(2000);
  EXPECT_EQ(last(1500), down(2000, 501));
  log_.set_levels(~0);
}

class AroundTheFixedArray : public Latest, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Latest, AroundTheFixedArray, ::testing::Values(1023, 1024, 1025));

TEST_P(AroundTheFixedArray, NoRecordIsLost) {
  log_.set_levels(kFailures);
  put_count(1030);
  EXPECT_EQ(last(GetParam()), down(1030, 1031U - static_cast<uint32_t>(GetParam())));
  log_.set_levels(~0);
}

TEST_F(Latest, NoneOfALogAreNone) {
  put_count(3);
  EXPECT_TRUE(last(0).empty());
  EXPECT_EQ(result_, 0);
}

TEST_F(Latest, EmptyLogGivesNone) {
  write_log(path(kLog), 10, {});
  last(3);
  EXPECT_EQ(result_, 0);
  EXPECT_TRUE(log_.has(kNotable, "there is no alert records now."));
}

TEST_F(Latest, WrongArgumentsGiveNoneAndAreReported) {
  put_count(3);
  ALERT_RECORD_INFO record;
  EXPECT_EQ(alert_get_last(nullptr, 3), 0);
  EXPECT_EQ(alert_get_last(&record, -1), 0);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

TEST_F(Latest, LeavesTheMarksAlone) {
  put_count(3);
  last(3);
  write_log(path(kLog), 10, {make_record(1)}, 255);
  last(3);
  by_count(3, 1, 0);
  EXPECT_EQ(read_log_numbers(path(kLog)).changed & 192, 192);
}

TEST_F(Latest, LogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  last(3);
  EXPECT_LT(result_, 0);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed"));
}

TEST_F(Latest, TimeIndexThatCannotBeOpenedIsAFailure) {
  put_count(3);
  const Fault fault(Site::kCreate, EACCES);
  last(3);
  EXPECT_LT(result_, 0);
  EXPECT_TRUE(log_.has(kFailures, "open index file(time.idx) failed"));
}

TEST_F(Latest, TimeIndexWithoutAHeaderIsAFailure) {
  put_count(3);
  last(3);
  write_file_at(path("time.idx"), 74 + 13, "?");
  last(3);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header failed"));
}

TEST_F(Latest, EntryThatCannotBeCutIsAFailure) {
  put_count(3);
  last(3);
  spoil_time_index();
  last(3);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record failed"));
}

TEST_F(Latest, EntryThatIsNotWantedIsNotRead) {
  put_count(3);
  last(3);
  spoil_time_index();
  EXPECT_EQ(last(2), (Numbers{3, 2}));
}

TEST_F(Latest, RecordThatCannotBeCutIsAFailure) {
  put_count(3);
  spoil_record(0);
  write_file(path("time.idx"), index_text(0, {{"t", 0, 0}}));
  last(3);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record failed"));
}

// ---- by count -----------------------------------------------------------------------------------

struct CountPage {
  int total;
  int size;
  int page;
  int result;
  int size_after;
  int page_after;
  Numbers ids;
};
void PrintTo(const CountPage& row, std::ostream* out) {
  *out << row.total << ", page " << row.page << " of " << row.size;
}
class CountPages : public Latest, public ::testing::WithParamInterface<CountPage> {};
INSTANTIATE_TEST_SUITE_P(Latest, CountPages,
                         ::testing::Values(CountPage{25, 10, 0, 25, 10, 0, down(100, 91)},
                                           CountPage{25, 10, 1, 25, 10, 1, down(90, 81)},
                                           CountPage{25, 10, 2, 25, 5, 2, down(80, 76)},
                                           CountPage{25, 10, 7, 25, 5, 2, down(80, 76)},
                                           CountPage{30, 10, 2, 30, 10, 2, down(80, 71)},
                                           CountPage{30, 10, 3, 30, 10, 2, down(80, 71)},
                                           CountPage{1000, 60, 0, 100, 60, 0, down(100, 41)},
                                           CountPage{1000, 60, 1, 100, 40, 1, down(40, 1)},
                                           CountPage{1000, 200, 0, 100, 100, 0, down(100, 1)},
                                           CountPage{100, 100, 5, 100, 100, 0, down(100, 1)},
                                           CountPage{1, 1, 0, 1, 1, 0, {100}},
                                           CountPage{3, 1, 2, 3, 1, 2, {98}}));

TEST_P(CountPages, AreCountedBackFromTheNewest) {
  put_count(100);
  const CountPage& row = GetParam();
  EXPECT_EQ(by_count(row.total, row.size, row.page), row.ids);
  EXPECT_EQ(result_, row.result);
  EXPECT_EQ(size_, row.size_after);
  EXPECT_EQ(page_, row.page_after);
  EXPECT_TRUE(log_.texts(kMinor).empty());  // a page past the end is corrected silently
}

TEST_F(Latest, ParametersAndResultOfAPageAreLogged) {
  put_count(3);
  by_count(25, 10, 0);
  EXPECT_TRUE(log_.has(kNotable, "ENTER ==> get_alert_by_count()"));
  EXPECT_TRUE(log_.has_part(kNotable, "parameter: get_alert_by_count(25, 10, 0, 0x"));
  EXPECT_TRUE(log_.has(kNotable, "Leave <== get_alert_by_count(). return 3"));
}

TEST_F(Latest, PageOfAnEmptyLogIsMinus1) {
  write_log(path(kLog), 10, {});
  by_count(25, 10, 0);
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(size_, 0);
  EXPECT_EQ(page_, -1);
  EXPECT_TRUE(log_.has(kNotable, "alert file is empty"));
}

TEST_F(Latest, PageOfALogWithAnEmptyTimeIndexIsMinus1) {
  put_count(3);
  write_file(path("time.idx"), index_text(0, {}));
  by_count(25, 10, 0);
  EXPECT_EQ(result_, 0);
  EXPECT_EQ(size_, 0);
  EXPECT_EQ(page_, -1);
  EXPECT_TRUE(
      log_.has(kFailures, "there is no alert now in time.idx,and not match with alertlog.alt"));
}

TEST_F(Latest, WrongArgumentsOfAPageAreRefused) {
  put_count(3);
  ALERT_RECORD_INFO record;
  int zero = 0;
  int one = 1;
  int negative = -1;
  EXPECT_EQ(get_alert_by_count(1, nullptr, &zero, &record), -1);
  EXPECT_EQ(get_alert_by_count(1, &zero, &zero, &record), -1);
  EXPECT_EQ(get_alert_by_count(1, &one, nullptr, &record), -1);
  EXPECT_EQ(get_alert_by_count(1, &one, &negative, &record), -1);
  EXPECT_EQ(get_alert_by_count(1, &one, &zero, nullptr), -1);
  EXPECT_EQ(get_alert_by_count(-1, &one, &zero, &record), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 6);
}

TEST_F(Latest, PageOfALogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed"));
}

TEST_F(Latest, PageWithoutATimeIndexThatCanBeMadeIsAFailure) {
  put_count(3);
  const Fault fault(Site::kCreate, EACCES);
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(time.idx) failed"));
}

TEST_F(Latest, PageWithADamagedTimeIndexIsAFailure) {
  put_count(3);
  by_count(25, 10, 0);
  spoil_time_index();
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "get alert record line failed, index file: time.idx"));
  write_file_at(path("time.idx"), 74 + 13, "?");
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header failed"));
}

TEST_F(Latest, PageWithARecordThatCannotBeCutIsAFailure) {
  put_count(3);
  by_count(25, 10, 0);
  spoil_record(1);
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(line:1) failure!"));
}

TEST_F(Latest, PageWithoutMemoryIsAFailure) {
  put_count(3);
  by_count(25, 10, 0);
  const ScarceMemory none(0);
  by_count(25, 10, 0);
  EXPECT_EQ(result_, -1);
  EXPECT_TRUE(log_.has(kFailures, "malloc pLine failed"));
}

}  // namespace
}  // namespace alt_test
