// Opening, creating and checking the files of the store.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>

#include "alert_log.h"
#include "support/cluster.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/process.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr const char* kLog = "alertlog.alt";
constexpr const char* kIntake = "alerttmp.alt";
constexpr size_t kNewLogSize = 332;

size_t open_descriptors() { return list_directory("/proc/self/fd").size(); }

class Files : public StoreTest {
 protected:
  std::string semaphore(const std::string& name) const { return store_.command_directory() + name; }
  int semaphore_value(const std::string& name) const {
    return semctl(semget(ftok(semaphore(name).c_str(), 97), 1, 0), 0, GETVAL);
  }
  void write_indexes(const std::string& content = "old") const {
    for (const char* name : alt_model::kIndexNames) write_file(path(name), content);
  }
  size_t indexes_present() const {
    size_t present = 0;
    for (const char* name : alt_model::kIndexNames) present += file_exists(path(name)) ? 1 : 0;
    return present;
  }
  // A directory that cannot be removed as a file.
  void make_stubborn(const std::string& name) const {
    std::filesystem::create_directories(path(name) + "/inside");
  }
  // A log that counts one record more than it holds.
  void write_short_log() const {
    alt_model::LogHeader header;
    header.max_count = 10;
    header.count = 1;
    write_file(path(kLog), alt_model::header_text(header));
  }
};

// ---- opening ------------------------------------------------------------------------------------

TEST_F(Files, OpeningTheLogInAnEmptyStoreMakesDirectoriesAndHeader) {
  std::filesystem::remove_all(store_.directory());
  std::filesystem::remove_all(store_.command_directory());
  alt_max_count = 10000;
  const Opened log(open_file(kLog, O_RDWR));
  ASSERT_TRUE(log.is_open());
  EXPECT_EQ(first_difference(read_file(path(kLog)).value(),
                             "Max count:   10000\n"
                             "Current count:       0\n"
                             "Current to write:       0\n"
                             "Max record size:     683\n"
                             "Is changed:       0\n"
                             "Current alert Id:       0\n"
                             "AlertID   Write Time              Date & Time             Server" +
                                 std::string(59, ' ') + "Module" + std::string(26, ' ') +
                                 "EventId Level   Alert Message       \n\n"),
            "");
  EXPECT_EQ(read_file(path(kLog))->size(), kNewLogSize);
  EXPECT_TRUE(log_.has(kNotable, "file(" + path(kLog) + ") not exist, now create it."));
}

