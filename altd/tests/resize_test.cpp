// Giving the log another capacity.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
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
constexpr const char* kWorkFile = "alertlog_tmp.alt";

class Resize : public StoreTest {
 protected:
  // Ids 1 to count in a log of this capacity, raised in the order of their ids.
  void fill(int capacity, uint32_t count) {
    alt_max_count = capacity;
    for (uint32_t id = 1; id <= count; ++id) store(make_record(id));
    log_.clear();
  }
  int resize(int capacity) {
    alt_max_count = capacity;
    return adjust_alert_record(capacity);
  }
  LogNumbers numbers() const { return read_log_numbers(path(kLog)); }
  std::string content() const { return read_file(path(kLog)).value(); }
  size_t entries(int type) const {
    return read_entries(index_path(store_.directory(), type), type).size();
  }
};

TEST_F(Resize, FullLogThatGrowsKeepsItsRecordsAndGoesOnBehindThem) {
  fill(10, 10);
  const std::string records = content().substr(332);
  EXPECT_EQ(resize(20), 0);
  EXPECT_EQ(content().substr(332), records);
  EXPECT_EQ(numbers().max_count, 20U);
  EXPECT_EQ(numbers().count, 10U);
  EXPECT_EQ(numbers().to_write, 10U);
  EXPECT_TRUE(log_.has(kNotable, "adjust log file succeed !!!!!"));
  store(make_record(11));
  EXPECT_EQ(log_ids(path(kLog)).back(), 11U);
  EXPECT_EQ(numbers().count, 11U);
}

TEST_F(Resize, LogThatWasOverwrittenBeforeItGrowsGoesOnBehindItsLastLine) {
  fill(4, 6);
  EXPECT_EQ(resize(8), 0);
  EXPECT_EQ(numbers().to_write, 4U);
  store(make_record(7));
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{5, 6, 3, 4, 7}));
}

TEST_F(Resize, LogThatIsNotFullGrowsInItsHeaderOnly) {
  fill(10, 3);
  EXPECT_EQ(resize(20), 0);
  EXPECT_EQ(numbers().max_count, 20U);
  EXPECT_EQ(numbers().to_write, 3U);
}

TEST_F(Resize, FullLogThatShrinksKeepsTheNewestInTheOrderOfTheirTimes) {
  alt_max_count = 6;
  const char* times[] = {"t5", "t1", "t6", "t2", "t4", "t3"};
  for (uint32_t id = 1; id <= 6; ++id) store(record_of({id, "a", times[id - 1]}));
  EXPECT_EQ(resize(4), 0);
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{6, 5, 1, 3}));  // t3 to t6
  EXPECT_EQ(numbers().max_count, 4U);
  EXPECT_EQ(numbers().count, 4U);
  EXPECT_EQ(numbers().to_write, 0U);
  for (int type = 0; type < 6; ++type) EXPECT_EQ(entries(type), 4U);
  EXPECT_FALSE(file_exists(path(kWorkFile)));
  store(record_of({7, "a", "t7"}));
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{7, 5, 1, 3}));
}

TEST_F(Resize, WriteTimesOutliveShrinking) {
  fill(4, 4);
  ALERT_RECORD_INFO before = {};
  ASSERT_EQ(read_alert_record(Opened(path(kLog)), 3, &before), 0);
  ASSERT_EQ(resize(2), 0);
  ALERT_RECORD_INFO after = {};
  ASSERT_EQ(read_alert_record(Opened(path(kLog)), 1, &after), 0);
  EXPECT_EQ(describe(after), describe(before));
}

TEST_F(Resize, LogOf10000ShrinksTo100) {
  std::vector<ALERT_RECORD_INFO> records;
  for (uint32_t id = 1; id <= 10000; ++id) records.push_back(make_record(id));
  write_log(path(kLog), 10000, records);
  log_.set_levels(kFailures);
  EXPECT_EQ(resize(100), 0);
  const Numbers ids = log_ids(path(kLog));
  ASSERT_EQ(ids.size(), 100U);
  for (uint32_t i = 0; i < 100; ++i) EXPECT_EQ(ids[i], 9901U + i);
  log_.set_levels(~0);
}

TEST_F(Resize, LogWithMoreRecordsThanTheNewCapacityKeepsTheNewest) {
  fill(10, 7);
  EXPECT_EQ(resize(5), 0);
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{3, 4, 5, 6, 7}));
}

TEST_F(Resize, LogWithFewerRecordsThanTheNewCapacityShrinksInItsHeaderOnly) {
  fill(10, 3);
  const std::string records = content().substr(332);
  EXPECT_EQ(resize(5), 0);
  EXPECT_EQ(content().substr(332), records);
  EXPECT_EQ(numbers().max_count, 5U);
  EXPECT_EQ(numbers().to_write, 3U);
}

TEST_F(Resize, LogWithExactlyTheNewCapacityBecomesFull) {
  alt_max_count = 10;
  const char* times[] = {"t3", "t1", "t2"};
  for (uint32_t id = 1; id <= 3; ++id) store(record_of({id, "a", times[id - 1]}));
  EXPECT_EQ(resize(3), 0);
  EXPECT_EQ(numbers().max_count, 3U);
  EXPECT_EQ(numbers().to_write, 1U);
  store(record_of({4, "a", "t4"}));
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{1, 4, 3}));
}

class NoCapacity : public Resize, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Resize, NoCapacity, ::testing::Values(0, -1, INT_MIN));

