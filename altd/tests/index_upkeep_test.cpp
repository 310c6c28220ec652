// The indexes while records are written: moving blocks, placing entries, repair, duplicates.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
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
constexpr size_t kHeader = 148;
constexpr int kUp = 0;    // closes a gap
constexpr int kDown = 1;  // opens a gap

class Upkeep : public StoreTest {
 protected:
  std::string index(int type) const { return path(kIndexNames[type]); }
  Texts entries(int type) const { return entry_texts(index(type), type); }
  void store_all(std::initializer_list<Alert> alerts) const {
    for (const Alert& alert : alerts) store(record_of(alert));
  }
  std::string rebuild_notice(int type) const {
    return std::string("Because the index file [") + kIndexNames[type] +
           "] is error,will recreate the index file ...!";
  }
  bool has_any_level(const std::string& text) const {
    for (const LogLine& line : log_.lines()) {
      if (line.text == text) return true;
    }
    return false;
  }
  int changed() const { return read_log_numbers(path(kLog)).changed; }
};

// ---- a log that is not full ---------------------------------------------------------------------

TEST_F(Upkeep, LatestAlertIsAppendedToTheTimeIndex) {
  store_all({{1, "a", "t1"}, {2, "a", "t2"}});
  const std::string before = read_file(index(0)).value();
  store_all({{3, "a", "t3"}});
  const std::string after = read_file(index(0)).value();
  EXPECT_EQ(after.size(), before.size() + 74);
  EXPECT_EQ(after.substr(kHeader, 2 * 74), before.substr(kHeader));
  EXPECT_EQ(header_number(after, 1), 3);
}

TEST_F(Upkeep, EntriesAreKeptInTheirOrder) {
  store_all({{5, "b", "t3", "net", "10", "2"},
             {4, "a", "t1", "disk", "9", "1"},
             {6, "b", "t2", "net", "9", "3"},
             {1, "a", "t4", "cpu", "100", "2"}});
  EXPECT_EQ(entries(0), (Texts{"t1:1", "t2:2", "t3:0", "t4:3"}));
  EXPECT_EQ(entries(1), (Texts{"a:1", "a:3", "b:0", "b:2"}));
  EXPECT_EQ(entries(2), (Texts{"cpu:3", "disk:1", "net:0", "net:2"}));
  EXPECT_EQ(entries(3), (Texts{"9:1", "9:2", "10:0", "100:3"}));
  EXPECT_EQ(entries(4), (Texts{"1:1", "2:0", "2:3", "3:2"}));
  EXPECT_EQ(entries(5), (Texts{"a:1:3", "a:4:1", "b:5:0", "b:6:2"}));
}

TEST_F(Upkeep, AlertOfAnExistingTimeGoesBehindItsEquals) {
  store_all({{1, "b", "t1"}, {2, "b", "t2"}, {3, "b", "t3"}, {4, "a", "t2"}});
  EXPECT_EQ(entries(0), (Texts{"t1:0", "t2:1", "t2:3", "t3:2"}));
}

TEST_F(Upkeep, AlertOfTheOldestTimeGoesInFrontOfIt) {
  store_all({{1, "b", "t1"}, {2, "b", "t2"}, {3, "a", "t1"}});
  EXPECT_EQ(entries(0), (Texts{"t1:2", "t1:0", "t2:1"}));
}

TEST_F(Upkeep, WriteClearsTheBitOfEachIndex) {
  store_all({{1}, {2}});
  EXPECT_EQ(changed(), 192);
}

// ---- a full log ---------------------------------------------------------------------------------

class FullUpkeep : public Upkeep {
 protected:
  FullUpkeep() { alt_max_count = 3; }
};

TEST_F(FullUpkeep, TimeIndexMovesUpByOneEntry) {
  store_all({{1, "a", "t1"}, {2, "a", "t2"}, {3, "a", "t3"}});
  const size_t size = read_file(index(0))->size();
  store_all({{4, "a", "t4"}});
  EXPECT_EQ(entries(0), (Texts{"t2:1", "t3:2", "t4:0"}));
  EXPECT_EQ(read_file(index(0))->size(), size);
}

