// What the synchronisation asks the log: which ids of a server, and which records.
#include <gtest/gtest.h>

#include "support/fault_injection.h"
#include "support/sync_query.h"

namespace alt_test {
namespace {

// Servers "a" with 1 and 2, "m" with 5, 6, 7 and 9, "z" with 3. In the index "m" stands at 2 to 5.
class SyncQuery : public SyncQueryTest {
 protected:
  void put_runs() const {
    put_log({{"z", 3}, {"m", 9}, {"m", 6}, {"a", 2}, {"m", 5}, {"a", 1}, {"m", 7}});
  }
};

// ---- which ids ----------------------------------------------------------------------------------

struct IdCase {
  const char* name;
  const char* server;
  uint32_t from_id;
  int flag;
  IdAnswer answer;
};
void PrintTo(const IdCase& row, std::ostream* out) { *out << row.name; }
class IdTable : public SyncQuery, public ::testing::WithParamInterface<IdCase> {};
INSTANTIATE_TEST_SUITE_P(
    SyncQuery, IdTable,
    ::testing::Values(
        IdCase{"highest", "m", 0, 0, {0, 9}}, IdCase{"highest of the first", "a", 0, 0, {0, 2}},
        IdCase{"highest of the last", "z", 0, 0, {0, 3}},
        IdCase{"highest, with flag", "m", 0, 1, {0, 9}}, IdCase{"held", "m", 7, 0, {0, 7}},
        IdCase{"held, other flag", "m", 5, 2, {0, 5}},
        IdCase{"before the run that ends here", "m", 7, 1, {0, 4}},
        IdCase{"before the run, inside it", "m", 6, 1, {0, 4}},
        IdCase{"before a run of one", "m", 9, 1, {0, 8}},
        IdCase{"before its own first", "m", 5, 1, {0, 4}},
        IdCase{"before the first of all", "a", 2, 1, {0, 1}},
        IdCase{"before id 1", "a", 1, 1, {0, 1}}, IdCase{"before a single one", "z", 3, 1, {0, 2}},
        IdCase{"not held, with flag", "m", 8, 1, {0, 8}},
        // The position of the entry below, not its id: that is what the peers receive.
        IdCase{"in a gap", "m", 8, 0, {0, 4}}, IdCase{"above all", "m", 100, 0, {0, 5}},
        IdCase{"above all of the first", "a", 100, 0, {0, 1}},
        IdCase{"above all of the last", "z", 4000000000, 0, {0, 6}},
        IdCase{"below all", "m", 4, 0, {0, 0}}, IdCase{"below all of the last", "z", 1, 0, {0, 0}},
        IdCase{"unknown server", "n", 7, 0, {1, 0}},
        IdCase{"unknown server, with flag", "n", 7, 1, {1, 7}},
        IdCase{"unknown server, highest", "n", 0, 0, {1, 0}},
        IdCase{"unknown server before all", "A", 7, 0, {1, 0}},
        IdCase{"unknown server behind all", "zz", 7, 1, {1, 7}},
        IdCase{"beginning of a name", "", 7, 0, {1, 0}}));

TEST_P(IdTable, IsAnswered) {
  put_runs();
  const IdCase& row = GetParam();
  EXPECT_EQ(id_of(row.server, row.from_id, row.flag), row.answer);
}

TEST_F(SyncQuery, RunDoesNotReachIntoTheServerBeforeOrBehind) {
  put_log({{"a", 3}, {"a", 4}, {"m", 5}, {"m", 6}, {"m", 7}, {"z", 8}, {"z", 9}, {"z", 10}});
  EXPECT_EQ(id_of("m", 7, 1), (IdAnswer{0, 4}));
  EXPECT_EQ(back_of("m", 5), (IdAnswer{0, 8}));
  EXPECT_EQ(back_of("a", 3), (IdAnswer{0, 5}));
}

TEST_F(SyncQuery, IdBelowAllIdsOfTheFirstServerIsZero) {
  put_log({{"a", 5}, {"b", 1}});
  EXPECT_EQ(id_of("a", 4, 0), (IdAnswer{0, 0}));
}

TEST_F(SyncQuery, LargestIdsAreAnswered) {
  put_id_index(
      {{"a", 0xffffffff}, {"a", 0xfffffffe}, {"a", 0x80000000}, {"a", 0x7fffffff}, {"a", 1}});
  EXPECT_EQ(id_of("a", 0, 0), (IdAnswer{0, 0xffffffff}));
  EXPECT_EQ(id_of("a", 0xffffffff, 1), (IdAnswer{0, 0xfffffffd}));
  EXPECT_EQ(id_of("a", 0x80000000, 1), (IdAnswer{0, 0x7ffffffe}));
}

TEST_F(SyncQuery, EmptyLogHasNoIds) {
  put_log({});
  EXPECT_EQ(id_of("a", 7, 0), (IdAnswer{1, 0}));
  EXPECT_EQ(id_of("a", 7, 1), (IdAnswer{1, 7}));
  EXPECT_EQ(id_of("a", 0, 1), (IdAnswer{1, 0}));
  EXPECT_EQ(log_.count(kNotable, "alert log file is empty"), 3);
}

TEST_F(SyncQuery, QuestionAndAnswerAboutAnIdAreLogged) {
  put_runs();
  id_of("m", 8, 0);
  for (const char* line :
       {"------------- enter: get_alert_id() --------------", "svrname: m", "from_id: 8",
        "id: 2882400001", "flag: 0", "the found alert id of server(m) is 4"}) {
    EXPECT_EQ(log_.count(kTrace, line), 1) << line;
  }
  id_of("m", 0, 0);
  EXPECT_TRUE(log_.has(kNotable, "max alert id in get all alert id = 9"));
  id_of("q", 3, 0);
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log of server(q) now"));
}

TEST_F(SyncQuery, IdThatIsHeldIsNotLoggedAsFound) {
  put_runs();
  id_of("m", 7, 0);
  EXPECT_FALSE(log_.has_part(kTrace, "the found alert id"));
}

TEST_F(SyncQuery, QuestionAboutAnIdNeedsNameAndRoom) {
  uint32_t id = 7;
  EXPECT_EQ(get_alert_id(nullptr, 1, &id, 0), -1);
  EXPECT_EQ(get_alert_id("m", 1, nullptr, 0), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

// ---- the end of a run ---------------------------------------------------------------------------

TEST_F(SyncQuery, IdBehindTheRunIsFoundUpToTwoEarly) {
  put_runs();
  EXPECT_EQ(back_of("m", 5), (IdAnswer{0, 8}));
  // Two positions at the end of the index are not examined.
  EXPECT_EQ(back_of("m", 6), (IdAnswer{0, 8}));
  EXPECT_EQ(back_of("a", 1), (IdAnswer{0, 3}));
  EXPECT_EQ(back_of("z", 3), (IdAnswer{0, 4}));
}

TEST_F(SyncQuery, LastTwoOfTheIndexAreNotExamined) {
  put_log({{"a", 1}, {"a", 2}});
  EXPECT_EQ(back_of("a", 1), (IdAnswer{0, 2}));
  EXPECT_EQ(back_of("a", 2), (IdAnswer{0, 3}));
}

TEST_F(SyncQuery, IdThatIsNotHeldIsItsOwnEnd) {
  put_runs();
  EXPECT_EQ(back_of("m", 8), (IdAnswer{0, 8}));
  EXPECT_EQ(back_of("q", 1), (IdAnswer{0, 1}));
  put_log({});
  EXPECT_EQ(back_of("m", 5), (IdAnswer{0, 5}));
  EXPECT_TRUE(log_.has(kNotable, "alert log file is empty"));
}

TEST_F(SyncQuery, EndOfARunNeedsNameIdAndRoom) {
  uint32_t id = 7;
  EXPECT_EQ(get_back_notcont_alert_id(nullptr, 1, &id), -1);
  EXPECT_EQ(get_back_notcont_alert_id("m", 0, &id), -1);
  EXPECT_EQ(get_back_notcont_alert_id("m", 1, nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(id, 7U);
}

// ---- which records ------------------------------------------------------------------------------

struct RecordCase {
  const char* name;
  const char* server;
  uint32_t from_id;
  int wanted;
  Numbers ids;
};
void PrintTo(const RecordCase& row, std::ostream* out) { *out << row.name; }
class RecordTable : public SyncQuery, public ::testing::WithParamInterface<RecordCase> {};
INSTANTIATE_TEST_SUITE_P(SyncQuery, RecordTable,
                         ::testing::Values(RecordCase{"from a held one", "m", 5, 4, {5, 6, 7, 9}},
                                           RecordCase{"as many as wanted", "m", 5, 2, {5, 6}},
                                           RecordCase{"fewer than wanted", "m", 7, 4, {7, 9}},
                                           RecordCase{"from a gap", "m", 8, 4, {9}},
                                           RecordCase{"from below all", "m", 1, 3, {5, 6, 7}},
                                           RecordCase{"from zero", "a", 0, 4, {1, 2}},
                                           RecordCase{"from above all", "m", 10, 4, {}},
                                           RecordCase{"from above all of all", "z", 4, 4, {}},
                                           RecordCase{"last of all", "z", 3, 4, {3}},
                                           RecordCase{"unknown server", "n", 1, 4, {}},
                                           RecordCase{"unknown server behind all", "zz", 1, 4, {}},
                                           RecordCase{"none wanted", "m", 5, 0, {}},
                                           RecordCase{"less than none wanted", "m", 5, -1, {}}));

TEST_P(RecordTable, IsDeliveredInSlots) {
  put_runs();
  const RecordCase& row = GetParam();
  const Delivery delivery = records_of(row.server, row.from_id, row.wanted);
  EXPECT_EQ(delivery.result, 0);
  ASSERT_EQ(delivery.number, static_cast<int>(row.ids.size()));
  std::string expected;
  for (const uint32_t id : row.ids) {
    const ALERT_RECORD_INFO sent = record(row.server, id);
    expected += std::string(image(sent), sizeof(sent)) + std::string(320, '\x5a');
  }
  expected.resize(delivery.buffer.size(), '\x5a');
  EXPECT_EQ(first_difference(delivery.buffer, expected), "");
}

TEST_F(SyncQuery, EmptyLogHasNoRecords) {
  put_log({});
  const Delivery delivery = records_of("a", 1, 4);
  EXPECT_EQ(delivery.result, 1);
  EXPECT_EQ(delivery.number, 0);
  EXPECT_TRUE(log_.has(kNotable, "alert log file is empty"));
  EXPECT_TRUE(log_.has(kTrace, "current alert count is: 0"));
}

TEST_F(SyncQuery, NumberOfAlertsIsLogged) {
  put_runs();
  records_of("m", 5, 1);
  EXPECT_TRUE(log_.has(kTrace, "current alert count is: 7"));
}

TEST_F(SyncQuery, RecordsNeedNameNumberAndRoom) {
  int number = 4;
  char room[4000];
  EXPECT_EQ(get_alert_log(nullptr, 1, &number, room), -1);
  EXPECT_EQ(get_alert_log("m", 1, nullptr, room), -1);
  EXPECT_EQ(get_alert_log("m", 1, &number, nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
}

TEST_F(SyncQuery, LogThatCannotBeOpenedIsAFailure) {
  put_runs();
  id_of("m", 0, 0);
  spoil("alertlog.alt");
  EXPECT_EQ(records_of("m", 5, 4).result, -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file(alertlog.alt) failed"));
  EXPECT_EQ(id_of("m", 0, 0), (IdAnswer{0, 9}));
}

TEST_F(SyncQuery, RecordThatCannotBeReadIsAFailure) {
  put_runs();
  id_of("m", 0, 0);
  const size_t write_time_of_id_7 = 332 + 6 * alt_model::kRecordLine + 10;
  write_file_at(path("alertlog.alt"), write_time_of_id_7, std::string(24, ' '));
  EXPECT_EQ(records_of("m", 5, 2).result, 0);
  EXPECT_EQ(records_of("m", 5, 4).result, -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(line:6) failed"));
}

// ---- failures that the three have in common -----------------------------------------------------

using Question = int (*)();
struct Asked {
  const char* name;
  Question ask;
};
void PrintTo(const Asked& row, std::ostream* out) { *out << row.name; }
class AskedTable : public SyncQuery, public ::testing::WithParamInterface<Asked> {
 protected:
  static int id() { return id_of("m", 8, 0).result; }
  static int highest() { return id_of("m", 0, 0).result; }
  static int before() { return id_of("m", 7, 1).result; }
  static int back() { return back_of("m", 5).result; }
  static int records() { return records_of("m", 6, 4).result; }

 public:
  static std::vector<Asked> all() {
    return {{"id", id},
            {"highest id", highest},
            {"before a run", before},
            {"end of a run", back},
            {"records", records}};
  }
};
INSTANTIATE_TEST_SUITE_P(SyncQuery, AskedTable, ::testing::ValuesIn(AskedTable::all()));

TEST_P(AskedTable, OfAnIndexThatCannotBeOpenedIsAFailure) {
  put_runs();
  spoil(kIdFile);
  EXPECT_EQ(GetParam().ask(), -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(srv_alt_id.idx) failed"));
}

TEST_P(AskedTable, OfAnIndexWithoutAHeaderIsAFailure) {
  write_file(path(kIdFile), std::string(148, 'x'));
  EXPECT_EQ(GetParam().ask(), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file(srv_alt_id.idx) header failed"));
}

// The middle of the index is what every search looks at first.
TEST_P(AskedTable, OfADamagedEntryIsAFailure) {
  put_runs();
  EXPECT_EQ(GetParam().ask(), 0);
  damage_entry(alt_model::kIdIndex, 3);
  EXPECT_EQ(GetParam().ask(), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 3) failed"));
}

TEST_P(AskedTable, FailsWithEachReadThatFails) {
  put_runs();
  ASSERT_EQ(GetParam().ask(), 0);
  const size_t descriptors = list_directory("/proc/self/fd").size();
  int failed = 0;
  const int reads = for_each_call(
      Site::kRead, EIO, [&] { log_.clear(); },
      [&] {
        const int result = GetParam().ask();
        EXPECT_EQ(result == -1, !log_.texts(kFailures).empty());
        failed += result == -1 ? 1 : 0;
        EXPECT_EQ(list_directory("/proc/self/fd").size(), descriptors);
      });
  EXPECT_GE(reads, 2);
  EXPECT_EQ(failed, reads);
}

}  // namespace
}  // namespace alt_test
