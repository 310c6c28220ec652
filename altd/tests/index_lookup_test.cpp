// Positions in sorted index files.
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

using alt_model::kIndexNames;

constexpr int kStart = 0;
constexpr int kStop = 1;

class Lookup : public StoreTest {
 protected:
  std::string index(int type) const { return path(kIndexNames[type]); }
  void put(int type, const Entries& entries) const {
    write_file(index(type), index_text(type, entries));
  }
  // Entries of these keys on the lines 0, 1, ...
  void put_keys(int type, std::initializer_list<const char*> keys) const {
    Entries all;
    for (const char* key : keys) all.push_back({key, static_cast<uint32_t>(all.size()), 0});
    put(type, all);
  }
  // Makes the entry at this position one that cannot be cut.
  void spoil(int type, int position) const {
    write_file_at(index(type), alt_model::entry_offset(type, position) + 65,
                  std::string(type == 5 ? 18 : 8, ' '));
  }
  void spoil_header(int type) const { write_file_at(index(type), 74 + 13, "?"); }
};

// ---- the oldest alert ---------------------------------------------------------------------------

TEST_F(Lookup, OldestAlertIsTheFirstOfTheTimeIndex) {
  put(0, {{"t1", 7}, {"t2", 0}});
  EXPECT_EQ(get_nextto_write(), 7);
}

TEST_F(Lookup, OldestAlertOfAMissingTimeIndexIsFoundByBuildingIt) {
  write_log(path("alertlog.alt"), 10, {record_of({1, "a", "t2"}), record_of({2, "a", "t1"})});
  EXPECT_EQ(get_nextto_write(), 1);
  EXPECT_TRUE(file_exists(index(0)));
}