TEST_F(FullUpkeep, EqualKeyAtTheSameLineIsOverwrittenInPlace) {
  store_all({{1, "b", "t1"}, {2, "a", "t2"}, {3, "c", "t3"}, {4, "b", "t4"}});
  EXPECT_EQ(entries(1), (Texts{"a:1", "b:0", "c:2"}));
}

TEST_F(FullUpkeep, SmallerKeyMovesTheEntriesBetweenDown) {
  store_all({{1, "c", "t1"}, {2, "a", "t2"}, {3, "b", "t3"}, {4, "a", "t4"}});
  EXPECT_EQ(entries(1), (Texts{"a:0", "a:1", "b:2"}));
  EXPECT_EQ(entries(5), (Texts{"a:2:1", "a:4:0", "b:3:2"}));
}

TEST_F(FullUpkeep, LargerKeyMovesTheEntriesBetweenUp) {
  store_all({{1, "a", "t1"}, {2, "b", "t2"}, {3, "c", "t3"}, {4, "d", "t4"}});
  EXPECT_EQ(entries(1), (Texts{"b:1", "c:2", "d:0"}));
  EXPECT_EQ(entries(5), (Texts{"b:2:1", "c:3:2", "d:4:0"}));
}

TEST_F(FullUpkeep, EveryIndexKeepsItsCountOverManyWrites) {
  for (uint32_t id = 1; id <= 20; ++id) {
    store(record_of({id, "s" + std::to_string(id * 7 % 5), "t" + std::to_string(10 + id),
                     "m" + std::to_string(id * 3 % 4), std::to_string(id * 5 % 13), "1"}));
  }
  for (int type = 0; type < 6; ++type) EXPECT_EQ(entries(type).size(), 3U) << kIndexNames[type];
  EXPECT_EQ(entries(0), (Texts{"t28:2", "t29:0", "t30:1"}));
}

TEST_F(FullUpkeep, OldAlertThatIsNotTheFirstOfTheTimeIndexDestroysItAlone) {
  store_all({{1, "a", "t1"}, {2, "b", "t2"}, {3, "c", "t3"}});
  ALERT_RECORD_INFO fresh = record_of({4, "d", "t4"});
  set_log_changed(path(kLog), 255);
  log_.clear();
  EXPECT_EQ(modify_index_file(1, &fresh, record_of({2, "b", "t2"})), 0);
  EXPECT_TRUE(log_.has(kFailures, "the time.idx file was destroyed !"));
  EXPECT_TRUE(log_.has(kFailures, "call search_special_record failed"));
  EXPECT_TRUE(has_any_level(rebuild_notice(0)));
  EXPECT_FALSE(file_exists(index(0)));
  EXPECT_EQ(entries(1), (Texts{"a:0", "c:2", "d:1"}));
  EXPECT_EQ(entries(5), (Texts{"a:1:0", "c:3:2", "d:4:1"}));
  EXPECT_EQ(changed(), 193);
}

TEST_F(FullUpkeep, OldAlertMissingFromTheIdIndexDestroysIt) {
  store_all({{1, "a", "t1"}, {2, "b", "t2"}, {3, "c", "t3"}});
  write_file(index(5), index_text(5, {{"b", 1, 2}, {"c", 2, 3}, {"x", 0, 9}}));
  log_.clear();
  store_all({{4, "d", "t4"}});
  EXPECT_TRUE(log_.has(kFailures, "call search_special_alt_id_record failed ,line = 0"));
  EXPECT_FALSE(file_exists(index(5)));
  EXPECT_EQ(changed(), 192 + 32);
}

// ---- indexes that are missing or damaged --------------------------------------------------------

class EachIndex : public Upkeep, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, EachIndex, ::testing::Range(0, 6));

