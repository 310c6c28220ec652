// Searching the alert log page by page.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

using alt_model::kIndexNames;

constexpr const char* kLog = "alertlog.alt";

struct Criteria {
  std::string start = "";
  std::string stop = "";
  std::string server = "";
  std::string module = "";
  std::string event = "";
  std::string level = "";
  std::string sort = "";
};

ALERT_SEARCH_INFO info_of(const Criteria& criteria) {
  ALERT_SEARCH_INFO info = {};
  set_text(info.startTime, criteria.start);
  set_text(info.stopTime, criteria.stop);
  set_text(info.szServer, criteria.server);
  set_text(info.szModule, criteria.module);
  set_text(info.szEventId, criteria.event);
  set_text(info.szLevel, criteria.level);
  set_text(info.szSort, criteria.sort);
  return info;
}

struct Found {
  int result;
  int size;
  int page;
  Numbers ids;

  bool operator==(const Found&) const = default;
};
void PrintTo(const Found& found, std::ostream* out) {
  *out << found.result << " found, page " << found.page << " of " << found.size << ":";
  for (const uint32_t id : found.ids) *out << " " << id;
}

class Search : public StoreTest {
 protected:
  Found search(const Criteria& criteria, int size = 100, int page = 0) {
    std::vector<ALERT_RECORD_INFO> records(static_cast<size_t>(size));
    Found found = {0, size, page, {}};
    found.result = alert_search(info_of(criteria), &found.size, &found.page, records.data());
    for (int i = 0; found.result > 0 && i < found.size; ++i) {
      found.ids.push_back(records[static_cast<size_t>(i)].alert_id);
    }
    return found;
  }
  Numbers ids(const Criteria& criteria) { return search(criteria).ids; }
  void put_log(const std::vector<Alert>& alerts, int changed = 255) {
    std::vector<ALERT_RECORD_INFO> records;
    for (const Alert& alert : alerts) records.push_back(record_of(alert));
    alt_max_count = std::max(alt_max_count, static_cast<int>(records.size()));
    write_log(path(kLog), static_cast<uint32_t>(alt_max_count), records, changed);
  }
  // Ids 1 to count, times counting up.
  void put_count(int count) {
    std::vector<Alert> alerts;
    for (int id = 1; id <= count; ++id) {
      alerts.push_back({static_cast<uint32_t>(id), id % 2 == 1 ? "odd" : "even",
                        "t" + std::to_string(1000 + id)});
    }
    put_log(alerts);
  }
  bool cache_was_used() const {
    return log_.has(kNotable, "search condition not changed") &&
           log_.has(kNotable, "alert file  not changed");
  }
  int changed() const { return read_log_numbers(path(kLog)).changed; }
};

const std::vector<Alert> kMixed = {
    {1, "a", "t1", "disk", "9", "1"}, {2, "b", "t2", "net", "10", "2"},
    {3, "a", "t3", "net", "9", "2"},  {4, "c", "t4", "cpu", "100", "3"},
    {5, "a", "t5", "net", "9", "2"},  {6, "b", "t6", "disk", "10", "1"}};

// ---- criteria -----------------------------------------------------------------------------------

struct Case {
  const char* name;
  Criteria criteria;
  Numbers ids;
};
void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }
class Criterion : public Search, public ::testing::WithParamInterface<Case> {};
INSTANTIATE_TEST_SUITE_P(
    Search, Criterion,
    ::testing::Values(
        Case{"none", {}, {6, 5, 4, 3, 2, 1}}, Case{"start", {.start = "t4"}, {6, 5, 4}},
        Case{"start between", {.start = "t3x"}, {6, 5, 4}}, Case{"stop", {.stop = "t2"}, {2, 1}},
        Case{"stop between", {.stop = "t2x"}, {2, 1}},
        Case{"range", {.start = "t2", .stop = "t4"}, {4, 3, 2}},
        Case{"one instant", {.start = "t3", .stop = "t3"}, {3}},
        Case{"range around all", {.start = "t0", .stop = "t9"}, {6, 5, 4, 3, 2, 1}},
        Case{"server", {.server = "a"}, {5, 3, 1}}, Case{"module", {.module = "disk"}, {6, 1}},
        Case{"event", {.event = "9"}, {5, 3, 1}},
        Case{"event by number", {.event = "0010"}, {6, 2}}, Case{"level", {.level = "3"}, {4}},
        Case{"server and module", {.server = "a", .module = "net"}, {5, 3}},
        Case{"all", {"t2", "t4", "a", "net", "9", "2"}, {3}}));

