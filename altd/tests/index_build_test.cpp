// Building indexes from the log, and deleting those that cannot be trusted.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/process.h"
#include "support/random.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

using alt_model::kIndexNames;

constexpr const char* kLog = "alertlog.alt";
constexpr size_t kHeader = 148;

class Build : public StoreTest {
 protected:
  std::string index(int type) const { return path(kIndexNames[type]); }
  Texts entries(int type) const { return entry_texts(index(type), type); }
  int build(int type) const { return create_index_content(kIndexNames[type]); }
  void put_log(std::initializer_list<Alert> alerts, int changed = 255) const {
    std::vector<ALERT_RECORD_INFO> records;
    for (const Alert& alert : alerts) records.push_back(record_of(alert));
    write_log(path(kLog), 10, records, changed);
  }
  void write_indexes() const {
    for (int type = 0; type < 6; ++type) write_file(index(type), "old");
  }
  Texts indexes_present() const {
    Texts present;
    for (const char* name : kIndexNames) {
      if (file_exists(path(name))) present.emplace_back(name);
    }
    return present;
  }
  // A directory that cannot be removed as a file.
  void make_stubborn(const std::string& name) const {
    std::filesystem::remove(path(name));
    std::filesystem::create_directories(path(name) + "/inside");
  }
  int changed() const { return read_log_numbers(path(kLog)).changed; }
  std::string semaphore() const { return store_.command_directory() + "semcreate"; }
  int semaphore_value() const {
    return semctl(semget(ftok(semaphore().c_str(), 97), 1, 0), 0, GETVAL);
  }
};

// ---- content ------------------------------------------------------------------------------------

class BuildEach : public Build, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Build, BuildEach, ::testing::Range(0, 6));

TEST_P(BuildEach, FromAnEmptyLogIsAHeaderAndClearsItsBit) {
  put_log({});
  EXPECT_EQ(build(GetParam()), 0);
  EXPECT_EQ(first_difference(read_file(index(GetParam())).value(), index_text(GetParam(), {})), "");
  EXPECT_EQ(read_file(index(GetParam()))->size(), kHeader);
  EXPECT_EQ(changed(), 255 & ~(1 << GetParam()));
}

TEST_P(BuildEach, HoldsAnEntryForEveryRecord) {
  put_log({{3, "b", "t2"}, {1, "a", "t3"}, {2, "b", "t1"}});
  EXPECT_EQ(build(GetParam()), 0);
  EXPECT_EQ(entries(GetParam()).size(), 3U);
  EXPECT_EQ(changed(), 255 & ~(1 << GetParam()));
  EXPECT_EQ(semaphore_value(), 1);
}

TEST_P(BuildEach, CutsOffAnOlderFile) {
  put_log({{1}});
  write_file(index(GetParam()), std::string(5000, 'x'));
  EXPECT_EQ(build(GetParam()), 0);
  EXPECT_EQ(entries(GetParam()).size(), 1U);
}

TEST_P(BuildEach, EqualsAnIndexKeptUpByWrites) {
  for (uint32_t id = 1; id <= 9; ++id) {
    store(record_of({id, "s" + std::to_string(id * 7 % 4), "t" + std::to_string(id),
                     "m" + std::to_string(id % 3), std::to_string(id * 5 % 13), "1"}));
  }
  const std::string kept = read_file(index(GetParam())).value();
  ASSERT_EQ(build(GetParam()), 0);
  EXPECT_EQ(first_difference(read_file(index(GetParam())).value(), kept), "");
}

TEST_F(Build, EqualTimesAreOrderedByServer) {
  put_log({{1, "c", "t1"}, {2, "a", "t1"}, {3, "b", "t0"}, {4, "b", "t1"}});
  ASSERT_EQ(build(0), 0);
  EXPECT_EQ(entries(0), (Texts{"t0:2", "t1:1", "t1:3", "t1:0"}));
}

TEST_F(Build, EventsAreOrderedByNumberThenLine) {
  put_log({{1, "a", "t", "m", "10"}, {2, "a", "t", "m", "9"}, {3, "a", "t", "m", "9"}});
  ASSERT_EQ(build(3), 0);
  EXPECT_EQ(entries(3), (Texts{"9:1", "9:2", "10:0"}));
}

TEST_F(Build, EqualKeysAreOrderedByLine) {
  put_log({{1, "b"}, {2, "a"}, {3, "b"}, {4, "a"}});
  ASSERT_EQ(build(1), 0);
  EXPECT_EQ(entries(1), (Texts{"a:1", "a:3", "b:0", "b:2"}));
}