TEST_F(Files, NewLogHasMode0644) {
  const Opened log(open_file(kLog, O_RDWR));
  struct stat status;
  ASSERT_EQ(stat(path(kLog).c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(Files, NewLogOutsideTheDaemonAsksForTheLocalId) {
  get_maxalertid_localserver_now = 0;
  const Opened log(open_file(kLog, O_RDWR));
  EXPECT_EQ(get_maxalertid_localserver_now, 1);
  EXPECT_TRUE(log_.has(kFailures, "local_svr is NULL"));
}

TEST_F(Files, NewLogInTheDaemonIsFilledFromTheOtherServers) {
  const Cluster cluster("node1", {"node2", "node3"});
  start_write_local_logfile = 1;
  const Opened log(open_file(kLog, O_RDWR));
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_EQ(start_write_local_logfile, 0);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

TEST_F(Files, NewLogRemovesOldIndexes) {
  write_indexes();
  const Opened log(open_file(kLog, O_RDWR));
  ASSERT_TRUE(log.is_open());
  EXPECT_EQ(indexes_present(), 0U);
}

TEST_F(Files, ExistingLogIsOpenedAsItIs) {
  write_log(path(kLog), 10, {make_record(1), make_record(2)});
  write_indexes();
  const std::string before = read_file(path(kLog)).value();
  get_maxalertid_localserver_now = 0;
  const Opened log(open_file(kLog, O_RDWR));
  EXPECT_TRUE(log.is_open());
  EXPECT_EQ(read_file(path(kLog)), before);
  EXPECT_EQ(indexes_present(), 6U);
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
}

TEST_F(Files, FlagsOfOpenAreThoseGiven) {
  const Opened log(open_file(kLog, O_RDONLY));
  EXPECT_EQ(fcntl(log, F_GETFL) & O_ACCMODE, O_RDONLY);
}

TEST_F(Files, MissingIntakeFileIsMadeEmpty) {
  get_maxalertid_localserver_now = 0;
  const Opened intake(open_file(kIntake, O_RDWR));
  ASSERT_TRUE(intake.is_open());
  EXPECT_EQ(read_file(path(kIntake)), "");
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_TRUE(file_exists(semaphore("semtemp")));
}

TEST_F(Files, PathsAreTracedUpTo80Characters) {
  const std::string name(120, 'n');
  write_file(path(name), "");
  const Opened file(open_file(name.c_str(), O_RDWR));
  EXPECT_TRUE(log_.has(kTrace, "full file path: " + path(name).substr(0, 80)));
  EXPECT_TRUE(log_.has(kTrace, "semfile path: " + store_.command_directory()));
  EXPECT_TRUE(log_.has(kTrace, "semfile : " + semaphore("semindex")));
}

TEST_F(Files, LogThatIsADirectoryIsNotOpened) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_TRUE(log_.has(kFailures, "open file(" + path(kLog) + ") failed,errcode = 21"));
}

TEST_F(Files, SemaphoreDirectoryUnderAFileFailsTheOpen) {
  write_file(store_.root() + "/plain", "");
  std::string directory = store_.root() + "/plain/cmd/";
  alt_cmd_path = directory.data();
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_TRUE(log_.has(kFailures, "mkdir_path(" + directory + ") failed"));
}

TEST_F(Files, FailedCreationFailsTheOpen) {
  const Fault fault(Site::kCreate, EACCES, 1);  // the first is the semaphore file's
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_EQ(log_.count(kFailures, "create file(" + path(kLog) + ") failed"), 2);
}

TEST_F(Files, FileThatIsStillMissingAfterCreationFailsTheOpen) {
  const Fault fault(Site::kCreate, EEXIST, 1);
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_TRUE(log_.has(kFailures, "open file(" + path(kLog) + ") failed, errcode = 2"));
}

class EveryIndex : public Files, public ::testing::WithParamInterface<int> {
 protected:
  std::string name() const { return alt_model::kIndexNames[GetParam()]; }
};
INSTANTIATE_TEST_SUITE_P(Files, EveryIndex, ::testing::Range(0, 6));

TEST_P(EveryIndex, MissingIndexIsBuiltAndFlagged) {
  write_log(path(kLog), 10, {make_record(1), make_record(2)});
  for (int& flag : index_create) flag = 0;
  const Opened index(open_file(name().c_str(), O_RDWR));
  ASSERT_TRUE(index.is_open());
  EXPECT_EQ(read_entries(path(name()), GetParam()).size(), 2U);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(index_create[i], i == GetParam() ? 1 : 0) << i;
}

TEST_P(EveryIndex, ExistingIndexIsNotFlagged) {
  write_file(path(name()), index_text(GetParam(), {}));
  for (int& flag : index_create) flag = 0;
  const Opened index(open_file(name().c_str(), O_RDWR));
  ASSERT_TRUE(index.is_open());
  EXPECT_EQ(index_create[GetParam()], 0);
}

// Building an index takes "semcreate" first; the second semaphore is "semindex".
struct SemaphoreFault {
  Site site;
  std::string message;
};
void PrintTo(const SemaphoreFault& fault, std::ostream* out) { *out << fault.message; }
class IndexFlagFaults : public Files, public ::testing::WithParamInterface<SemaphoreFault> {};
INSTANTIATE_TEST_SUITE_P(
    Files, IndexFlagFaults,
    ::testing::Values(SemaphoreFault{Site::kSemaphoreKey, "call get_semaphore(PATH) failed"},
                      SemaphoreFault{Site::kSemaphoreTake, "call lock_semaphore failed"},
                      SemaphoreFault{Site::kSemaphoreGive, "call unlock_semaphore failed"}));

TEST_P(IndexFlagFaults, SemaphoreTroubleClosesTheNewIndex) {
  write_log(path(kLog), 10, {make_record(1)});
  const size_t before = open_descriptors();
  const Fault fault(GetParam().site, EACCES, 1);
  EXPECT_EQ(open_file("server.idx", O_RDWR), -1);
  std::string message = GetParam().message;
  if (const size_t at = message.find("PATH"); at != std::string::npos) {
    message.replace(at, 4, semaphore("semindex"));
  }
  EXPECT_TRUE(log_.has(kFailures, message));
  EXPECT_EQ(open_descriptors(), before);
}

// ---- creating -----------------------------------------------------------------------------------

struct Creation {
  int type;
  const char* file;
  const char* semaphore;
};
void PrintTo(const Creation& creation, std::ostream* out) { *out << creation.file; }
class Creating : public Files, public ::testing::WithParamInterface<Creation> {
 protected:
  int create() const { return create_file(GetParam().type, GetParam().file); }
  std::string file() const { return path(GetParam().file); }
  bool is_free() const { return semaphore_value(GetParam().semaphore) == 1; }
};
INSTANTIATE_TEST_SUITE_P(Files, Creating,
                         ::testing::Values(Creation{0, kLog, "semcreate"},
                                           Creation{2, kIntake, "semtemp"}));

TEST_P(Creating, FileIsMadeAndSemaphoreGivenBack) {
  const size_t before = open_descriptors();
  EXPECT_EQ(create(), 0);
  EXPECT_EQ(read_file(file())->size(), GetParam().type == 0 ? kNewLogSize : 0U);
  EXPECT_TRUE(is_free());
  EXPECT_EQ(open_descriptors(), before);
}

TEST_P(Creating, ExistingFileIsCutOff) {
  write_file(file(), std::string(5000, 'x'));
  EXPECT_EQ(create(), 0);
  EXPECT_EQ(read_file(file())->size(), GetParam().type == 0 ? kNewLogSize : 0U);
}

TEST_P(Creating, StoreDirectoryUnderAFileFails) {
  write_file(store_.root() + "/plain", "");
  const std::string directory = store_.root() + "/plain/log/";
  set_text(alt_path_only, directory);
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "call mkdir_path(" + directory + ") failed"));
}

TEST_P(Creating, SemaphoreDirectoryUnderAFileFails) {
  write_file(store_.root() + "/plain", "");
  std::string directory = store_.root() + "/plain/cmd/";
  alt_cmd_path = directory.data();
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "call mkdir_path(" + directory + ") failed"));
}