TEST_P(Criterion, FindsTheMatchingRecordsNewestFirst) {
  put_log(kMixed);
  const int count = static_cast<int>(GetParam().ids.size());
  EXPECT_EQ(search(GetParam().criteria), (Found{count, count, 0, GetParam().ids}));
}

class NoMatch : public Search, public ::testing::WithParamInterface<Case> {};
INSTANTIATE_TEST_SUITE_P(
    Search, NoMatch,
    ::testing::Values(
        Case{"start behind all", {.start = "t7"}, {}}, Case{"stop before all", {.stop = "t0"}, {}},
        Case{"range between two", {.start = "t2a", .stop = "t2b"}, {}},
        Case{"range backwards", {.start = "t5", .stop = "t2"}, {}},
        Case{"server", {.server = "x"}, {}}, Case{"module", {.module = "x"}, {}},
        Case{"event", {.event = "11"}, {}}, Case{"level", {.level = "9"}, {}},
        Case{"criteria that exclude each other", {.server = "c", .module = "disk"}, {}}));

TEST_P(NoMatch, GivesNothingSize0AndPageMinus1) {
  put_log(kMixed);
  EXPECT_EQ(search(GetParam().criteria), (Found{0, 0, -1, {}}));
}

TEST_F(Search, ResultIsOrderedByTimeNotByLine) {
  put_log({{1, "a", "t2"}, {2, "a", "t4"}, {3, "b", "t5"}, {4, "a", "t1"}, {5, "a", "t3"}});
  EXPECT_EQ(ids({.server = "a"}), (Numbers{2, 5, 1, 4}));
  EXPECT_EQ(ids({}), (Numbers{3, 2, 5, 1, 4}));
}

TEST_F(Search, EqualTimesComeInReverseOfTheMostSelectiveIndex) {
  put_log({{1, "a", "t1"}, {2, "a", "t1"}, {3, "b", "t1"}, {4, "a", "t1"}});
  EXPECT_EQ(ids({.server = "a"}), (Numbers{4, 2, 1}));
}

TEST_F(Search, EmptyLogGivesNothing) {
  put_log({});
  EXPECT_EQ(search({}), (Found{0, 0, -1, {}}));
  EXPECT_TRUE(log_.has(kNotable, "alert file is empty"));
}

TEST_F(Search, RecordsAreDeliveredWhole) {
  const ALERT_RECORD_INFO record = make_record(7, "node2", "net", "42", "3", "raised", "text");
  write_log(path(kLog), 10, {record});
  ALERT_RECORD_INFO found;
  memset(&found, 0x55, sizeof(found));
  int size = 1;
  int page = 0;
  ASSERT_EQ(alert_search({}, &size, &page, &found), 1);
  EXPECT_EQ(describe(found), describe(record));
}

TEST_F(Search, MissingLogIsMadeAndEmpty) { EXPECT_EQ(search({}), (Found{0, 0, -1, {}})); }

// ---- paging -------------------------------------------------------------------------------------

struct Page {
  int size;
  int page;
  Found found;
};
void PrintTo(const Page& row, std::ostream* out) {
  *out << "page " << row.page << " of " << row.size;
}

class PageOfAll : public Search, public ::testing::WithParamInterface<Page> {};
INSTANTIATE_TEST_SUITE_P(
    Search, PageOfAll,
    ::testing::Values(Page{10, 0, {25, 10, 0, {25, 24, 23, 22, 21, 20, 19, 18, 17, 16}}},
                      Page{10, 1, {25, 10, 1, {15, 14, 13, 12, 11, 10, 9, 8, 7, 6}}},
                      Page{10, 2, {25, 5, 2, {5, 4, 3, 2, 1}}},
                      Page{10, 7, {25, 5, 2, {5, 4, 3, 2, 1}}},
                      Page{5, 4, {25, 5, 4, {5, 4, 3, 2, 1}}},
                      Page{5, 5, {25, 5, 4, {5, 4, 3, 2, 1}}}, Page{1, 0, {25, 1, 0, {25}}},
                      Page{1, 24, {25, 1, 24, {1}}}, Page{1, 25, {25, 1, 24, {1}}}));

TEST_P(PageOfAll, IsCountedFromTheNewest) {
  put_count(25);
  EXPECT_EQ(search({}, GetParam().size, GetParam().page), GetParam().found);
}