TEST_F(Build, ServersAreOrderedByAlertId) {
  put_log({{300, "b"}, {9, "a"}, {20, "b"}, {100, "a"}});
  ASSERT_EQ(build(5), 0);
  EXPECT_EQ(entries(5), (Texts{"a:9:1", "a:100:3", "b:20:2", "b:300:0"}));
}

TEST_F(Build, LargeLogIsSortedWhole) {
  alt_max_count = 3000;
  std::vector<ALERT_RECORD_INFO> records;
  for (uint32_t i = 0; i < 3000; ++i) records.push_back(record_of({i * 7919 % 3000, "node"}));
  write_log(path(kLog), 3000, records);
  ASSERT_EQ(build(5), 0);
  const Entries all = read_entries(index(5), 5);
  for (uint32_t i = 0; i < 3000; ++i) ASSERT_EQ(all[i].id, i);
}

// ---- sorting and writing nodes ------------------------------------------------------------------

TEST_F(Build, NodeTakesLineKeyAndSecondKey) {
  INDEX_NODE nodes[3] = {};
  const unsigned id = 4000000000U;
  EXPECT_EQ(insert_node_by_key(-1, 5, nodes, "node1", &id, 2), 0);
  EXPECT_EQ(insert_node_by_key(-1, 0, nodes, "t1", "node2", 1), 0);
  EXPECT_EQ(nodes[0].nLineNo, 0);
  EXPECT_STREQ(nodes[0].szIdxval, "");
  EXPECT_EQ(nodes[2].nLineNo, 2);
  EXPECT_STREQ(nodes[2].szIdxval, "node1");
  EXPECT_EQ(memcmp(nodes[2].szAppend, &id, sizeof(id)), 0);
  EXPECT_STREQ(nodes[1].szIdxval, "t1");
  EXPECT_STREQ(nodes[1].szAppend, "node2");
}

class SortEach : public Build, public ::testing::WithParamInterface<int> {
 protected:
  static bool less(const INDEX_NODE& a, const INDEX_NODE& b) {
    const int keys =
        GetParam() == 3 ? atoi(a.szIdxval) - atoi(b.szIdxval) : strcmp(a.szIdxval, b.szIdxval);
    if (keys != 0) return keys < 0;
    if (GetParam() == 0) return strcmp(a.szAppend, b.szAppend) < 0;
    unsigned numbers[2];
    memcpy(&numbers[0], a.szAppend, sizeof(unsigned));
    memcpy(&numbers[1], b.szAppend, sizeof(unsigned));
    return numbers[0] < numbers[1];
  }
};
INSTANTIATE_TEST_SUITE_P(Build, SortEach, ::testing::Range(0, 6));

TEST_P(SortEach, NodesComeOutInTheOrderOfTheIndex) {
  Random random(7);
  for (int count = 0; count < 40; ++count) {
    std::vector<INDEX_NODE> nodes(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
      const unsigned second = static_cast<unsigned>(random.below(5));
      const std::string text = std::to_string(second);
      insert_node_by_key(-1, GetParam(), nodes.data(), std::to_string(random.below(12)).c_str(),
                         GetParam() == 0 ? static_cast<const void*>(text.c_str()) : &second, i);
    }
    qsort_indexNode_array(nodes.data(), 0, count - 1, GetParam());
    EXPECT_TRUE(std::is_sorted(nodes.begin(), nodes.end(), less)) << count;
  }
}

TEST_F(Build, OnlyTheGivenPartIsSorted) {
  INDEX_NODE nodes[5] = {};
  const unsigned none = 0;
  const char* keys[] = {"e", "d", "c", "b", "a"};
  for (int i = 0; i < 5; ++i) insert_node_by_key(-1, 1, nodes, keys[i], &none, i);
  qsort_indexNode_array(nodes, 1, 3, 1);
  Texts order;
  for (const INDEX_NODE& each : nodes) order.emplace_back(each.szIdxval);
  EXPECT_EQ(order, (Texts{"e", "b", "c", "d", "a"}));
}

TEST_F(Build, SortingNothingDoesNothing) {
  INDEX_NODE one = {};
  qsort_indexNode_array(nullptr, 0, 5, 1);
  qsort_indexNode_array(&one, 0, 0, 1);
  qsort_indexNode_array(&one, 3, 1, 1);
  EXPECT_EQ(one.nLineNo, 0);
}