TEST_F(Lookup, OldestAlertOfATimeIndexThatCannotBeOpenedIsAFailure) {
  const Fault fault(Site::kCreate, EACCES);
  EXPECT_EQ(get_nextto_write(), -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(time.idx) failed"));
}

TEST_F(Lookup, OldestAlertThatCannotBeReadIsAFailure) {
  put(0, {{"t1", 7}});
  spoil(0, 0);
  EXPECT_EQ(get_nextto_write(), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

// ---- by date ------------------------------------------------------------------------------------

struct Date {
  const char* date;
  int compare;
  int position;
};
void PrintTo(const Date& row, std::ostream* out) { *out << row.date << "," << row.compare; }
class Dates : public Lookup, public ::testing::WithParamInterface<Date> {};
INSTANTIATE_TEST_SUITE_P(Lookup, Dates,
                         ::testing::Values(Date{"t0", kStart, 0}, Date{"t1", kStart, 0},
                                           Date{"t2", kStart, 1}, Date{"t3", kStart, 1},
                                           Date{"t4", kStart, 4}, Date{"t5", kStart, 4},
                                           Date{"t6", kStart, -2}, Date{"", kStart, 0},
                                           Date{"t0", kStop, -2}, Date{"t1", kStop, 0},
                                           Date{"t2", kStop, 0}, Date{"t3", kStop, 3},
                                           Date{"t4", kStop, 3}, Date{"t5", kStop, 4},
                                           Date{"t6", kStop, 4}, Date{"", kStop, -2}));

TEST_P(Dates, GiveTheEndsOfTheRange) {
  put_keys(0, {"t1", "t3", "t3", "t3", "t5"});
  EXPECT_EQ(search_by_date(Opened(index(0)), GetParam().date, GetParam().compare),
            GetParam().position);
}

TEST_F(Lookup, RunsAtBothEndsOfTheIndexAreWalkedToTheirEnds) {
  put_keys(0, {"t1", "t1", "t1", "t2", "t2", "t2"});
  const Opened time(index(0));
  EXPECT_EQ(search_by_date(time, "t1", kStart), 0);
  EXPECT_EQ(search_by_date(time, "t1", kStop), 2);
  EXPECT_EQ(search_by_date(time, "t2", kStart), 3);
  EXPECT_EQ(search_by_date(time, "t2", kStop), 5);
}

TEST_F(Lookup, EveryDateIsFoundInIndexesOfEverySize) {
  for (uint32_t count = 1; count <= 17; ++count) {
    Entries all;
    for (uint32_t i = 0; i < count; ++i) all.push_back({std::to_string(1000 + 2 * i), i});
    put(0, all);
    const Opened time(index(0));
    for (int i = 0; i < static_cast<int>(count); ++i) {
      const std::string held = std::to_string(1000 + 2 * i);
      const std::string between = std::to_string(1001 + 2 * i);
      EXPECT_EQ(search_by_date(time, held.c_str(), kStart), i);
      EXPECT_EQ(search_by_date(time, held.c_str(), kStop), i);
      EXPECT_EQ(search_by_date(time, between.c_str(), kStop), i);
      EXPECT_EQ(search_by_date(time, between.c_str(), kStart),
                i + 1 == static_cast<int>(count) ? -2 : i + 1);
    }
  }
}

TEST_F(Lookup, DateInAnEmptyIndexIsAFailure) {
  put(0, {});
  EXPECT_EQ(search_by_date(Opened(index(0)), "t1", kStart), -1);
  EXPECT_TRUE(log_.has(kFailures, "there is no alert now"));
}

TEST_F(Lookup, MissingDateIsAnError) {
  put(0, {{"t1", 0}});
  EXPECT_EQ(search_by_date(Opened(index(0)), nullptr, kStart), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(Lookup, DateInAnIndexWithoutAHeaderIsAFailure) {
  put(0, {{"t1", 0}});
  spoil_header(0);
  EXPECT_EQ(search_by_date(Opened(index(0)), "t1", kStart), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header failed"));
}

TEST_F(Lookup, UnreadableNeighbourEndsTheWalkOfADate) {
  put_keys(0, {"t1", "t1", "t1"});
  spoil(0, 0);
  EXPECT_EQ(search_by_date(Opened(index(0)), "t1", kStart), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

// ---- the range of a key -------------------------------------------------------------------------

constexpr int kUntouched = 77;

struct KeyRange {
  const char* key;
  int begin;
  int end;
  int smaller;
};
void PrintTo(const KeyRange& row, std::ostream* out) { *out << row.key; }
class KeyRanges : public Lookup, public ::testing::WithParamInterface<KeyRange> {};
INSTANTIATE_TEST_SUITE_P(
    Lookup, KeyRanges,
    ::testing::Values(KeyRange{"a", -1, -1, -1}, KeyRange{"b", 0, 1, kUntouched},
                      KeyRange{"c", -1, -1, 1}, KeyRange{"d", 2, 2, kUntouched},
                      KeyRange{"e", 3, 6, kUntouched}, KeyRange{"f", -1, -1, 6}));

TEST_P(KeyRanges, AreBoundedOrTellTheLastSmaller) {
  put_keys(1, {"b", "b", "d", "e", "e", "e", "e"});
  int begin = 0;
  int end = 0;
  int smaller = kUntouched;
  EXPECT_EQ(search_by_nounique_key(Opened(index(1)), 1, GetParam().key, &begin, &end, &smaller), 0);
  EXPECT_EQ(begin, GetParam().begin);
  EXPECT_EQ(end, GetParam().end);
  EXPECT_EQ(smaller, GetParam().smaller);
}

TEST_F(Lookup, EventsAreFoundByTheirNumber) {
  put_keys(3, {"9", "10", "010", "100"});
  int begin = 0;
  int end = 0;
  int smaller = kUntouched;
  const Opened event(index(3));
  EXPECT_EQ(search_by_nounique_key(event, 3, "10", &begin, &end, &smaller), 0);
  EXPECT_EQ(begin, 1);
  EXPECT_EQ(end, 2);
  EXPECT_EQ(search_by_nounique_key(event, 3, "50", &begin, &end, &smaller), 0);
  EXPECT_EQ(smaller, 2);
}

TEST_F(Lookup, AbsentKeySkipsTheTraceOfLeaving) {
  put_keys(1, {"b"});
  int begin, end, smaller;
  search_by_nounique_key(Opened(index(1)), 1, "a", &begin, &end, &smaller);
  EXPECT_TRUE(log_.has(kTrace, "Enter function: search_by_nounique_key"));
  EXPECT_FALSE(log_.has(kTrace, "Leave function: search_by_nounique_key"));
  search_by_nounique_key(Opened(index(1)), 1, "b", &begin, &end, &smaller);
  EXPECT_TRUE(log_.has(kTrace, "Leave function: search_by_nounique_key"));
}

TEST_F(Lookup, KeyInAnIndexWithoutAHeaderIsAFailure) {
  put_keys(1, {"b"});
  spoil_header(1);
  int begin, end, smaller;
  EXPECT_EQ(search_by_nounique_key(Opened(index(1)), 1, "b", &begin, &end, &smaller), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header failed"));
}

TEST_F(Lookup, FailureInAnyOfTheThreeSearchesNamesTheFirstFind) {
  put_keys(1, {"b", "b", "b", "b", "b"});
  spoil(1, 0);
  int begin, end, smaller;
  EXPECT_EQ(search_by_nounique_key(Opened(index(1)), 1, "b", &begin, &end, &smaller), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 2) failed"));
}

// ---- where an entry belongs ---------------------------------------------------------------------

struct KeyLine {
  const char* key;
  int line;
  int position;
};
void PrintTo(const KeyLine& row, std::ostream* out) { *out << row.key << ":" << row.line; }
class KeyLines : public Lookup, public ::testing::WithParamInterface<KeyLine> {};
INSTANTIATE_TEST_SUITE_P(Lookup, KeyLines,
                         ::testing::Values(KeyLine{"a", 9, 0}, KeyLine{"b", 0, 0},
                                           KeyLine{"b", 1, 1}, KeyLine{"b", 2, 1},
                                           KeyLine{"b", 3, 2}, KeyLine{"b", 9, 2},
                                           KeyLine{"c", 0, 2}, KeyLine{"d", 5, 3},
                                           KeyLine{"d", 4, 2}, KeyLine{"e", 0, 3}));

TEST_P(KeyLines, BelongByKeyThenLineAndBehindTheirEqual) {
  put(1, {{"b", 1}, {"b", 3}, {"d", 5}});
  EXPECT_EQ(search_by_nounique_line_key(Opened(index(1)), 1, GetParam().key, GetParam().line),
            GetParam().position);
  const ALERT_RECORD_INFO alert = record_of({1, GetParam().key});
  EXPECT_EQ(search_index_write_location(Opened(index(1)), 1, 3,
                                        const_cast<LPALERT_RECORD_INFO>(&alert), GetParam().line),
            GetParam().position);
}

TEST_F(Lookup, LocationInAnIndexWithoutAHeaderIsAFailure) {
  put_keys(1, {"b"});
  spoil_header(1);
  EXPECT_EQ(search_by_nounique_line_key(Opened(index(1)), 1, "b", 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header failed"));
}

TEST_F(Lookup, LocationAmongUnreadableEntriesIsAFailure) {
  put_keys(1, {"b"});
  spoil(1, 0);
  EXPECT_EQ(search_by_nounique_line_key(Opened(index(1)), 1, "b", 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

class WriteLocation : public Lookup {
 protected:
  int locate(int type, int count, const Alert& alert, int line = 9) {
    ALERT_RECORD_INFO record = record_of(alert);
    return search_index_write_location(Opened(index(type)), type, count, &record, line);
  }
};

TEST_F(WriteLocation, InAnEmptyIndexIs0) {
  put(0, {});
  EXPECT_EQ(locate(0, 0, {1}), 0);
  EXPECT_EQ(locate(0, -1, {1}), 0);
}

struct TimePlace {
  const char* time;
  int position;
};
void PrintTo(const TimePlace& row, std::ostream* out) { *out << row.time; }
class TimePlaces : public WriteLocation, public ::testing::WithParamInterface<TimePlace> {};
INSTANTIATE_TEST_SUITE_P(Lookup, TimePlaces,
                         ::testing::Values(TimePlace{"t0", 0}, TimePlace{"t1", 0},
                                           TimePlace{"t2", 2}, TimePlace{"t3", 4},
                                           TimePlace{"t4", 4}, TimePlace{"t5", 5},
                                           TimePlace{"t6", 5}));

TEST_P(TimePlaces, AreBehindEqualsExceptAtTheFront) {
  put_keys(0, {"t1", "t1", "t3", "t3", "t5"});
  EXPECT_EQ(locate(0, 5, {1, "a", GetParam().time}), GetParam().position);
}

TEST_F(WriteLocation, OfATimeThatAllAlertsShareIsTheEnd) {
  put_keys(0, {"t1", "t1"});
  EXPECT_EQ(locate(0, 2, {1, "a", "t1"}), 2);
}

struct KeyField {
  int type;
  const char* key;
};
void PrintTo(const KeyField& row, std::ostream* out) { *out << row.type; }
class KeyFields : public WriteLocation, public ::testing::WithParamInterface<KeyField> {};
INSTANTIATE_TEST_SUITE_P(Lookup, KeyFields,
                         ::testing::Values(KeyField{1, "server"}, KeyField{2, "module"},
                                           KeyField{3, "55"}, KeyField{4, "7"}));

TEST_P(KeyFields, OfAnAlertDecideItsPlace) {
  put_keys(GetParam().type, {"0", GetParam().key, "zzz"});
  if (GetParam().type == 3) put_keys(3, {"0", "55", "99"});
  EXPECT_EQ(locate(GetParam().type, 3, {1, "server", "t", "module", "55", "7"}), 2);
}

TEST_F(WriteLocation, UnreadableFirstEntryIsNamed) {
  put_keys(0, {"t1", "t2", "t3"});
  spoil(0, 0);
  EXPECT_LT(locate(0, 3, {1, "a", "t9"}), 0);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

TEST_F(WriteLocation, UnreadableLastEntryIsNamed) {
  put_keys(0, {"t1", "t2", "t3"});
  spoil(0, 2);
  EXPECT_LT(locate(0, 3, {1, "a", "t9"}), 0);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 2) failed"));
}

TEST_F(WriteLocation, UnreadableEntryOnTheWalkIsNamed) {
  put_keys(0, {"t1", "t2", "t3", "t4"});
  spoil(0, 2);
  EXPECT_EQ(locate(0, 4, {1, "a", "t1x"}), ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 2) failed"));
}

TEST_F(WriteLocation, FailureOfTheKeySearchIsReported) {
  put_keys(1, {"a", "b", "c"});
  spoil(1, 1);
  EXPECT_EQ(locate(1, 3, {1, "b"}), -1);
  EXPECT_TRUE(log_.has(kFailures, "call search_by_nounique_line_key failed"));
}

struct IdPlace {
  const char* server;
  uint32_t id;
  int position;  // where it belongs, or the place of its equal
  bool present;
};
void PrintTo(const IdPlace& row, std::ostream* out) { *out << row.server << ":" << row.id; }
class IdPlaces : public Lookup, public ::testing::WithParamInterface<IdPlace> {
 protected:
  IdPlaces() { put(5, {{"a", 0, 5}, {"a", 1, 4000000000U}, {"b", 2, 1}, {"b", 3, 9}}); }
};
INSTANTIATE_TEST_SUITE_P(Lookup, IdPlaces,
                         ::testing::Values(IdPlace{"a", 4, 0, false}, IdPlace{"a", 5, 0, true},
                                           IdPlace{"a", 6, 1, false},
                                           IdPlace{"a", 4000000000U, 1, true},
                                           IdPlace{"a", 4294967295U, 2, false},
                                           IdPlace{"b", 0, 2, false}, IdPlace{"b", 1, 2, true},
                                           IdPlace{"b", 9, 3, true}, IdPlace{"b", 10, 4, false},
                                           IdPlace{"c", 1, 4, false}));

TEST_P(IdPlaces, AreFoundByServerAndUnsignedId) {
  ALERT_RECORD_INFO alert = record_of({GetParam().id, GetParam().server});
  EXPECT_EQ(srv_alt_id_index_write_location(Opened(index(5)), 4, &alert), GetParam().position);
}

TEST_P(IdPlaces, OfPresentEntriesAreReported) {
  const ALERT_RECORD_INFO alert = record_of({GetParam().id, GetParam().server});
  int position = kUntouched;
  EXPECT_EQ(search_special_alt_id_record(Opened(index(5)), 1, alert, &position), 0);
  EXPECT_EQ(position, GetParam().present ? GetParam().position : -1);
  EXPECT_TRUE(log_.texts(kFailures).empty());
}

TEST_F(Lookup, PlaceAmongUnreadableIdsIsAFailure) {
  put(5, {{"a", 0, 5}});
  spoil(5, 0);
  ALERT_RECORD_INFO alert = record_of({5, "a"});
  EXPECT_EQ(srv_alt_id_index_write_location(Opened(index(5)), 1, &alert),
            ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "read_index_srv_id_record(No. 0) failed"));
}

// ---- the entry of one alert ---------------------------------------------------------------------

TEST_F(Lookup, OldestAlertIsFoundInTheTimeIndex) {
  put(0, {{"t1", 4}, {"t2", 5}});
  EXPECT_EQ(search_special_record(Opened(index(0)), 0, record_of({1, "a", "t1"}), 0, 4), 0);
}

TEST_F(Lookup, OtherAlertThanTheOldestMeansADestroyedTimeIndex) {
  put(0, {{"t1", 4}, {"t2", 5}});
  EXPECT_EQ(search_special_record(Opened(index(0)), 0, record_of({1, "a", "t2"}), 0, 5), -1);
  EXPECT_EQ(search_special_record(Opened(index(0)), 0, record_of({1, "a", "t1"}), 0, 5), -1);
  EXPECT_EQ(log_.count(kFailures, "the time.idx file was destroyed !"), 2);
}

TEST_F(Lookup, UnreadableOldestAlertIsAFailure) {
  put(0, {{"t1", 4}});
  spoil(0, 0);
  EXPECT_EQ(search_special_record(Opened(index(0)), 0, record_of({1, "a", "t1"}), 0, 4),
            ALERT_ERR_RECORD_OVERFLOW);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

class AnyFlag : public Lookup, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Lookup, AnyFlag, ::testing::Values(0, 1, 99));

TEST_P(AnyFlag, EntryIsFoundByKeyAndLine) {
  put(1, {{"a", 1}, {"a", 3}, {"b", 0}});
  EXPECT_EQ(search_special_record(Opened(index(1)), 1, record_of({1, "a"}), GetParam(), 3), 1);
  EXPECT_EQ(search_special_record(Opened(index(1)), 1, record_of({1, "b"}), GetParam(), 0), 2);
}

TEST_F(Lookup, AbsentEntryIsReportedWithItsAlert) {
  put(1, {{"a", 1}});
  EXPECT_EQ(search_special_record(Opened(index(1)), 1, record_of({7, "a", "t1"}), 0, 2), -1);
  EXPECT_TRUE(
      log_.has(kFailures, "specified index record  not found in file:server.idx ,oldline = 2"));
  EXPECT_TRUE(log_.has(kFailures, "altinfo:alert_id = 7,szServer = a,szServerTime = t1"));
}

TEST_F(Lookup, EntryInAnIndexWithoutAHeaderIsAFailure) {
  put(1, {{"a", 1}});
  spoil_header(1);
  EXPECT_EQ(search_special_record(Opened(index(1)), 1, record_of({7, "a"}), 0, 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file header(server.idx) failed"));
}

TEST_F(Lookup, UnreadableEntryEndsTheSearch) {
  put(1, {{"a", 1}});
  spoil(1, 0);
  EXPECT_EQ(search_special_record(Opened(index(1)), 1, record_of({7, "a"}), 0, 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index record(No. 0) failed"));
}

TEST_F(Lookup, ExpectedIdThatIsAbsentIsReported) {
  put(5, {{"a", 0, 5}});
  int position = kUntouched;
  EXPECT_EQ(search_special_alt_id_record(Opened(index(5)), 0, record_of({6, "a", "t1"}), &position),
            0);
  EXPECT_EQ(position, -1);
  EXPECT_TRUE(
      log_.has(kFailures, "specified index record  not found in index file:srv_alt_id.idx"));
  EXPECT_TRUE(log_.has(kFailures, "altinfo:alert_id = 6,szServer = a,szServerTime = t1"));
}

TEST_F(Lookup, UnreadableIdIsReportedAsAMiss) {
  put(5, {{"a", 0, 5}});
  spoil(5, 0);
  int position = kUntouched;
  EXPECT_EQ(search_special_alt_id_record(Opened(index(5)), 1, record_of({5, "a"}), &position), 0);
  EXPECT_EQ(position, -1);
  EXPECT_TRUE(log_.has(kFailures, "read_index_srv_id_record(No. 0) failed"));
}

TEST_F(Lookup, IdInAnIndexWithoutAHeaderIsAFailure) {
  put(5, {{"a", 0, 5}});
  spoil_header(5);
  int position = kUntouched;
  EXPECT_EQ(search_special_alt_id_record(Opened(index(5)), 1, record_of({5, "a"}), &position), -1);
  EXPECT_EQ(position, -1);
  EXPECT_TRUE(log_.has(kFailures, "read srv_alt_id index file header failed"));
}

TEST_F(Lookup, LookupsChangeNoFile) {
  put(1, {{"a", 1}, {"b", 2}});
  const auto before = read_directory(store_.directory());
  int begin, end, smaller;
  search_by_nounique_key(Opened(index(1)), 1, "b", &begin, &end, &smaller);
  search_special_record(Opened(index(1)), 1, record_of({7, "a"}), 0, 1);
  EXPECT_EQ(first_difference(read_directory(store_.directory()), before), "");
}

}  // namespace
}  // namespace alt_test