class PageOfSome : public Search, public ::testing::WithParamInterface<Page> {};
INSTANTIATE_TEST_SUITE_P(
    Search, PageOfSome,
    ::testing::Values(Page{5, 0, {13, 5, 0, {25, 23, 21, 19, 17}}},
                      Page{5, 1, {13, 5, 1, {15, 13, 11, 9, 7}}}, Page{5, 2, {13, 3, 2, {5, 3, 1}}},
                      Page{5, 9, {13, 3, 2, {5, 3, 1}}}, Page{1, 12, {13, 1, 12, {1}}},
                      Page{1, 13, {13, 1, 12, {1}}},
                      Page{13, 0, {13, 13, 0, {25, 23, 21, 19, 17, 15, 13, 11, 9, 7, 5, 3, 1}}}));

TEST_P(PageOfSome, IsCountedFromTheNewest) {
  put_count(25);
  EXPECT_EQ(search({.server = "odd"}, GetParam().size, GetParam().page), GetParam().found);
}

TEST_F(Search, CorrectedPageIsReported) {
  put_count(25);
  search({}, 10, 2);
  EXPECT_FALSE(log_.has(kMinor, "the specified page number is wrong"));
  search({}, 10, 3);
  EXPECT_TRUE(log_.has(kMinor, "the specified page number is wrong"));
}

TEST_F(Search, PagesTogetherHoldEveryMatchOnce) {
  put_count(25);
  for (int size = 1; size <= 14; ++size) {
    Numbers all;
    for (int page = 0; page * size < 13; ++page) {
      for (const uint32_t id : search({.server = "odd"}, size, page).ids) all.push_back(id);
    }
    EXPECT_EQ(all, ids({.server = "odd"})) << "page size " << size;
  }
}

// ---- the kept result ----------------------------------------------------------------------------

TEST_F(Search, RepeatedSearchOfAnUnchangedLogIsAnsweredFromTheKeptResult) {
  put_count(25);
  search({.server = "odd"}, 5, 0);
  EXPECT_FALSE(cache_was_used());
  EXPECT_EQ(search({.server = "odd"}, 5, 1).ids, (Numbers{15, 13, 11, 9, 7}));
  EXPECT_TRUE(cache_was_used());
}

TEST_F(Search, StoredRecordMakesTheNextSearchLookAgain) {
  alt_max_count = 30;
  put_count(25);
  search({.server = "odd"}, 5, 0);
  store(record_of({27, "odd", "t1027"}));
  log_.clear();
  EXPECT_EQ(search({.server = "odd"}, 5, 0).ids, (Numbers{27, 25, 23, 21, 19}));
  EXPECT_TRUE(log_.has(kNotable, "search condition not changed"));
  EXPECT_FALSE(log_.has(kNotable, "alert file  not changed"));
}

TEST_F(Search, OtherConditionIsSearchedAnew) {
  put_count(25);
  search({.server = "odd"});
  log_.clear();
  EXPECT_EQ(search({.server = "even"}).result, 12);
  EXPECT_FALSE(log_.has(kNotable, "search condition not changed"));
}

TEST_F(Search, OtherSortTextIsSearchedAnewInTheSameOrder) {
  put_count(25);
  const Found first = search({.server = "odd", .sort = "1"});
  EXPECT_EQ(search({.server = "odd", .sort = "2"}), first);
  EXPECT_FALSE(cache_was_used());
}

TEST_F(Search, SearchThatRestrictsNothingIsNotKept) {
  put_count(25);
  search({});
  search({});
  EXPECT_FALSE(log_.has(kNotable, "search condition not changed"));
}

TEST_F(Search, SearchThatFindsNothingForgetsTheKeptResult) {
  put_count(25);
  search({.server = "odd"});
  search({.server = "x"});
  log_.clear();
  search({.server = "odd"});
  EXPECT_FALSE(log_.has(kNotable, "search condition not changed"));
}

TEST_F(Search, FailedSearchForgetsTheKeptResult) {
  put_count(25);
  search({.server = "odd"});
  int page = 0;
  ALERT_RECORD_INFO record;
  const size_t at = 332 + 684 * 2 + 10;
  const std::string line = read_file(path(kLog))->substr(at, 24);
  write_file_at(path(kLog), at, std::string(24, ' '));
  int size = 1;
  page = 11;  // the record that cannot be cut
  EXPECT_EQ(alert_search(info_of({.server = "odd"}), &size, &page, &record), -1);
  write_file_at(path(kLog), at, line);
  log_.clear();
  EXPECT_EQ(search({.server = "odd"}).result, 13);
  EXPECT_FALSE(log_.has(kNotable, "search condition not changed"));
}

TEST_F(Search, SuccessfulSearchClearsBit7Only) {
  put_count(5);
  search({});
  EXPECT_EQ(changed() & 192, 64);
  EXPECT_TRUE(log_.has(kNotable, "set alert file  not changed flag"));
}