class Output : public Build {
 protected:
  Output() {
    for (int i = 0; i < 5; ++i) {
      const unsigned id = 10U + static_cast<unsigned>(i);
      insert_node_by_key(-1, 5, nodes_, ("k" + std::to_string(i)).c_str(), &id, i);
    }
  }
  std::string expected(int type) const {
    std::string text;
    for (uint32_t i = 0; i < 5; ++i) {
      text += alt_model::entry_text(type, {"k" + std::to_string(i), i, 10 + i});
    }
    return text;
  }
  INDEX_NODE nodes_[5] = {};
};

TEST_F(Output, WritesAllNodesAtThePositionOfTheDescriptor) {
  for (const int type : {1, 5}) {
    write_file(path("f"), "head");
    const Opened file(path("f"));
    lseek(file, 4, SEEK_SET);
    EXPECT_EQ(output_index_file(nodes_, file, type, 5), 0);
    EXPECT_EQ(first_difference(read_file(path("f")).value(), "head" + expected(type)), "");
  }
}

TEST_F(Output, WritesTheSameInBatchesWhenMemoryIsShort) {
  for (const int type : {1, 5}) {
    for (size_t entries = 1; entries <= 5; ++entries) {
      write_file(path("f"), "");
      const ScarceMemory scarce(alt_model::entry_size(type) * entries + 2);
      EXPECT_EQ(output_index_file(nodes_, Opened(path("f")), type, 5), 0);
      EXPECT_EQ(first_difference(read_file(path("f")).value(), expected(type)), "") << entries;
    }
  }
}

TEST_F(Output, WithoutAnyMemoryFails) {
  write_file(path("f"), "");
  const ScarceMemory none(0);
  EXPECT_EQ(output_index_file(nodes_, Opened(path("f")), 1, 5), -1);
  EXPECT_TRUE(log_.has(kFailures, "call malloc() error no free space"));
}

TEST_F(Output, FailedWriteIsReported) {
  EXPECT_EQ(output_index_file(nodes_, Opened("/dev/full", O_RDWR), 1, 5), -1);
  EXPECT_TRUE(log_.has(kFailures, "write data failed"));
}

TEST_F(Output, WrongArgumentsAreRefused) {
  write_file(path("f"), "");
  const Opened file(path("f"));
  EXPECT_EQ(output_index_file(nullptr, file, 1, 5), -1);
  EXPECT_EQ(output_index_file(nodes_, -1, 1, 5), -1);
  EXPECT_EQ(output_index_file(nodes_, file, -1, 5), -1);
  EXPECT_EQ(output_index_file(nodes_, file, 1, 0), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 4);
  EXPECT_EQ(read_file(path("f")), "");
}

// ---- failures -----------------------------------------------------------------------------------

