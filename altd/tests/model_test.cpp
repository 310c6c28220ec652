// The operations of the model, with expectations made by hand: a comparison with the model is worth
// what both sides are.
#include <gtest/gtest.h>

#include "model/model_fixture.h"

namespace alt_model {
namespace {

std::vector<uint32_t> ids(const Page& page) {
  std::vector<uint32_t> all;
  for (const Record& record : page.records) all.push_back(record.id);
  return all;
}

// ---- storing ----------------------------------------------------------------------------------

TEST_F(Model, StoreBringsIndexesInStepAndSetsBothMarks) {
  ASSERT_EQ(store(alert(9, "node", "t")), 0);
  EXPECT_EQ(header().changed, 192);
  EXPECT_EQ(header().current_id, 9U);
  EXPECT_EQ(model_.check_is_update(), 1);
  EXPECT_EQ(model_.check_is_update(), 0);
  EXPECT_EQ(header().changed, 128);
}

TEST_F(Model, RemoteStoreIsStampedAndLeavesTheLocalIdAlone) {
  ASSERT_EQ(store(alert(9, "node", "t"), kRemote), 0);
  EXPECT_EQ(header().current_id, 0U);
  ASSERT_EQ(model_.stamped_at(), 332U + 10U);
  model_.set_stamp("2025/05/05 05:05:05.555");
  EXPECT_EQ(read_record(model_.disk.open(kLogName), 0)->write_time, "2025/05/05 05:05:05.555");
}

TEST_F(Model, HighestIdStandsForTheNextLocalId) {
  ASSERT_EQ(store(alert(41, "node", "t")), 0);
  ASSERT_EQ(store(alert(0xFFFFFFFFU, "node", "t")), 0);
  EXPECT_EQ(header().current_id, 42U);
}

TEST_F(Model, UnstorableRecordGivesOneAndWritesNothing) {
  Record record = alert(1, "node", "t");
  record.message = "   ";
  EXPECT_EQ(store(record), 1);
  EXPECT_EQ(model_.disk.open(kLogName)->size(), 332U);
  EXPECT_EQ(model_.store(std::string(kRecordImage, '\0'), 679, kLocal), -1);
}

TEST_F(Model, FullLogReplacesTheOldestByRaiseTime) {
  for (const char* time : {"t2", "t1", "t4", "t3"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  EXPECT_EQ(header().to_write, 1U);
  ASSERT_EQ(store(alert(2, "n", "t5")), 0);
  EXPECT_EQ(keys(kTimeIndex), (Texts{"t2", "t3", "t4", "t5"}));
  EXPECT_EQ(lines(kTimeIndex), (Lines{0, 3, 2, 1}));
  EXPECT_EQ(header().count, 4U);
  EXPECT_EQ(header().to_write, 0U);
  EXPECT_EQ(model_.disk.open("time.idx")->size(), 148U + 4 * 74U);
}

TEST_F(Model, ForeignFirstTimeEntryDeletesTheTimeIndexAloneAndTheNextStoreHeals) {
  for (const char* time : {"t1", "t2", "t3", "t4"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  const File file = model_.disk.open("time.idx");
  const Entry second = read_entry(file, kTimeIndex, 1);
  write_entry(file, kTimeIndex, 1, read_entry(file, kTimeIndex, 0));
  write_entry(file, kTimeIndex, 0, second);
  ASSERT_EQ(store(alert(2, "n", "t5")), 0);
  // Deleted, then built by the look for the next line to write; its bit is written back.
  EXPECT_EQ(header().changed, 193);
  EXPECT_EQ(keys(kTimeIndex), (Texts{"t2", "t3", "t4", "t5"}));
  ASSERT_EQ(store(alert(3, "n", "t6")), 0);
  EXPECT_EQ(header().changed, 192);
}

TEST_F(Model, DuplicateIsFoundByServerAndId) {
  ASSERT_EQ(store(alert(5, "a", "t")), 0);
  EXPECT_EQ(model_.check_duplicate(image_of_record(alert(5, "a", "other"))), 1);
  EXPECT_EQ(model_.check_duplicate(image_of_record(alert(6, "a", "t"))), 0);
  EXPECT_EQ(model_.check_duplicate(image_of_record(alert(5, "b", "t"))), 0);
}

// ---- files ------------------------------------------------------------------------------------

TEST_F(Model, UnfittingLogIsRefusedByAClientAndDeletedByTheDaemon) {
  model_.process.cluster = {"local", "peer1", "peer2"};
  ASSERT_EQ(store(alert(1, "n", "t")), 0);
  model_.disk.open(kLogName)->pop_back();
  EXPECT_EQ(store(alert(2, "n", "t")), -1);
  EXPECT_NE(model_.disk.open(kLogName), nullptr);
  model_.process.daemon = true;
  EXPECT_EQ(store(alert(2, "n", "t")), -1);
  EXPECT_TRUE(model_.disk.contents().empty());
  EXPECT_EQ(model_.process.new_servers, (Texts{"peer1", "peer2"}));
  EXPECT_EQ(model_.process.waiting_for_ids, 1);
}

TEST_F(Model, FirstNewServerIsAddedASecondTime) {
  model_.process.cluster = {"local", "peer1", "peer2"};
  model_.process.daemon = true;
  for (int i = 0; i < 3; ++i) {
    model_.disk.remove(kLogName);
    ASSERT_NE(model_.open_file(kLogName), nullptr);
  }
  EXPECT_EQ(model_.process.new_servers, (Texts{"peer1", "peer2", "peer1"}));
  EXPECT_EQ(model_.process.local_id_wanted, 0);
}

TEST_F(Model, NewLogOfAClientAsksForTheLocalIdAndDropsOldIndexes) {
  model_.disk.create("server.idx");
  ASSERT_NE(model_.open_file(kLogName), nullptr);
  EXPECT_EQ(model_.process.local_id_wanted, 1);
  EXPECT_EQ(model_.disk.open("server.idx"), nullptr);
}

TEST_F(Model, ChangeMaskDeletesWhatItMarksExceptTheValues0And64) {
  ASSERT_EQ(store(alert(1, "n", "t")), 0);
  const auto files_left_with_mask = [&](int mask) {
    StoreModel copy = model_.clone();
    LogHeader changed = header();
    changed.changed = mask;
    write_bytes(copy.disk.open(kLogName), 0, header_lines(changed));
    EXPECT_EQ(copy.check_index_file_status(), 0);
    return copy.disk.contents().size() - 1;
  };
  EXPECT_EQ(files_left_with_mask(255), 0U);
  EXPECT_EQ(files_left_with_mask(0), 6U);
  EXPECT_EQ(files_left_with_mask(64), 6U);
  EXPECT_EQ(files_left_with_mask(192), 6U);
  EXPECT_EQ(files_left_with_mask(3), 4U);
}

TEST_F(Model, EmptyLogIsDeletedWithItsIndexes) {
  ASSERT_EQ(store(alert(1, "n", "t")), 0);
  model_.disk.open(kLogName)->clear();
  EXPECT_EQ(model_.check_is_update(), -1);
  EXPECT_TRUE(model_.disk.contents().empty());
}

// ---- resizing ---------------------------------------------------------------------------------

TEST_F(Model, ShrinkingAFullLogKeepsTheNewestOldestFirst) {
  model_.process.daemon = true;
  uint32_t id = 0;
  for (const char* time : {"t2", "t1", "t4", "t3"}) ASSERT_EQ(store(alert(++id, "local", time)), 0);
  model_.process.max_count = 2;
  ASSERT_EQ(model_.adjust(2), 0);
  EXPECT_EQ(model_.disk.open(kLogName)->size(), 332U + 2 * 684U);
  EXPECT_EQ(read_record(model_.disk.open(kLogName), 0)->server_time, "t3");
  EXPECT_EQ(read_record(model_.disk.open(kLogName), 1)->server_time, "t4");
  EXPECT_EQ(header().max_count, 2U);
  EXPECT_EQ(header().to_write, 0U);
  EXPECT_EQ(header().current_id, 4U);
  EXPECT_EQ(header().changed, 192);
}

TEST_F(Model, GrowingAFullLogContinuesBehindItsLastLine) {
  for (const char* time : {"t1", "t2", "t3", "t4"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  model_.process.max_count = 8;
  ASSERT_EQ(model_.adjust(8), 0);
  EXPECT_EQ(header().to_write, 4U);
  ASSERT_EQ(store(alert(1, "n", "t5")), 0);
  EXPECT_EQ(header().count, 5U);
}

TEST_F(Model, ShrinkingToTheNumberOfRecordsMakesTheLogFull) {
  for (const char* time : {"t3", "t1", "t2"}) ASSERT_EQ(store(alert(1, "n", time)), 0);
  model_.process.max_count = 3;
  ASSERT_EQ(model_.adjust(3), 0);
  EXPECT_EQ(header().to_write, 1U);
  EXPECT_EQ(model_.adjust(0), 0);
  EXPECT_EQ(header().max_count, 3U);
}

// ---- queries ----------------------------------------------------------------------------------

class ModelQueries : public Model {
 protected:
  // Ids 1 to 25 with rising times; servers a, b, a, b ...
  ModelQueries() {
    model_.process.max_count = 100;
    for (uint32_t id = 1; id <= 25; ++id) {
      store(alert(id, id % 2 == 1 ? "a" : "b", "t" + std::to_string(100 + id)));
    }
  }
};

TEST_F(ModelQueries, UnrestrictedSearchPagesTheWholeLogNewestFirst) {
  const Page first = model_.search({}, 10, 0);
  EXPECT_EQ(first.result, 25);
  EXPECT_EQ(ids(first), (Lines{25, 24, 23, 22, 21, 20, 19, 18, 17, 16}));
  const Page last = model_.search({}, 10, 7);
  EXPECT_EQ(last.page, 2);
  EXPECT_EQ(last.size, 5);
  EXPECT_EQ(ids(last), (Lines{5, 4, 3, 2, 1}));
}

TEST_F(ModelQueries, RepeatedSearchComesFromTheKeptResultUntilTheNextStore) {
  Criteria criteria;
  criteria.server = "b";
  EXPECT_FALSE(model_.search(criteria, 5, 0).from_cache);
  EXPECT_EQ(header().changed, 64);
  const Page second = model_.search(criteria, 5, 1);
  EXPECT_TRUE(second.from_cache);
  EXPECT_EQ(ids(second), (Lines{14, 12, 10, 8, 6}));
  store(alert(26, "b", "t126"));
  EXPECT_FALSE(model_.search(criteria, 5, 1).from_cache);
}

TEST_F(ModelQueries, EqualTimesComeInReverseOfTheMostSelectiveIndex) {
  store(alert(30, "c", "t900"));
  store(alert(31, "c", "t900"));
  Criteria criteria;
  criteria.server = "c";
  EXPECT_EQ(ids(model_.search(criteria, 5, 0)), (Lines{31, 30}));
}

TEST_F(ModelQueries, SearchThatFindsNothingSaysSo) {
  Criteria criteria;
  criteria.server = "nobody";
  Page page = model_.search(criteria, 5, 3);
  EXPECT_EQ(page.result, 0);
  EXPECT_EQ(page.size, 0);
  EXPECT_EQ(page.page, -1);
  criteria = {};
  criteria.start = "t5";
  criteria.stop = "t0";
  EXPECT_EQ(model_.search(criteria, 5, 0).result, 0);
}

TEST_F(ModelQueries, PagesByCountAreCountedBackFromTheNewest) {
  const Page page = model_.by_count(12, 5, 9);
  EXPECT_EQ(page.result, 12);
  EXPECT_EQ(page.page, 2);
  EXPECT_EQ(page.size, 2);
  EXPECT_EQ(ids(page), (Lines{15, 14}));
  EXPECT_EQ(ids(model_.by_count(10, 5, 1)), (Lines{20, 19, 18, 17, 16}));
  EXPECT_EQ(ids(model_.last(3)), (Lines{25, 24, 23}));
  EXPECT_EQ(model_.last(99).result, 25);
}

TEST_F(Model, QueriesOfAnEmptyLogFindNothing) {
  const Page page = model_.by_count(5, 5, 1);
  EXPECT_EQ(page.result, 0);
  EXPECT_EQ(page.size, 0);
  EXPECT_EQ(page.page, -1);
  EXPECT_EQ(model_.last(3).result, 0);
  EXPECT_EQ(model_.search({}, 5, 0).page, -1);
}

}  // namespace
}  // namespace alt_model