TEST_P(EachIndex, MissingIsBuiltByItsOpeningAndLeftAlone) {
  store_all({{1, "a", "t1"}});
  remove_file(index(GetParam()));
  store_all({{2, "b", "t2"}});
  EXPECT_EQ(entries(GetParam()).size(), 2U);
  EXPECT_EQ(index_create[GetParam()], 0);
  EXPECT_EQ(changed(), 192);
}

TEST_P(EachIndex, WithADamagedHeaderIsDeletedAndBuiltByItsNextOpening) {
  store_all({{1, "a", "t1"}});
  write_file_at(index(GetParam()), 11, "?");  // in place of the first colon
  store_all({{2, "b", "t2"}});
  EXPECT_TRUE(log_.has(
      kFailures, std::string("read index file(") + kIndexNames[GetParam()] + ") header failed"));
  EXPECT_TRUE(has_any_level(rebuild_notice(GetParam())));
  EXPECT_FALSE(file_exists(index(GetParam())));
  EXPECT_EQ(changed(), 192 | 1 << GetParam());
  const Opened rebuilt(open_file(kIndexNames[GetParam()], O_RDWR));
  EXPECT_EQ(entries(GetParam()).size(), 2U);
  EXPECT_EQ(changed(), 192);
}

TEST_P(EachIndex, WithADamagedEntryIsDeleted) {
  store_all({{1, "a", "t1"}});
  // Numbers of blanks only, so that the entry cannot be cut.
  write_file_at(index(GetParam()), kHeader + 65,
                GetParam() == 5 ? std::string(18, ' ') : std::string(8, ' '));
  store_all({{2, "b", "t2"}});
  EXPECT_TRUE(log_.has(
      kFailures, std::string("search index(") + kIndexNames[GetParam()] + ") location failed"));
  EXPECT_FALSE(file_exists(index(GetParam())));
}

TEST_P(EachIndex, ThatCannotBeDeletedEndsTheUpkeep) {
  store_all({{1, "a", "t1"}});
  remove_file(index(GetParam()));
  std::filesystem::create_directories(index(GetParam()) + "/inside");
  ALERT_RECORD_INFO fresh = record_of({2, "b", "t2"});
  log_.clear();
  EXPECT_EQ(modify_index_file(1, &fresh, {}), -1);
  EXPECT_TRUE(
      log_.has(kFailures, std::string("open index file(") + kIndexNames[GetParam()] + ") failed"));
  EXPECT_TRUE(log_.has(kFailures, "remove alert index file(" + index(GetParam()) + ") failed"));
  for (int type = 0; type < 6; ++type) {
    if (type == GetParam()) continue;
    EXPECT_EQ(entries(type).size(), type < GetParam() ? 2U : 1U) << kIndexNames[type];
  }
}