TEST_F(Build, NamelessIndexIsAnError) {
  EXPECT_EQ(create_index_content(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(Build, LogThatCannotBeOpenedFailsTheBuild) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(build(0), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed"));
}

TEST_F(Build, RecordThatCannotBeCutFailsTheBuild) {
  put_log({{1}, {2}, {3}});
  write_file_at(path(kLog), 332 + 684 + 34, std::string(24, ' '));
  EXPECT_EQ(build(0), -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert record(No. 1) failed"));
  EXPECT_FALSE(file_exists(index(0)));
  EXPECT_EQ(changed(), 255);
}

TEST_F(Build, WithoutMemoryTheBuildFails) {
  put_log({{1}, {2}});
  const ScarceMemory none(0);
  EXPECT_EQ(build(0), -1);
}

TEST_F(Build, SemaphoreDirectoryUnderAFileFailsTheBuild) {
  put_log({{1}});
  write_file(store_.root() + "/plain", "");
  std::string directory = store_.root() + "/plain/cmd/";
  alt_cmd_path = directory.data();
  EXPECT_EQ(build(0), -1);
}

struct BuildFault {
  Site site;
  int error;
  const char* message;
};
void PrintTo(const BuildFault& fault, std::ostream* out) { *out << fault.message; }
class BuildFaults : public Build, public ::testing::WithParamInterface<BuildFault> {};
INSTANTIATE_TEST_SUITE_P(
    Build, BuildFaults,
    ::testing::Values(BuildFault{Site::kSemaphoreGet, ENOSPC, "get semaphore failed"},
                      BuildFault{Site::kSemaphoreTake, EIDRM, "call lock_semaphore failed"},
                      BuildFault{Site::kWrite, ENOSPC,
                                 "write index file(level.idx) header failed"}));

TEST_P(BuildFaults, LeaveNoIndexBehind) {
  put_log({{1}});
  {
    const Fault fault(GetParam().site, GetParam().error);
    EXPECT_EQ(build(4), -1);
  }
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
  EXPECT_FALSE(file_exists(index(4)));
  EXPECT_EQ(changed(), 255);
}

TEST_F(Build, FileThatCannotBeCreatedFailsTheBuildAndGivesTheSemaphoreBack) {
  put_log({{1}});
  std::filesystem::create_directory(index(4));
  EXPECT_EQ(build(4), -1);
  EXPECT_TRUE(log_.has(kFailures, "create file(" + store_.directory() + "/level.idx) failed") ||
              log_.has(kFailures, "create file(" + index(4) + ") failed"));
  EXPECT_EQ(semaphore_value(), 1);
}

TEST_F(Build, FileThatAnotherHasMadeIsASuccess) {
  put_log({{1}});
  write_file(semaphore(), "");
  const Fault fault(Site::kCreate, EEXIST);
  EXPECT_EQ(build(4), 0);
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_EQ(semaphore_value(), 1);
}

TEST_F(Build, SemaphoreThatCannotBeGivenBackLeavesTheIndexToItsNextOpening) {
  put_log({{1}});
  const Fault fault(Site::kSemaphoreGive, EIDRM);
  EXPECT_EQ(build(4), 0);
  EXPECT_TRUE(log_.has(kFailures, "unlock semaphore failed"));
  EXPECT_FALSE(file_exists(index(4)));
  EXPECT_EQ(changed(), 255);
}

TEST_F(Build, HalfMadeIndexThatCannotBeRemovedIsReported) {
  put_log({{1}});
  const Fault fault(Site::kWrite, ENOSPC);
  const Fault stubborn(Site::kRemove, EPERM);
  EXPECT_EQ(build(4), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "remove file("));
}

TEST_F(Build, WritesThatFailNeverClearTheBit) {
  const int faults = for_each_call(
      Site::kWrite, ENOSPC,
      [&] {
        put_log({{1}, {2}});
      },
      [&] {
        if (build(4) == 0) return;  // only the log header, or nothing, has failed
        EXPECT_EQ(changed(), 255);
      });
  EXPECT_GE(faults, 2);
  EXPECT_TRUE(log_.has(kFailures, "call output_index_file failed"));
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
}

TEST_F(Build, EntriesAreWrittenUnderALockOfTheWholeFile) {
  put_log({{1}});
  const std::string file = index(4);
  bool locked = false;
  const Interception watch(Site::kWrite, [&](size_t bytes) {
    if (bytes != 74) return kPass;
    locked = in_process([&] {
               const Opened other(file);
               struct flock range = {};
               range.l_type = F_RDLCK;
               fcntl(other, F_GETLK, &range);
               return range.l_type == F_WRLCK && range.l_start == 0 && range.l_len == 0 ? 1 : 0;
             }) == 1;
    return kPass;
  });
  EXPECT_EQ(build(4), 0);
  EXPECT_TRUE(locked);
}

TEST_F(Build, EntriesThatCannotBeLockedFailTheBuild) {
  put_log({{1}});
  for_each_call(
      Site::kLockExclusive, EDEADLK, [&] { put_log({{1}}); }, [&] { (void)build(4); });
  EXPECT_TRUE(log_.has_part(kFailures, "lock file failed: 35"));
}

// ---- all at once --------------------------------------------------------------------------------

TEST_F(Build, AllIndexesAreMadeAnew) {
  put_log({{1}, {2}});
  write_indexes();
  EXPECT_EQ(recreate_index_files(), 0);
  for (int type = 0; type < 6; ++type) EXPECT_EQ(entries(type).size(), 2U);
  EXPECT_EQ(changed(), 192);
}

TEST_F(Build, AllIndexesStopAtTheFirstThatCannotBeMade) {
  put_log({{1}});
  write_indexes();
  make_stubborn("module.idx");
  EXPECT_EQ(recreate_index_files(), -1);
  EXPECT_TRUE(
      log_.has(kNotable, "remove old index file(module.idx) error, but this is never mind.") ||
      log_.has(kNotable, "remove old index file(" + index(2) + ") error, but this is never mind."));
  EXPECT_TRUE(log_.has(kNotable, "recreate index file(module.idx) error!"));
  EXPECT_EQ(entries(1).size(), 1U);
  EXPECT_EQ(read_file(index(3)), "old");
}

// ---- integrity ----------------------------------------------------------------------------------

struct Mask {
  int changed;
  Texts left;
};
void PrintTo(const Mask& mask, std::ostream* out) { *out << mask.changed; }
class Integrity : public Build, public ::testing::WithParamInterface<Mask> {};
const Texts kAll(std::begin(kIndexNames), std::end(kIndexNames));
INSTANTIATE_TEST_SUITE_P(
    Build, Integrity,
    ::testing::Values(
        Mask{0, kAll}, Mask{64, kAll}, Mask{128, kAll}, Mask{192, kAll}, Mask{255, {}},
        Mask{63, {}},
        Mask{1, {"server.idx", "module.idx", "event.idx", "level.idx", "srv_alt_id.idx"}},
        Mask{64 + 32, {"time.idx", "server.idx", "module.idx", "event.idx", "level.idx"}},
        Mask{128 + 2 + 8, {"time.idx", "module.idx", "level.idx", "srv_alt_id.idx"}}));

TEST_P(Integrity, DeletesTheIndexesWhoseBitsAreSet) {
  put_log({{1}}, GetParam().changed);
  write_indexes();
  EXPECT_EQ(check_index_file_status(), 0);
  EXPECT_EQ(indexes_present(), GetParam().left);
  EXPECT_EQ(changed(), GetParam().changed);
}

TEST_F(Build, IntegrityIsNoFailureWhenTheIndexIsAbsent) {
  put_log({{1}}, 255);
  EXPECT_EQ(check_index_file_status(), 0);
  EXPECT_EQ(log_.texts(kFailures).size(), 6U);  // the notices
  EXPECT_TRUE(log_.has(kFailures,
                       "Because the index file [time.idx] is error,will recreate the index file "
                       "...!"));
}

TEST_F(Build, IntegrityStopsAtAnIndexThatCannotBeDeleted) {
  put_log({{1}}, 255);
  write_indexes();
  make_stubborn("server.idx");
  EXPECT_EQ(check_index_file_status(), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "remove alert index file("));
  EXPECT_EQ(indexes_present(),
            (Texts{"server.idx", "module.idx", "event.idx", "level.idx", "srv_alt_id.idx"}));
}

TEST_F(Build, IntegrityOfALogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(check_index_file_status(), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file(alertlog.alt) failed"));
}

TEST_F(Build, DestroyedEmptyLogGoesWithItsIndexes) {
  write_file(path(kLog), "");
  write_indexes();
  EXPECT_EQ(remove_destroyed_file(), 0);
  EXPECT_TRUE(list_directory(store_.directory()).empty());
}

TEST_F(Build, LogWithContentOutlivesItsIndexes) {
  put_log({{1}});
  write_indexes();
  EXPECT_EQ(remove_destroyed_file(), 0);
  EXPECT_EQ(list_directory(store_.directory()), Texts{kLog});
}

TEST_F(Build, IndexesGoWithoutALogToo) {
  write_indexes();
  EXPECT_EQ(remove_destroyed_file(), 0);
  EXPECT_TRUE(log_.has(kFailures, "stat failed - 2"));
  EXPECT_TRUE(list_directory(store_.directory()).empty());
}

TEST_F(Build, DestroyedLogThatCannotBeRemovedKeepsItsIndexes) {
  write_file(path(kLog), "");
  write_indexes();
  const Fault fault(Site::kRemove, EPERM);
  EXPECT_EQ(remove_destroyed_file(), -1);
  EXPECT_TRUE(log_.has(kFailures, "remove file(" + path(kLog) + ") failed - 1"));
  EXPECT_EQ(indexes_present().size(), 6U);
}

TEST_F(Build, DestroyedIndexThatCannotBeRemovedIsPassedOver) {
  put_log({{1}});
  write_indexes();
  make_stubborn("server.idx");
  EXPECT_EQ(remove_destroyed_file(), 0);
  EXPECT_TRUE(log_.has_part(kFailures, "remove file(" + index(1) + ") failed - "));
  EXPECT_EQ(indexes_present(), Texts{"server.idx"});
}

}  // namespace
}  // namespace alt_test
