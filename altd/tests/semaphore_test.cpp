// Semaphores that are named by files: their creation, and holders that die.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <memory>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/process.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr int kProject = 97;

class Semaphore : public StoreTest {
 protected:
  // One of the names whose semaphores the store of the test removes at its end.
  std::string file() const { return store_.command_directory() + "semindex"; }
  int get() const { return get_semaphore(file().c_str()); }
  key_t key() const { return ftok(file().c_str(), kProject); }
  static int value(int id) { return semctl(id, 0, GETVAL); }
  // A semaphore whose creator has not come to set it.
  int half_made() const {
    write_file(file(), "");
    return semget(key(), 1, IPC_CREAT | IPC_EXCL | 0666);
  }
};

// ---- creation -----------------------------------------------------------------------------------

TEST_F(Semaphore, MissingFileIsMadeWithMode0755AndTheSemaphoreIsFree) {
  const int id = get();
  ASSERT_NE(id, -1);
  struct stat status;
  ASSERT_EQ(stat(file().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0755U);
  EXPECT_EQ(value(id), 1);
  EXPECT_TRUE(log_.has(kNotable, "semaphore file(" + file() + ") not exist, now create it."));
}

TEST_F(Semaphore, ExistingFileIsUsedAsItIs) {
  write_file(file(), "content");
  ASSERT_NE(get(), -1);
  EXPECT_EQ(read_file(file()), "content");
  EXPECT_TRUE(log_.texts(kNotable).empty());
}

TEST_F(Semaphore, SemaphoreIsThatOfTheFileAndProject97) {
  const int id = get();
  EXPECT_EQ(id, semget(key(), 1, 0));
  struct semid_ds status = {};
  ASSERT_EQ(semctl(id, 0, IPC_STAT, &status), 0);
  EXPECT_EQ(status.sem_nsems, 1U);
  EXPECT_EQ(status.sem_perm.mode & 0777, 0666);
}

TEST_F(Semaphore, SecondUserGetsTheSameWithoutSettingIt) {
  const int id = get();
  ASSERT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(get(), id);
  EXPECT_EQ(in_process([&] { return get() == id ? 0 : 1; }), 0);
  EXPECT_EQ(value(id), 0);
  EXPECT_EQ(unlock_semaphore(id), 0);
}

TEST_F(Semaphore, HalfMadeSemaphoreIsSetFree) {
  const int id = half_made();
  ASSERT_EQ(value(id), 0);
  EXPECT_EQ(get(), id);
  EXPECT_EQ(value(id), 1);
}

TEST_F(Semaphore, SemaphoreHeldByAnotherIsNotTakenForHalfMade) {
  const int id = get();
  ASSERT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(in_process([&] { return get() == id ? value(id) : 9; }), 0);
  EXPECT_EQ(unlock_semaphore(id), 0);
  EXPECT_EQ(value(id), 1);
}

TEST_F(Semaphore, FirstUsersInManyProcessesNeverHoldItTogether) {
  constexpr int kRounds = 25;
  constexpr int kProcesses = 6;
  const std::string marker = path("held");
  for (int round = 0; round < kRounds; ++round) {
    std::vector<std::unique_ptr<Child>> children;
    for (int i = 0; i < kProcesses; ++i) {
      children.push_back(std::make_unique<Child>([&] {
        const int id = get();
        if (id == -1 || lock_semaphore(id) != 0) return 1;
        if (open(marker.c_str(), O_CREAT | O_EXCL | O_RDWR, 0600) == -1) return 2;
        usleep(200);
        unlink(marker.c_str());
        return unlock_semaphore(id) == 0 ? 0 : 3;
      }));
    }
    for (auto& child : children) EXPECT_EQ(child->wait(), 0) << "round " << round;
    const int id = semget(key(), 1, 0);
    EXPECT_EQ(value(id), 1) << "round " << round;
    semctl(id, 0, IPC_RMID);
    remove_file(file());
  }
}

// ---- failures of creation -----------------------------------------------------------------------

TEST_F(Semaphore, FileThatCannotBeMadeIsAFailure) {
  const std::string file = store_.root() + "/missing/sem";
  EXPECT_EQ(get_semaphore(file.c_str()), -1);
  EXPECT_TRUE(log_.has(kFailures, "create semaphore file(" + file + ") failed: 2"));
}

struct CreationFault {
  Site site;
  const char* message;
};
void PrintTo(const CreationFault& fault, std::ostream* out) { *out << fault.message; }
class CreationFaults : public Semaphore, public ::testing::WithParamInterface<CreationFault> {};
INSTANTIATE_TEST_SUITE_P(
    Semaphore, CreationFaults,
    ::testing::Values(CreationFault{Site::kSemaphoreKey, "get semaphore key failed: 28"},
                      CreationFault{Site::kSemaphoreGet, "create semaphore failed: 28"},
                      CreationFault{Site::kSemaphoreSet, "call semctl failed: 28"}));

TEST_P(CreationFaults, AreReported) {
  const Fault fault(GetParam().site, ENOSPC);
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(log_.has(kFailures, GetParam().message));
}

TEST_F(Semaphore, SemaphoreThatCouldNotBeSetIsSetByTheNext) {
  {
    const Fault fault(Site::kSemaphoreSet, EACCES);
    ASSERT_EQ(get(), -1);
  }
  const int id = get();
  ASSERT_NE(id, -1);
  EXPECT_EQ(value(id), 1);
}

// ---- taking and giving back ---------------------------------------------------------------------

TEST_F(Semaphore, TakenSemaphoreStandsAt0UntilItIsGivenBack) {
  const int id = get();
  EXPECT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(value(id), 0);
  EXPECT_EQ(unlock_semaphore(id), 0);
  EXPECT_EQ(value(id), 1);
}

TEST_F(Semaphore, SecondTakerWaitsUntilItIsGivenBack) {
  const int id = get();
  ASSERT_EQ(lock_semaphore(id), 0);
  Child second([&] { return lock_semaphore(id) == 0 && file_exists(path("given")) ? 0 : 1; });
  for (int look = 0; look < 10000 && semctl(id, 0, GETNCNT) == 0; ++look) usleep(100);
  ASSERT_EQ(semctl(id, 0, GETNCNT), 1);
  write_file(path("given"), "");
  ASSERT_EQ(unlock_semaphore(id), 0);
  EXPECT_EQ(second.wait(), 0);
}

TEST_F(Semaphore, KilledHolderDoesNotLeaveItTaken) {
  const int id = get();
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Opened reading(ends[0]);
  const Opened writing(ends[1]);
  Child holder([&] {
    if (lock_semaphore(id) != 0 || write(writing, "x", 1) != 1) return 1;
    return pause();
  });
  char byte;
  ASSERT_EQ(read(reading, &byte, 1), 1);
  ASSERT_EQ(value(id), 0);
  holder.kill(SIGKILL);
  holder.wait();
  EXPECT_EQ(value(id), 1);
  EXPECT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(unlock_semaphore(id), 0);
}

TEST_F(Semaphore, ProcessThatTookAndGaveBackLeavesItFreeAtItsEnd) {
  const int id = get();
  EXPECT_EQ(in_process([&] { return lock_semaphore(id) + unlock_semaphore(id); }), 0);
  EXPECT_EQ(value(id), 1);
}

TEST_F(Semaphore, InterruptedTakingIsTriedOnceMore) {
  const int id = get();
  const Fault fault(Site::kSemaphoreTake, EINTR, 0, 1);
  EXPECT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(value(id), 0);
  EXPECT_TRUE(log_.has(kNotable, "lock semaphore failed: 4"));
  EXPECT_EQ(unlock_semaphore(id), 0);
}

TEST_F(Semaphore, SecondInterruptionOfTakingPassesForASuccess) {
  const int id = get();
  const Fault fault(Site::kSemaphoreTake, EINTR);
  EXPECT_EQ(lock_semaphore(id), 0);
  EXPECT_EQ(fault.hits(), 2);
  EXPECT_EQ(value(id), 1);
}

TEST_F(Semaphore, InterruptedGivingBackIsTriedOnceMore) {
  const int id = get();
  ASSERT_EQ(lock_semaphore(id), 0);
  const Fault fault(Site::kSemaphoreGive, EINTR, 0, 1);
  EXPECT_EQ(unlock_semaphore(id), 0);
  EXPECT_EQ(value(id), 1);
  EXPECT_TRUE(log_.has(kNotable, "unlock semaphore failed: 4"));
}

TEST_F(Semaphore, RealSignalInterruptsTakingOnlyOnce) {
  const int id = get();
  ASSERT_EQ(lock_semaphore(id), 0);
  Child waiter([&] {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    if (lock_semaphore(id) != 0) return 1;
    return log_.has(kNotable, "lock semaphore failed: 4") ? 0 : 2;
  });
  for (int look = 0; look < 10000 && semctl(id, 0, GETNCNT) == 0; ++look) usleep(100);
  waiter.kill(SIGUSR1);
  usleep(20000);
  ASSERT_EQ(unlock_semaphore(id), 0);
  EXPECT_EQ(waiter.wait(), 0);
}

TEST_F(Semaphore, RemovedSemaphoreFailsBothOperations) {
  const int id = get();
  semctl(id, 0, IPC_RMID);
  EXPECT_EQ(lock_semaphore(id), -1);
  EXPECT_EQ(unlock_semaphore(id), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "lock semaphore failed: "));
  EXPECT_TRUE(log_.has_part(kFailures, "unlock semaphore failed: "));
}

}  // namespace
}  // namespace alt_test