TEST_F(Upkeep, LogThatCannotBeOpenedFailsTheUpkeep) {
  std::filesystem::create_directory(path(kLog));
  ALERT_RECORD_INFO fresh = make_record(1);
  EXPECT_EQ(modify_index_file(0, &fresh, {}), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file(alertlog.alt) failed"));
}

struct FlagFault {
  Site site;
  const char* message;
};
void PrintTo(const FlagFault& fault, std::ostream* out) { *out << fault.message; }
class FlagFaults : public Upkeep, public ::testing::WithParamInterface<FlagFault> {
 protected:
  void free_semaphores() const {
    for (const char* name : {"semcreate", "semindex"}) {
      const int id = semget(ftok((store_.command_directory() + name).c_str(), 97), 1, 0);
      semctl(id, 0, SETVAL, 1);
    }
  }
};
INSTANTIATE_TEST_SUITE_P(
    Upkeep, FlagFaults,
    ::testing::Values(FlagFault{Site::kSemaphoreKey, "get_smaphore(PATH) failed"},
                      FlagFault{Site::kSemaphoreTake, "lock semaphore failed"},
                      FlagFault{Site::kSemaphoreGive, "unlock semaphore failed"}));

TEST_P(FlagFaults, OfAFreshIndexDeleteItAgain) {
  store_all({{1, "a", "t1"}});
  ALERT_RECORD_INFO fresh = record_of({2, "b", "t2"});
  const auto without_server_index = [&] {
    free_semaphores();
    write_log(path(kLog), 10, {record_of({1, "a", "t1"}), fresh});
    for (int type = 0; type < 6; ++type) {
      const std::string name = kIndexNames[type];
      write_file(index(type), index_text(type, {{"a", 0, 1}}));
    }
    remove_file(index(1));
  };
  int deleted = 0;
  const int faults = for_each_call(GetParam().site, EACCES, without_server_index, [&] {
    EXPECT_EQ(modify_index_file(1, &fresh, {}), 0);
    deleted += file_exists(index(1)) ? 0 : 1;
  });
  EXPECT_EQ(deleted, faults);
  std::string message = GetParam().message;
  if (const size_t at = message.find("PATH"); at != std::string::npos) {
    message.replace(at, 4, store_.command_directory() + "semindex");
  }
  EXPECT_TRUE(log_.has(kFailures, message));
}

TEST_F(Upkeep, FailedWritesNeverLeaveAWrongIndex) {
  ALERT_RECORD_INFO fresh = record_of({2, "a", "t0"});
  const std::vector<ALERT_RECORD_INFO> records = {record_of({1, "b", "t1"}), fresh};
  const auto before_the_write = [&] {
    write_log(path(kLog), 10, records);
    const char* keys[6] = {"t1", "b", "disk", "1001", "1", "b"};
    for (int type = 0; type < 6; ++type) {
      write_file(index(type), index_text(type, {{keys[type], 0, 1}}));
    }
  };
  const int faults = for_each_call(Site::kWrite, ENOSPC, before_the_write, [&] {
    EXPECT_EQ(modify_index_file(1, &fresh, {}), 0);
    const Texts expected[6] = {{"t0:1", "t1:0"},     {"a:1", "b:0"}, {"disk:0", "disk:1"},
                               {"1001:0", "1001:1"}, {"1:0", "1:1"}, {"a:2:1", "b:1:0"}};
    for (int type = 0; type < 6; ++type) {
      if (!file_exists(index(type))) continue;
      EXPECT_EQ(entries(type), expected[type]) << kIndexNames[type];
    }
  });
  EXPECT_GE(faults, 6);
}

class StepFaults : public Upkeep, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, StepFaults,
                         ::testing::Values("move index record failed",
                                           "write index file(server.idx) header failed",
                                           "write index record(No. 2) failed"));

TEST_P(StepFaults, AreReported) {
  ALERT_RECORD_INFO fresh = record_of({3, "a", "t3"});
  const auto before_the_write = [&] {
    write_log(path(kLog), 10, {record_of({1, "b", "t1"}), record_of({2, "b", "t2"}), fresh});
    const char* keys[6] = {"t1", "b", "disk", "1001", "1", "b"};
    for (int type = 0; type < 6; ++type) {
      write_file(index(type), index_text(type, {{keys[type], 0, 1}, {keys[type], 1, 2}}));
    }
  };
  for (const Site site : {Site::kRead, Site::kWrite}) {
    for_each_call(site, EIO, before_the_write,
                  [&] { EXPECT_LE(modify_index_file(2, &fresh, {}), 0); });
  }
  EXPECT_TRUE(log_.has(kFailures, GetParam()));
}

class ScarceUpkeep : public FullUpkeep, public ::testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, ScarceUpkeep, ::testing::Values(85, 160, 240, 1000, 100000));

TEST_P(ScarceUpkeep, IndexesAreRightWhenMemoryIsShort) {
  alt_max_count = 12;
  const auto alert = [](uint32_t id) {
    return record_of({id, "s" + std::to_string(id * 7 % 5), "t" + std::to_string(10 + id),
                      "m" + std::to_string(id * 3 % 4), std::to_string(id * 5 % 13), "1"});
  };
  const ScarceMemory scarce(GetParam());
  for (uint32_t id = 1; id <= 40; ++id) {
    const ALERT_RECORD_INFO record = alert(id);
    EXPECT_LE(udp_write_disk(image(record), sizeof(record), 0), 0);
    for (int type = 0; type < 6; ++type) {
      const bool kept_up = file_exists(index(type)) && (changed() >> type & 1) == 0;
      if (!kept_up) continue;
      const Texts kept = entries(type);
      EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end()) || type == 3 || type == 5);
      EXPECT_EQ(kept.size(), log_ids(path(kLog)).size()) << kIndexNames[type] << " after " << id;
    }
  }
}