TEST_P(Creating, MissingSemaphoreFails) {
  const Fault fault(Site::kSemaphoreGet, ENOSPC);
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "get semaphore failed"));
  EXPECT_FALSE(file_exists(file()));
}

TEST_P(Creating, SemaphoreThatCannotBeTakenFails) {
  const Fault fault(Site::kSemaphoreTake, EIDRM);
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "call lock_semaphore failed"));
  EXPECT_FALSE(file_exists(file()));
}

TEST_P(Creating, FileThatAnotherHasMadeIsASuccess) {
  const Fault fault(Site::kCreate, EEXIST, 1);
  EXPECT_EQ(create(), 0);
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_TRUE(is_free());
}

TEST_P(Creating, FailedCreationGivesTheSemaphoreBack) {
  std::filesystem::create_directory(file());
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "create file(" + file() + ") failed"));
  EXPECT_TRUE(is_free());
}

TEST_P(Creating, SemaphoreThatCannotBeGivenBackRemovesTheFile) {
  const Fault fault(Site::kSemaphoreGive, EIDRM);
  const size_t before = open_descriptors();
  EXPECT_EQ(create(), -1);
  EXPECT_TRUE(log_.has(kFailures, "unlock semaphore failed"));
  EXPECT_FALSE(file_exists(file()));
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Files, LogWithoutItsHeaderIsRemovedAgain) {
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_EQ(create_file(0, kLog), -1);
  EXPECT_TRUE(log_.has(kFailures, "write alert header failed"));
  EXPECT_FALSE(file_exists(path(kLog)));
  EXPECT_EQ(semaphore_value("semcreate"), 1);
}