TEST_F(Search, SearchWithoutAMatchLeavesBit7) {
  put_count(5);
  search({.server = "x"});
  EXPECT_EQ(changed() & 128, 128);
  EXPECT_FALSE(log_.has(kNotable, "set alert file  not changed flag"));
}

TEST_F(Search, MarkThatCannotBeClearedDoesNotChangeTheResult) {
  put_count(5);
  search({});
  write_log(path(kLog), 10, {record_of({1})}, 128);
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_EQ(search({}).result, 1);
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
}

// ---- damage, arguments, messages ----------------------------------------------------------------

TEST_F(Search, IndexesWhoseBitsAreSetAreBuiltAnewFirst) {
  put_log(kMixed, 255);
  for (int type = 0; type < 5; ++type) {
    write_file(path(kIndexNames[type]), index_text(type, {{"wrong", 0, 0}}));
  }
  EXPECT_EQ(ids({.server = "a"}), (Numbers{5, 3, 1}));
}

class MissingIndex : public Search, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Search, MissingIndex, ::testing::Range(0, 5));

TEST_P(MissingIndex, IsBuiltForTheSearch) {
  put_log(kMixed, 0);
  search({});
  remove_file(path(kIndexNames[GetParam()]));
  EXPECT_EQ(ids({"t1", "t5", "a", "net", "9", "2"}), (Numbers{5, 3}));
  EXPECT_TRUE(file_exists(path(kIndexNames[GetParam()])));
}

TEST_P(MissingIndex, ThatCannotBeMadeFailsTheSearch) {
  put_log(kMixed, 0);
  search({});
  remove_file(path(kIndexNames[GetParam()]));
  const Fault fault(Site::kCreate, EACCES);
  EXPECT_LT(search({}).result, 0);
  EXPECT_TRUE(
      log_.has(kFailures, std::string("open index file(") + kIndexNames[GetParam()] + ") failed"));
}

struct DamagedEntry {
  int type;
  Criteria criteria;
};
void PrintTo(const DamagedEntry& row, std::ostream* out) { *out << kIndexNames[row.type]; }
class DamagedEntries : public Search, public ::testing::WithParamInterface<DamagedEntry> {};
INSTANTIATE_TEST_SUITE_P(Search, DamagedEntries,
                         ::testing::Values(DamagedEntry{0, {.start = "t2"}},
                                           DamagedEntry{1, {.server = "a"}},
                                           DamagedEntry{2, {.module = "net"}},
                                           DamagedEntry{3, {.event = "9"}},
                                           DamagedEntry{4, {.level = "2"}}));

TEST_P(DamagedEntries, FailTheSearchOfTheirIndex) {
  put_log(kMixed, 255);
  search({});
  const int type = GetParam().type;
  for (int i = 0; i < 6; ++i) {
    write_file_at(path(kIndexNames[type]), alt_model::entry_offset(type, i) + 65,
                  std::string(8, ' '));
  }
  EXPECT_EQ(search(GetParam().criteria).result, -1);
  EXPECT_TRUE(log_.has(kFailures, type == 0 ? "call search_by_date failed"
                                            : std::string("get alert record line failed, index "
                                                          "file: ") +
                                                  kIndexNames[type]));
}