TEST_P(NoCapacity, ChangesNothing) {
  fill(4, 4);
  const auto before = read_directory(store_.directory());
  EXPECT_EQ(adjust_alert_record(GetParam()), 0);
  EXPECT_EQ(first_difference(read_directory(store_.directory()), before), "");
}

TEST_F(Resize, LocalIdIsTheLargestThatWasKept) {
  const Cluster cluster("a");
  alt_max_count = 4;
  store(record_of({90, "a", "t1"}), 1);
  store(record_of({50, "a", "t2"}), 1);
  store(record_of({40, "a", "t3"}), 1);
  store(record_of({77, "b", "t4"}));
  EXPECT_EQ(resize(3), 0);
  EXPECT_EQ(numbers().current_alert_id, 50U);
}

TEST_F(Resize, LocalIdOfALogWithoutLocalAlertsIs0) {
  const Cluster cluster("a");
  alt_max_count = 3;
  store(record_of({90, "a", "t1"}), 1);
  for (uint32_t id = 1; id <= 2; ++id) store(record_of({id, "b", "t" + std::to_string(1 + id)}));
  EXPECT_EQ(resize(2), 0);
  EXPECT_EQ(numbers().current_alert_id, 0U);
}

TEST_F(Resize, LogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(resize(5), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed"));
}

TEST_F(Resize, HeaderThatCannotBeWrittenIsAFailureWithTheNoticeOfSuccess) {
  fill(10, 3);
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_EQ(resize(20), -1);
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
  EXPECT_TRUE(log_.has(kNotable, "adjust log file succeed !!!!!"));
}

TEST_F(Resize, WorkFileThatCannotBeMadeLeavesTheLog) {
  fill(4, 4);
  const std::string before = content();
  std::filesystem::create_directory(path(kWorkFile));
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert temporary file failed"));
  EXPECT_EQ(content(), before);
}

TEST_F(Resize, TimeIndexThatCannotBeOpenedLeavesTheLog) {
  fill(4, 4);
  const std::string before = content();
  remove_file(path("time.idx"));
  const Fault fault(Site::kCreate, EACCES);
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(time.idx) failed"));
  EXPECT_EQ(content().substr(139), before.substr(139));
  EXPECT_FALSE(file_exists(path(kWorkFile)));
}

TEST_F(Resize, EntryThatCannotBeCutLeavesTheLog) {
  fill(4, 4);
  const std::string before = content();
  write_file_at(path("time.idx"), alt_model::entry_offset(0, 3) + 65, std::string(8, ' '));
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record (No. 3) failed"));
  EXPECT_EQ(content(), before);
  EXPECT_FALSE(file_exists(path(kWorkFile)));
}

TEST_F(Resize, RecordThatCannotBeCutLeavesTheLog) {
  fill(4, 4);
  write_file_at(path(kLog), 332 + 684 * 2 + 10, std::string(24, ' '));
  const std::string before = content();
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(No. 2) failed"));
  EXPECT_EQ(content(), before);
  EXPECT_FALSE(file_exists(path(kWorkFile)));
}

TEST_F(Resize, FailedRenameLeavesTheLog) {
  fill(4, 4);
  const std::string before = content();
  const Fault fault(Site::kRename, EXDEV);
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "Rename alert file failed.18"));
  EXPECT_EQ(content(), before);
  EXPECT_FALSE(file_exists(path(kWorkFile)));
}

TEST_F(Resize, IndexesThatCannotBeRebuiltAreAFailureBehindTheRename) {
  fill(4, 4);
  remove_file(path("level.idx"));
  std::filesystem::create_directories(path("level.idx") + "/inside");
  EXPECT_EQ(resize(2), -1);
  EXPECT_TRUE(log_.has(kFailures, "recreate_index_files error."));
  EXPECT_EQ(log_ids(path(kLog)), (Numbers{3, 4}));
}

TEST_F(Resize, FailedWritesBeforeTheRenameLeaveTheLogAndNoWorkFile) {
  alt_max_count = 4;
  std::vector<ALERT_RECORD_INFO> records;
  for (uint32_t id = 1; id <= 4; ++id) records.push_back(make_record(id));
  write_log(path(kLog), 4, records);
  const std::string before = content();
  const auto put_back = [&] {
    alt_max_count = 4;
    write_log(path(kLog), 4, records);
    recreate_index_files();
  };
  for_each_call(Site::kWrite, ENOSPC, put_back, [&] {
    const int result = resize(2);
    EXPECT_FALSE(file_exists(path(kWorkFile)));
    const Numbers ids = log_ids(path(kLog));
    EXPECT_TRUE(ids == (Numbers{3, 4}) || (result == -1 && ids == (Numbers{1, 2, 3, 4})));
  });
  EXPECT_TRUE(log_.has(kFailures, "write alert header failed"));
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
  EXPECT_TRUE(log_.has_part(kFailures, "write alert record into tmp file (No. "));
}

TEST(QuickCompare, SortsIntsUp) {
  int numbers[] = {5, -3, 9, 0, 5};
  qsort(numbers, 5, sizeof(int), quick_compare);
  EXPECT_EQ(std::vector<int>(numbers, numbers + 5), (std::vector<int>{-3, 0, 5, 5, 9}));
}

TEST(QuickCompare, ReturnsThePlainDifference) {
  const int seven = 7;
  const int two = 2;
  EXPECT_EQ(quick_compare(&seven, &two), 5);
  EXPECT_EQ(quick_compare(&two, &seven), -5);
  EXPECT_EQ(quick_compare(&two, &two), 0);
}

}  // namespace
}  // namespace alt_test