// ---- moving blocks ------------------------------------------------------------------------------

class Moving : public Upkeep {
 protected:
  static constexpr int kCount = 9;

  void put(int type) const {
    Entries all;
    for (uint32_t i = 0; i < kCount; ++i) all.push_back({"k" + std::to_string(i), i, 100 + i});
    write_file(index(type), index_text(type, all));
  }
  // Names of the keys after a move, in the order of the file.
  std::string moved(int type, int start, int end, int direction) const {
    put(type);
    EXPECT_EQ(move_index_record(Opened(index(type)), type, start, end, direction), 0);
    return keys(type);
  }
  std::string keys(int type) const {
    const std::string text = read_file(index(type)).value();
    const size_t size = alt_model::entry_size(type);
    std::string all;
    for (size_t at = kHeader; at + size <= text.size(); at += size) all += text[at + 1];
    return all;
  }
};

struct Move {
  int start;
  int end;
  int direction;
  const char* keys;
};
void PrintTo(const Move& move, std::ostream* out) {
  *out << move.start << " to " << move.end << ", direction " << move.direction;
}
class MoveTable : public Moving, public ::testing::WithParamInterface<Move> {};
INSTANTIATE_TEST_SUITE_P(
    Upkeep, MoveTable,
    ::testing::Values(Move{0, 8, kUp, "123456788"}, Move{2, 5, kUp, "013455678"},
                      Move{7, 8, kUp, "012345688"}, Move{4, 4, kUp, "012345678"},
                      Move{0, 8, kDown, "0012345678"}, Move{2, 5, kDown, "012234578"},
                      Move{8, 8, kDown, "0123456788"}, Move{4, 4, kDown, "012344678"},
                      Move{2, 5, 2, "012345678"}, Move{2, 5, -1, "012345678"}));

TEST_P(MoveTable, MovesItsEntriesByOne) {
  for (const int type : {1, 5}) {
    EXPECT_EQ(moved(type, GetParam().start, GetParam().end, GetParam().direction), GetParam().keys);
  }
}

TEST_P(MoveTable, MovesTheSameInPiecesWhenMemoryIsShort) {
  for (const int type : {1, 5}) {
    for (size_t entries = 1; entries <= kCount; ++entries) {
      const ScarceMemory scarce(alt_model::entry_size(type) * entries + 1);
      EXPECT_EQ(moved(type, GetParam().start, GetParam().end, GetParam().direction),
                GetParam().keys)
          << "room for " << entries;
    }
  }
}

TEST_F(Moving, EveryBlockMovesTheSameInPieces) {
  for (int start = 0; start < kCount; ++start) {
    for (int end = start; end < kCount; ++end) {
      for (const int direction : {kUp, kDown}) {
        const std::string whole = moved(0, start, end, direction);
        for (const size_t entries : {1, 2, 3}) {
          const ScarceMemory scarce(74 * entries + 1);
          EXPECT_EQ(moved(0, start, end, direction), whole) << start << " to " << end;
        }
      }
    }
  }
}

TEST_F(Moving, WithoutAnyMemoryNothingMoves) {
  put(1);
  const ScarceMemory none(0);
  EXPECT_EQ(move_index_record(Opened(index(1)), 1, 0, 7, kUp), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "malloc("));
  EXPECT_TRUE(log_.has_part(kFailures, ") failed(12)."));
  EXPECT_EQ(keys(1), "012345678");
}

TEST_F(Moving, CallAndBufferAreDumped) {
  moved(1, 2, 5, kDown);
  EXPECT_TRUE(log_.has_part(kDump, "ENTER ==>move_index_record("));
  EXPECT_TRUE(log_.has_part(kDump, "=malloc(296)"));
  EXPECT_TRUE(log_.has(kDump, "LEAVE <==move_index_record() :0"));
}