TEST_F(Search, RecordThatCannotBeCutFailsTheSearch) {
  put_log(kMixed, 255);
  search({});
  write_file_at(path(kLog), 332 + 684 * 2 + 10, std::string(24, ' '));
  EXPECT_EQ(search({.server = "a"}).result, -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(No. 2) failed"));
  EXPECT_EQ(search({}).result, -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(line:2) failure!"));
}

TEST_F(Search, EntryThatCannotBeCutFailsThePagingOfAll) {
  put_log(kMixed, 255);
  search({});
  write_file_at(path("time.idx"), alt_model::entry_offset(0, 3) + 65, std::string(8, ' '));
  EXPECT_EQ(search({}).result, -1);
  EXPECT_TRUE(log_.has_part(kFailures, "read index record(line:3) failure!"));
}

TEST_F(Search, LogThatCannotBeOpenedFailsTheSearch) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_LT(search({}).result, 0);
}

TEST_F(Search, WithoutMemoryTheSearchFails) {
  put_log(kMixed);
  search({});
  const ScarceMemory none(0);
  EXPECT_EQ(search({.server = "a"}).result, -1);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

TEST_F(Search, WrongArgumentsAreRefused) {
  put_log(kMixed);
  ALERT_RECORD_INFO records[1];
  int zero = 0;
  int negative = -1;
  int one = 1;
  EXPECT_EQ(alert_search({}, nullptr, &zero, records), -1);
  EXPECT_EQ(alert_search({}, &one, nullptr, records), -1);
  EXPECT_EQ(alert_search({}, &one, &zero, nullptr), -1);
  EXPECT_EQ(alert_search({}, &zero, &zero, records), -1);
  EXPECT_EQ(alert_search({}, &negative, &zero, records), -1);
  EXPECT_EQ(alert_search({}, &one, &negative, records), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 6);
}

TEST_F(Search, ParametersAreLogged) {
  put_log(kMixed);
  search({"t2", "t4", "a", "net", "9", "2", "1"});
  const Texts lines = log_.texts(kNotable);
  const auto first = std::find(lines.begin(), lines.end(), "ENTER ==> alert_search()");
  ASSERT_GE(lines.end() - first, 10);
  EXPECT_EQ(
      Texts(first + 1, first + 10),
      (Texts{"=========== alert search parameter begin: ===========", "start time: t2",
             "end time:   t4", "server:     a", "module:     net", "eventId:    9", "Level:      2",
             "Sort:       1", "=========== alert search parameter end: ==========="}));
}

// ---- the steps ----------------------------------------------------------------------------------

class KeyLines : public Search {
 protected:
  KeyLines() { write_file(path("server.idx"), index_text(1, {{"a", 4}, {"a", 9}, {"b", 2}})); }
  // The lines of a key among `max` records; *count as the library gives it.
  std::vector<int> lines_of(const char* key, int max, int* count) {
    int* memory = nullptr;
    EXPECT_EQ(get_nounique_field_line(Opened(path("server.idx")), 1, key, max, count, &memory), 0);
    std::vector<int> lines;
    if (memory != nullptr) lines.assign(memory, memory + *count);
    free(memory);
    return lines;
  }
  int count_ = -1;
};

TEST_F(KeyLines, OfAKeyAreThoseOfItsEntries) {
  EXPECT_EQ(lines_of("a", 3, &count_), (std::vector<int>{4, 9}));
  EXPECT_EQ(count_, 2);
}

TEST_F(KeyLines, OfAnAbsentKeyAreNone) {
  EXPECT_TRUE(lines_of("x", 3, &count_).empty());
  EXPECT_EQ(count_, 0);
}

TEST_F(KeyLines, OfAnEmptyKeyAreAllWithoutAnArray) {
  EXPECT_TRUE(lines_of("", 3, &count_).empty());
  EXPECT_EQ(count_, 3);
}

TEST_F(KeyLines, OfAKeyThatAllRecordsHaveNeedNoArray) {
  EXPECT_TRUE(lines_of("a", 2, &count_).empty());
  EXPECT_EQ(count_, 2);
}

TEST_F(KeyLines, OfADamagedIndexAreAFailure) {
  write_file_at(path("server.idx"), 74 + 13, "?");
  int* memory = nullptr;
  EXPECT_EQ(get_nounique_field_line(Opened(path("server.idx")), 1, "a", 3, &count_, &memory), -1);
}

TEST_F(KeyLines, OfARangeAreRead) {
  int lines[3] = {};
  EXPECT_EQ(get_alert_line(Opened(path("server.idx")), lines, 1, 2), 0);
  EXPECT_EQ(lines[0], 9);
  EXPECT_EQ(lines[1], 2);
  EXPECT_EQ(lines[2], 0);
}

TEST_F(KeyLines, OfARangeWithAnEntryThatCannotBeCutAreAFailure) {
  write_file_at(path("server.idx"), alt_model::entry_offset(1, 1) + 65, std::string(8, ' '));
  int lines[3] = {};
  EXPECT_EQ(get_alert_line(Opened(path("server.idx")), lines, 0, 2), -1);
}

TEST(TimeSort, OrdersTheGivenPartByTime) {
  TIME_INDEX times[6] = {};
  const char* texts[] = {"t9", "t3", "t1", "t2", "t3", "t0"};
  for (int i = 0; i < 6; ++i) {
    set_text(times[i].szServerTime, texts[i]);
    times[i].index = i;
  }
  qsort_searchNode_array(times, 1, 4);
  Texts order;
  for (const TIME_INDEX& each : times) order.emplace_back(each.szServerTime);
  EXPECT_EQ(order, (Texts{"t9", "t1", "t2", "t3", "t3", "t0"}));
  EXPECT_EQ(times[1].index, 2);
  qsort_searchNode_array(times, 3, 3);
  qsort_searchNode_array(times, 4, 1);
  EXPECT_STREQ(times[0].szServerTime, "t9");
}

}  // namespace
}  // namespace alt_test