TEST_F(Files, HalfMadeLogThatCannotBeRemovedIsReported) {
  const Fault fault(Site::kWrite, ENOSPC);
  const Fault stubborn(Site::kRemove, EPERM);
  EXPECT_EQ(create_file(0, kLog), -1);
  EXPECT_TRUE(log_.has(kFailures, "remove file(" + path(kLog) + ") failed"));
}

TEST_F(Files, OldIndexThatCannotBeRemovedFailsTheCreationOfALog) {
  make_stubborn("module.idx");
  EXPECT_EQ(create_file(0, kLog), -1);
  EXPECT_TRUE(log_.has(kFailures, "remove file(" + path("module.idx") + ") failed."));
  EXPECT_EQ(semaphore_value("semcreate"), 1);
}

TEST_F(Files, IndexThatCannotBeBuiltIsNotCreated) {
  make_stubborn("time.idx");
  write_log(path(kLog), 10, {});
  EXPECT_EQ(create_file(1, "time.idx"), -1);
  EXPECT_TRUE(log_.has(kFailures, "create index file failed"));
}

TEST_F(Files, ManyProcessesCreatingAtOnceLeaveOneWholeLog) {
  std::vector<std::unique_ptr<Child>> children;
  for (int i = 0; i < 8; ++i) {
    children.push_back(std::make_unique<Child>([] {
      const int log = open_file(kLog, O_RDWR);
      const int intake = open_file(kIntake, O_RDWR);
      return log >= 0 && intake >= 0 ? 0 : 1;
    }));
  }
  // A log found between its creation and its header is refused and removed, so some may fail.
  for (auto& child : children) child->wait();
  const Opened log(open_file(kLog, O_RDWR));
  EXPECT_TRUE(log.is_open());
  EXPECT_EQ(read_file(path(kLog))->size(), kNewLogSize);
  EXPECT_EQ(semaphore_value("semcreate"), 1);
  EXPECT_EQ(semaphore_value("semtemp"), 1);
}

// ---- directories --------------------------------------------------------------------------------