TEST_F(Moving, FailedMoveIsReported) {
  put(1);
  const Opened file(index(1));
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_LT(move_index_record(file, 1, 2, 5, kUp), 0);
  EXPECT_TRUE(log_.has_part(kFailures, "move_line("));
  EXPECT_TRUE(log_.has_part(kFailures, ", buf, 222). failed"));
}

TEST_F(Moving, LineIsCopiedThroughTheBuffer) {
  write_file(path("f"), "0123456789");
  char buffer[4];
  EXPECT_EQ(move_line(Opened(path("f")), 1, 5, buffer, sizeof(buffer)), 4);
  EXPECT_EQ(read_file(path("f")), "0567856789");
  EXPECT_TRUE(log_.has(kDump, "read ok: read_sz=4"));
}

TEST_F(Moving, LineAtTheEndOfTheFileIsCopiedAsFarAsItGoes) {
  write_file(path("f"), "0123456789");
  char buffer[4];
  EXPECT_EQ(move_line(Opened(path("f")), 0, 8, buffer, sizeof(buffer)), 2);
  EXPECT_EQ(read_file(path("f")), "8923456789");
}

TEST_F(Moving, NothingBehindTheEndOfTheFileIsCopied) {
  write_file(path("f"), "0123456789");
  char buffer[4];
  EXPECT_EQ(move_line(Opened(path("f")), 0, 10, buffer, sizeof(buffer)), 0);
  EXPECT_EQ(read_file(path("f")), "0123456789");
}

TEST_F(Moving, LineWithoutABufferIsAnError) {
  EXPECT_EQ(move_line(3, 1, 5, nullptr, 4), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "parameter (3, "));
}

struct LineFault {
  Site site;
  int skip;
  const char* begin;
};
void PrintTo(const LineFault& fault, std::ostream* out) {
  *out << fault.begin << " after " << fault.skip;
}
class LineFaults : public Moving, public ::testing::WithParamInterface<LineFault> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, LineFaults,
                         ::testing::Values(LineFault{Site::kSeek, 0, "lseek("},
                                           LineFault{Site::kSeek, 1, "lseek("},
                                           LineFault{Site::kLockShared, 0, "readw_lock("},
                                           LineFault{Site::kLockExclusive, 0, "writew_lock("},
                                           LineFault{Site::kUnlock, 0, "un_lock("},
                                           LineFault{Site::kUnlock, 1, "un_lock("},
                                           LineFault{Site::kRead, 0, "read failed"},
                                           LineFault{Site::kWrite, 0, "write_line("}));

TEST_P(LineFaults, EndTheMoveOfALine) {
  write_file(path("f"), "0123456789");
  const Opened file(path("f"));
  char buffer[4];
  const Fault fault(GetParam().site, EIO, GetParam().skip);
  EXPECT_EQ(move_line(file, 1, 5, buffer, sizeof(buffer)), -1);
  EXPECT_TRUE(log_.has_part(kFailures, GetParam().begin));
  EXPECT_TRUE(log_.has(kDump, "LEAVE <==move_line() :-1"));
}

// ---- removing one entry -------------------------------------------------------------------------

TEST_F(Upkeep, RemovedEntryShortensTheFileAndLeavesTheCount) {
  write_file(index(1), index_text(1, {{"node1", 0}, {"node1", 1}, {"node2", 2}}));
  EXPECT_EQ(delete_index_record(1, Opened(index(1)), 1, record_of({9, "node1"})), 0);
  const std::string text = read_file(index(1)).value();
  EXPECT_EQ(text.size(), kHeader + 2 * 74);
  EXPECT_EQ(header_number(text, 1), 3);
  EXPECT_EQ(text.substr(kHeader), index_text(1, {{"node1", 0}, {"node2", 2}}).substr(kHeader));
}

