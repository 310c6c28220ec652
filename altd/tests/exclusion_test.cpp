// Stores, searches and resizes of different processes exclude each other.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <memory>

#include "alert_log.h"
#include "support/files.h"
#include "support/process.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";

// True once the process stands in the kernel's list of those who wait for a lock.
bool comes_to_wait(pid_t pid) {
  const std::string mark = " " + std::to_string(pid) + " ";
  for (int look = 0; look < 5000; ++look) {
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
      const bool waits = line.find("->") != std::string::npos;
      if (waits && line.find("FLOCK") != std::string::npos &&
          line.find(mark) != std::string::npos) {
        return true;
      }
    }
    usleep(1000);
  }
  return false;
}

class Exclusion : public StoreTest {
 protected:
  // Somebody else's hold of the store.
  class Hold {
   public:
    explicit Hold(const std::string& directory) : fd_(directory, O_RDONLY | O_DIRECTORY) {
      EXPECT_EQ(flock(fd_, LOCK_EX), 0);
    }
    void release() { EXPECT_EQ(flock(fd_, LOCK_UN), 0); }

   private:
    Opened fd_;
  };
};

struct Operation {
  const char* name;
  int (*run)();
  int result;
};
void PrintTo(const Operation& operation, std::ostream* out) { *out << operation.name; }

int search_all() {
  ALERT_RECORD_INFO records[10];
  int size = 10;
  int page = 0;
  return alert_search({}, &size, &page, records);
}

class Excluded : public Exclusion, public ::testing::WithParamInterface<Operation> {};
INSTANTIATE_TEST_SUITE_P(Exclusion, Excluded,
                         ::testing::Values(Operation{"search", search_all, 2},
                                           Operation{"store",
                                                     [] {
                                                       const ALERT_RECORD_INFO record =
                                                           make_record(3);
                                                       return udp_write_disk(image(record),
                                                                             sizeof(record), 1);
                                                     },
                                                     0},
                                           Operation{"updated mark", check_is_update, 1},
                                           Operation{"latest",
                                                     [] {
                                                       ALERT_RECORD_INFO records[10];
                                                       return alert_get_last(records, 10);
                                                     },
                                                     2},
                                           Operation{"paging by count",
                                                     [] {
                                                       ALERT_RECORD_INFO records[10];
                                                       int size = 10;
                                                       int page = 0;
                                                       return get_alert_by_count(10, &size, &page,
                                                                                 records);
                                                     },
                                                     2},
                                           Operation{"resize",
                                                     [] {
                                                       alt_max_count = 20;
                                                       return adjust_alert_record(20);
                                                     },
                                                     0}));

TEST_P(Excluded, WaitsForAnotherHoldOfTheStore) {
  store(make_record(1));
  store(make_record(2));
  Hold hold(store_.directory());
  Child child([] { return GetParam().run(); });
  EXPECT_TRUE(comes_to_wait(child.pid()));
  hold.release();
  EXPECT_EQ(child.wait(), GetParam().result);
}

TEST_P(Excluded, LeavesNoHoldBehind) {
  store(make_record(1));
  store(make_record(2));
  EXPECT_EQ(GetParam().run(), GetParam().result);
  const Opened directory(store_.directory(), O_RDONLY | O_DIRECTORY);
  EXPECT_EQ(flock(directory, LOCK_EX | LOCK_NB), 0);
}

TEST_F(Exclusion, AppendingToTheIntakeDoesNotWait) {
  const Hold hold(store_.directory());
  EXPECT_EQ(in_process([] {
              ALERT_RECORD_INFO record = make_record(1);
              return alert_log_lib_write(&record);
            }),
            0);
}

TEST_F(Exclusion, StoreLeavesNoDescriptorToItsChildren) {
  store(make_record(1));
  const size_t before = list_directory("/proc/self/fd").size();
  search_all();
  store(make_record(2));
  EXPECT_EQ(list_directory("/proc/self/fd").size(), before);
}

// ---- searches during stores ---------------------------------------------------------------------

constexpr uint32_t kCapacity = 20;
constexpr uint32_t kStores = 150;

std::string server_of(uint32_t id) { return "s" + std::to_string(id % 3); }

// The ids that a search by server (empty: all) finds after `stored` stores, newest first.
Numbers expected_ids(uint32_t stored, const std::string& server) {
  Numbers ids;
  const uint32_t oldest = stored > kCapacity ? stored - kCapacity + 1 : 1;
  for (uint32_t id = stored; id >= oldest; --id) {
    if (server.empty() || server_of(id) == server) ids.push_back(id);
  }
  return ids;
}

// Searches until the last store is seen. Every answer must be that of one state, never an older
// one than the answer before.
int search_until_the_end(int first_criterion) {
  uint32_t stored = 1;
  for (int round = first_criterion; round < 100000; ++round) {
    // Another condition each time: a kept result belongs to one process, the mark to all.
    const std::string server = round % 4 == 3 ? "" : "s" + std::to_string(round % 4);
    ALERT_SEARCH_INFO info = {};
    set_text(info.szServer, server);
    ALERT_RECORD_INFO records[kCapacity];
    int size = kCapacity;
    int page = 0;
    if (alert_search(info, &size, &page, records) < 0) return 1;
    Numbers ids;
    for (int i = 0; i < size; ++i) ids.push_back(records[i].alert_id);
    while (stored <= kStores && expected_ids(stored, server) != ids) ++stored;
    if (stored > kStores) return 2;
    if (stored == kStores) return 0;
  }
  return 3;
}

int take_latest_until_the_end() {
  uint32_t stored = 1;
  for (int round = 0; round < 100000; ++round) {
    ALERT_RECORD_INFO records[kCapacity];
    const int count = alert_get_last(records, kCapacity);
    if (count < 0) return 1;
    Numbers ids;
    for (int i = 0; i < count; ++i) ids.push_back(records[i].alert_id);
    while (stored <= kStores && expected_ids(stored, "") != ids) ++stored;
    if (stored > kStores) return 2;
    if (stored == kStores) return 0;
  }
  return 3;
}

TEST_F(Exclusion, SearchesDuringStoresSeeWholeStatesOnly) {
  alt_max_count = kCapacity;
  store(record_of({1, server_of(1), make_record(1).szServerTime}));
  Child searcher([] { return search_until_the_end(0); });
  Child second([] { return search_until_the_end(2); });
  Child latest(take_latest_until_the_end);
  Child writer([] {
    for (uint32_t id = 2; id <= kStores; ++id) {
      store(record_of({id, server_of(id), make_record(id).szServerTime}));
    }
    return 0;
  });
  EXPECT_EQ(writer.wait(), 0);
  EXPECT_EQ(searcher.wait(), 0);
  EXPECT_EQ(second.wait(), 0);
  EXPECT_EQ(latest.wait(), 0);
  EXPECT_EQ(log_ids(path(kLog)).size(), kCapacity);
}

}  // namespace
}  // namespace alt_test
