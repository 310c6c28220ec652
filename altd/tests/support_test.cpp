// The test support itself: what other tests rely on without looking.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "alert_config.h"
#include "alert_log.h"
#include "support/files.h"
#include "support/log_capture.h"
#include "support/process.h"
#include "support/random.h"
#include "support/records.h"
#include "support/sanitizer.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr int kFailures = 1;

TEST_F(StoreTest, MessagesOfTheLibraryAreCapturedWithLevelAndFunction) {
  ASSERT_EQ(udp_write_disk(nullptr, 0, 0), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
  EXPECT_FALSE(log_.has(2, "parameter error"));
  EXPECT_TRUE(log_.has_part(kFailures, "parameter"));
  EXPECT_NE(log_.dump().find("[1] udp_write_disk: parameter error\n"), std::string::npos);
}

TEST_F(StoreTest, LevelsOutsideTheMaskAreNotKept) {
  log_.set_levels(2);
  ASSERT_EQ(udp_write_disk(nullptr, 0, 0), -1);
  log_.set_levels(~0);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(StoreTest, RecordMadeForATestIsStoredInTheDirectoryOfTheTest) {
  const ALERT_RECORD_INFO record = make_record(7);
  ASSERT_EQ(udp_write_disk(image(record), ALERT_RECORD_SIZE, 1), 0);
  const LogNumbers numbers = read_log_numbers(path("alertlog.alt"));
  EXPECT_EQ(numbers.max_count, static_cast<uint32_t>(TempStore::kDefaultCapacity));
  EXPECT_EQ(numbers.count, 1U);
  EXPECT_EQ(numbers.current_alert_id, 7U);
  EXPECT_EQ(list_directory(store_.directory()).size(), 7U);
  set_log_changed(path("alertlog.alt"), 3);
  EXPECT_EQ(read_log_numbers(path("alertlog.alt")).changed, 3);
}

TEST(TempStoreEnd, RemovesSemaphoresAndDirectoriesWithoutRights) {
  auto store = std::make_unique<TempStore>();
  const std::string root = store->root();
  ASSERT_EQ(open_file("alertlog.alt", O_RDWR) >= 0, true);
  const key_t key = ftok((store->command_directory() + "semcreate").c_str(), 97);
  ASSERT_NE(key, -1);
  ASSERT_NE(semget(key, 1, 0), -1);
  ASSERT_EQ(mkdir_path((root + "/a/").c_str()), 0);
  ASSERT_EQ(chmod((root + "/a").c_str(), 0), 0);
  store.reset();
  EXPECT_EQ(semget(key, 1, 0), -1);
  EXPECT_FALSE(file_exists(root));
}

TEST(MadeRecords, TimesRiseWithTheIdsAndKeepTheirForm) {
  std::string last;
  for (const uint32_t id : {0U, 1U, 999U, 1000U, 86399999U, 86400000U, 2419200000U, 4294967295U}) {
    const std::string time = make_record(id).szServerTime;
    EXPECT_EQ(time.size(), 23U);
    EXPECT_LT(last, time);
    last = time;
  }
}

TEST(MadeRecords, TextThatDoesNotFitIsRefused) {
  EXPECT_THROW(make_record(1, "s", "m", "12345678", "1", "t", "m"), std::runtime_error);
}

TEST(Difference, TellsFileLineAndBothTexts) {
  EXPECT_EQ(first_difference("same", "same"), "");
  EXPECT_EQ(first_difference("one\ntw\x01\n", "one\ntwo\n"),
            "at byte 6, line 2 (8 bytes, expected 8)\n  actual:   tw\\x01\n  expected: two\n");
  EXPECT_NE(first_difference("a", "ab").find("expected: ab"), std::string::npos);
}

TEST(Difference, TellsFilesThatOnlyOneSideHas) {
  using Files = std::map<std::string, std::string>;
  EXPECT_EQ(first_difference(Files{}, Files{{"x", ""}}), "x is missing\n");
  EXPECT_EQ(first_difference(Files{{"y", "12"}}, Files{}), "y should not exist (2 bytes)\n");
}

TEST(ChildProcess, ResultIsTheExitStatusAndTheParentsStateStays) {
  int here = 1;
  EXPECT_EQ(in_process([&] {
              here = 2;
              return 42;
            }),
            42);
  EXPECT_EQ(here, 1);
}

TEST(ChildProcess, ThrowingAndSignalledChildrenAreToldApart) {
  EXPECT_EQ(in_process([]() -> int { throw std::runtime_error("thrown on purpose"); }),
            kChildThrew);
  EXPECT_EQ(in_process([] { return raise(SIGKILL); }), kChildSignalled + SIGKILL);
}

TEST(ChildProcess, RunningChildIsKilledAtTheEndOfItsScope) {
  pid_t pid;
  {
    const Child child([] { return pause(); });
    pid = child.pid();
  }
  EXPECT_EQ(kill(pid, 0), -1);
}

TEST(Seeds, EnvironmentChoosesOneSeedOrALongRun) {
  unsetenv("QEL_TEST_SEED");
  unsetenv("QEL_TEST_ROUNDS");
  EXPECT_EQ(test_seeds({1, 2}),
            is_sanitized() ? std::vector<uint64_t>{1} : std::vector<uint64_t>({1, 2}));
  setenv("QEL_TEST_ROUNDS", "3", 1);
  EXPECT_EQ(test_seeds({1, 2}).size(), 3U);
  setenv("QEL_TEST_SEED", "77", 1);
  EXPECT_EQ(test_seeds({1, 2}), std::vector<uint64_t>{77});
  unsetenv("QEL_TEST_SEED");
  unsetenv("QEL_TEST_ROUNDS");
  EXPECT_NE(repeat_command(5).find("QEL_TEST_SEED=5 /"), std::string::npos);
  EXPECT_NE(repeat_command(5).find("=Seeds.EnvironmentChooses"), std::string::npos);
}

}  // namespace
}  // namespace alt_test