TEST_F(Upkeep, RemovingOfAnAbsentEntryChangesNothing) {
  write_file(index(1), index_text(1, {{"node1", 0}}));
  const std::string before = read_file(index(1)).value();
  EXPECT_LT(delete_index_record(7, Opened(index(1)), 1, record_of({9, "node1"})), 0);
  EXPECT_TRUE(log_.has(kFailures, "call search_special_record failed"));
  EXPECT_EQ(read_file(index(1)), before);
}

struct RemovalFault {
  Site site;
  const char* message;
};
void PrintTo(const RemovalFault& fault, std::ostream* out) { *out << fault.message; }
class RemovalFaults : public Upkeep, public ::testing::WithParamInterface<RemovalFault> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, RemovalFaults,
                         ::testing::Values(RemovalFault{Site::kStatus, "fstat failed: 5"},
                                           RemovalFault{Site::kWrite, "move index record failed"},
                                           RemovalFault{Site::kTruncate, "ftruncate failed: 5"}));

TEST_P(RemovalFaults, AreReported) {
  write_file(index(1), index_text(1, {{"node1", 0}, {"node1", 1}}));
  const Opened file(index(1));
  const Fault fault(GetParam().site, EIO);
  EXPECT_EQ(delete_index_record(0, file, 1, record_of({9, "node1"})), -1);
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
}

// ---- duplicates ---------------------------------------------------------------------------------

struct Candidate {
  const char* server;
  uint32_t id;
  int duplicate;
};
void PrintTo(const Candidate& row, std::ostream* out) { *out << row.server << " " << row.id; }
class Duplicate : public Upkeep, public ::testing::WithParamInterface<Candidate> {};
INSTANTIATE_TEST_SUITE_P(Upkeep, Duplicate,
                         ::testing::Values(Candidate{"a", 1, 1}, Candidate{"a", 2, 0},
                                           Candidate{"b", 1, 0}, Candidate{"b", 2, 1},
                                           Candidate{"c", 1, 0}, Candidate{"A", 1, 0},
                                           Candidate{"a", 4294967295U, 0}));

TEST_P(Duplicate, IsAnAlertOfTheSameServerAndId) {
  store_all({{1, "a", "t1"}, {2, "b", "t2"}});
  const ALERT_RECORD_INFO candidate = record_of({GetParam().id, GetParam().server, "t9"});
  EXPECT_EQ(check_dup_alert(image(candidate)), GetParam().duplicate);
  EXPECT_TRUE(log_.has(
      kDetails, "check duplicate finished, duplicate = " + std::to_string(GetParam().duplicate) +
                    "[0-not duplicated, 1-duplicated]"));
  EXPECT_TRUE(log_.texts(kFailures).size() == 1);  // "local_svr is NULL" of the new log
}

TEST_F(Upkeep, DuplicateOfNothingIsAnError) {
  EXPECT_EQ(check_dup_alert(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(Upkeep, DuplicateWithoutAnIndexThatCanBeMadeIsAnError) {
  std::filesystem::create_directory(index(5));
  write_log(path(kLog), 10, {});
  const ALERT_RECORD_INFO candidate = make_record(1);
  EXPECT_EQ(check_dup_alert(image(candidate)), -1);
  EXPECT_TRUE(log_.has(kFailures, "search_special_alt_id_record failed"));
}

TEST_F(Upkeep, DuplicateWhoseIndexCannotBeOpenedIsAnError) {
  const Fault fault(Site::kCreate, EACCES);
  const ALERT_RECORD_INFO candidate = make_record(1);
  EXPECT_EQ(check_dup_alert(image(candidate)), -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(srv_alt_id.idx) failed"));
}

TEST_F(Upkeep, UnreadableEntryCountsAsNotDuplicated) {
  store_all({{1, "a", "t1"}});
  write_file_at(index(5), kHeader + 65, std::string(10, ' '));
  const ALERT_RECORD_INFO candidate = record_of({1, "a"});
  EXPECT_EQ(check_dup_alert(image(candidate)), 0);
}

}  // namespace
}  // namespace alt_test