TEST_F(Files, MissingDirectoriesAreMadeUpToTheLastSlash) {
  const std::string root = store_.root();
  EXPECT_EQ(mkdir_path((root + "/a/b/c/").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(root + "/a/b/c"));
}

TEST_F(Files, ComponentBehindTheLastSlashIsNotMade) {
  const std::string root = store_.root();
  EXPECT_EQ(mkdir_path((root + "/a/b").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(root + "/a"));
  EXPECT_FALSE(file_exists(root + "/a/b"));
}

TEST_F(Files, RepeatedSlashesInAPathCountOnce) {
  const std::string root = store_.root();
  EXPECT_EQ(mkdir_path((root + "//a///b//").c_str()), 0);
  EXPECT_TRUE(std::filesystem::is_directory(root + "/a/b"));
}

TEST_F(Files, ExistingDirectoriesAreNoFailure) {
  EXPECT_EQ(mkdir_path(store_.directory().c_str()), 0);
  EXPECT_TRUE(log_.texts(kFailures).empty());
}

TEST_F(Files, DirectoryUnderAFileIsNamedInTheFailure) {
  const std::string plain = store_.root() + "/plain";
  write_file(plain, "");
  EXPECT_EQ(mkdir_path((plain + "/a/b/").c_str()), -1);
  EXPECT_TRUE(log_.has(kFailures, "mkdir(" + plain + "/a) failed"));
}

TEST_F(Files, DirectoriesGetTheirOddModeLessTheUmask) {
  ASSERT_EQ(mkdir_path((store_.root() + "/a/").c_str()), 0);
  struct stat status;
  ASSERT_EQ(stat((store_.root() + "/a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 01777, 01567U & ~022U);
}

// ---- the check of an opened file ----------------------------------------------------------------

TEST_F(Files, OnlyTheLogIsExamined) {
  write_file(path("time.idx"), "damaged");
  const Opened index(path("time.idx"));
  EXPECT_EQ(file_check("time.idx", index), 0);
  EXPECT_EQ(file_check(kIntake, index), 0);
  EXPECT_TRUE(index.is_open());
}

TEST_F(Files, LogOfTheRightSizeIsUsable) {
  write_log(path(kLog), 10, {make_record(1)});
  const Opened log(path(kLog));
  EXPECT_EQ(file_check(kLog, log), 0);
  EXPECT_TRUE(log.is_open());
}

TEST_F(Files, LogWithAWidenedHeaderIsUsable) {
  write_log(path(kLog), 10, {make_record(1)});
  std::string text = read_file(path(kLog)).value();
  text.replace(text.find("       0\nAlertID"), 8, "123456789");
  write_file(path(kLog), text);
  const Opened log(path(kLog));
  EXPECT_EQ(file_check(kLog, log), 0);
}

TEST_F(Files, LogOfAnotherSizeIsRefusedAndKeptByAClient) {
  write_short_log();
  write_indexes();
  const Opened log(path(kLog));
  EXPECT_EQ(file_check(kLog, log), 1);
  EXPECT_FALSE(log.is_open());
  EXPECT_TRUE(file_exists(path(kLog)));
  EXPECT_EQ(indexes_present(), 6U);
  EXPECT_TRUE(
      log_.has(kFailures, "alert log file is not normal (size = 332):althead.nCurCount = 1"));
}

TEST_F(Files, LogOfAnotherSizeIsDeletedWithItsIndexesByTheDaemon) {
  const Cluster cluster("node1", {"node2"});
  write_short_log();
  write_indexes();
  const Opened log(path(kLog));
  EXPECT_EQ(file_check(kLog, log), 1);
  EXPECT_FALSE(log.is_open());
  EXPECT_FALSE(file_exists(path(kLog)));
  EXPECT_EQ(indexes_present(), 0U);
  EXPECT_TRUE(log_.has(
      kFailures, "alert log file is not normal so delete it(size = 332):althead.nCurCount = 1"));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
}

TEST_F(Files, OpeningALogOfAnotherSizeFailsAndLeaksNothing) {
  write_short_log();
  const size_t before = open_descriptors();
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_EQ(open_descriptors(), before);
}

TEST_F(Files, LogAfterItsDeletionByTheDaemonIsMadeAnew) {
  const Cluster cluster("node1");
  write_short_log();
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  const Opened log(open_file(kLog, O_RDWR));
  EXPECT_TRUE(log.is_open());
  EXPECT_EQ(read_file(path(kLog))->size(), kNewLogSize);
}

TEST_F(Files, LogWhoseStatusIsUnknownIsClosedAndKept) {
  write_log(path(kLog), 10, {});
  const Opened log(path(kLog));
  {
    const Fault fault(Site::kStatus, EIO);
    EXPECT_EQ(file_check(kLog, log), -1);
  }
  EXPECT_FALSE(log.is_open());
  EXPECT_TRUE(file_exists(path(kLog)));
  EXPECT_TRUE(log_.has(kFailures, "fstat failed: 5"));
}

TEST_F(Files, LogWithADamagedHeaderIsDeletedByAClientToo) {
  write_log(path(kLog), 10, {});
  write_file_at(path(kLog), 9, "?");  // in place of the first colon
  write_indexes();
  const Opened log(path(kLog));
  EXPECT_EQ(file_check(kLog, log), -1);
  EXPECT_FALSE(log.is_open());
  EXPECT_FALSE(file_exists(path(kLog)));
  EXPECT_EQ(indexes_present(), 0U);
  EXPECT_TRUE(log_.has(kFailures, "read alert file header failed"));
}

class UnreadableLog : public Files, public ::testing::WithParamInterface<Site> {};
INSTANTIATE_TEST_SUITE_P(Files, UnreadableLog,
                         ::testing::Values(Site::kRead, Site::kLockShared, Site::kUnlock));

TEST_P(UnreadableLog, IsDeletedWhicheverReadFails) {
  const int faults = for_each_call(
      GetParam(), EIO, [&] { write_log(path(kLog), 10, {}); },
      [&] {
        const int fd = open(path(kLog).c_str(), O_RDWR);
        if (file_check(kLog, fd) == 0) {
          close(fd);
        } else {
          EXPECT_FALSE(file_exists(path(kLog)));
        }
      });
  EXPECT_GE(faults, 1);
  EXPECT_TRUE(file_exists(path(kLog)));  // by the last run, which met no fault
}

TEST_F(Files, EmptyLogIsDeletedWithItsIndexes) {
  write_file(path(kLog), "");
  write_indexes();
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_FALSE(file_exists(path(kLog)));
  EXPECT_EQ(indexes_present(), 0U);
}

TEST_F(Files, FileThatCannotBeDeletedIsPassedOver) {
  write_log(path(kLog), 10, {});
  write_file_at(path(kLog), 9, "?");
  write_indexes();
  remove_file(path("server.idx"));
  make_stubborn("server.idx");
  EXPECT_EQ(open_file(kLog, O_RDWR), -1);
  EXPECT_TRUE(log_.has(kFailures, "remove file(" + path("server.idx") + ") failed."));
  EXPECT_EQ(list_directory(store_.directory()), Texts{"server.idx"});
}

// ---- capacity and updated mark ------------------------------------------------------------------

TEST_F(Files, CapacityOfTheSettingIsNoChange) {
  write_log(path(kLog), 10, {});
  EXPECT_EQ(check_file_size(), 0);
}

TEST_F(Files, OtherCapacityThanTheSettingIsAChange) {
  write_log(path(kLog), 11, {});
  EXPECT_EQ(check_file_size(), 1);
}

TEST_F(Files, CapacityOfALogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(check_file_size(), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file(alertlog.alt) failed"));
}

TEST_F(Files, CapacityOfALogThatCannotBeReadIsAFailure) {
  int failed = 0;
  const int faults = for_each_call(
      Site::kRead, EIO, [&] { write_log(path(kLog), 10, {}); },
      [&] { failed += check_file_size() == -1 ? 1 : 0; });
  EXPECT_EQ(failed, faults);
  EXPECT_GE(failed, 1);
  EXPECT_TRUE(log_.has(kFailures, "read alert file header failed"));
}

TEST_F(Files, StoredRecordIsAnUpdateOnce) {
  store(make_record(1));
  EXPECT_EQ(check_is_update(), 1);
  EXPECT_EQ(check_is_update(), 0);
  store(make_record(2));
  EXPECT_EQ(check_is_update(), 1);
}

TEST_F(Files, AskingForUpdatesClearsBit6Only) {
  write_log(path(kLog), 10, {}, 255);
  EXPECT_EQ(check_is_update(), 1);
  EXPECT_EQ(read_log_numbers(path(kLog)).changed, 191);
}

TEST_F(Files, LogWithoutBit6IsNoUpdateAndStaysAsItIs) {
  write_log(path(kLog), 10, {}, 191);
  const std::string before = read_file(path(kLog)).value();
  EXPECT_EQ(check_is_update(), 0);
  EXPECT_EQ(read_file(path(kLog)), before);
}

TEST_F(Files, AskingForUpdatesMakesNoLog) {
  EXPECT_EQ(check_is_update(), -1);
  EXPECT_FALSE(file_exists(path(kLog)));
  EXPECT_TRUE(log_.has(kMinor, "open alert file failed, file was not exist."));
  EXPECT_TRUE(log_.texts(kFailures).empty());
}

TEST_F(Files, AskingForUpdatesOfALogThatCannotBeOpenedIsAFailure) {
  std::filesystem::create_directory(path(kLog));
  EXPECT_EQ(check_is_update(), -1);
  EXPECT_TRUE(log_.has(kFailures, "open alert file failed."));
}

TEST_F(Files, AskingForUpdatesOfADamagedLogIsAFailure) {
  write_log(path(kLog), 10, {}, 255);
  write_file_at(path(kLog), 9, "?");
  EXPECT_EQ(check_is_update(), -1);
  EXPECT_TRUE(log_.has(kFailures, "read alert file header failed"));
}

TEST_F(Files, UpdatedMarkThatCannotBeClearedIsAFailure) {
  write_log(path(kLog), 10, {}, 255);
  const Fault fault(Site::kWrite, ENOSPC);
  EXPECT_EQ(check_is_update(), -1);
  EXPECT_TRUE(log_.has(kFailures, "write alert file header failed"));
}

// ---- storable records ---------------------------------------------------------------------------

struct TextCase {
  const char* text;
  int result;
};
void PrintTo(const TextCase& row, std::ostream* out) { *out << printable(row.text); }
class CheckedText : public ::testing::TestWithParam<TextCase> {};
INSTANTIATE_TEST_SUITE_P(Files, CheckedText,
                         ::testing::Values(TextCase{"", -1}, TextCase{" ", -1},
                                           TextCase{"     ", -1}, TextCase{"\t", 0},
                                           TextCase{"\n", 0}, TextCase{"  a", 0},
                                           TextCase{"a  ", 0}));

TEST_P(CheckedText, IsRefusedWhenEmptyOrBlank) {
  EXPECT_EQ(check_string(GetParam().text), GetParam().result);
}

class RequiredField : public StoreTest, public ::testing::WithParamInterface<size_t> {};
INSTANTIATE_TEST_SUITE_P(Files, RequiredField,
                         ::testing::Values(offsetof(ALERT_RECORD_INFO, szEventID),
                                           offsetof(ALERT_RECORD_INFO, szLevel),
                                           offsetof(ALERT_RECORD_INFO, szModType),
                                           offsetof(ALERT_RECORD_INFO, szServer),
                                           offsetof(ALERT_RECORD_INFO, szServerTime),
                                           offsetof(ALERT_RECORD_INFO, szAlertMessage)));

TEST_P(RequiredField, RecordWithABlankFieldIsRefused) {
  for (const char* text : {"", "   "}) {
    ALERT_RECORD_INFO record = make_record(1);
    strcpy(reinterpret_cast<char*>(&record) + GetParam(), text);
    EXPECT_EQ(check_alert_record_info(&record), -1);
    EXPECT_EQ(log_.texts(kFailures).size(), 8U);
    log_.clear();
  }
}

TEST_F(Files, RecordWithoutWriteTimeAndIdIsStorable) {
  ALERT_RECORD_INFO record = make_record(0);
  set_text(record.szWriteTime, "");
  EXPECT_EQ(check_alert_record_info(&record), 0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(Files, RefusedRecordIsLoggedInEightLines) {
  ALERT_RECORD_INFO record = make_record(7, "node2", "net", "42", "3", "raised", "   ");
  EXPECT_EQ(check_alert_record_info(&record), -1);
  EXPECT_EQ(log_.texts(kFailures),
            (Texts{"<---------alert record error info ---------->", "alert id = 7",
                   "event id = (42)", "level = (3)", "type = (net)", "server = (node2)",
                   "server time = (raised)", "message = (   )"}));
}

}  // namespace
}  // namespace alt_test
