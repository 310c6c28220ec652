// qelalert verify over sound stores in all their states, beside a program that stores, and over
// what is no store.
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_log.h"
#include "common/unique_fd.h"
#include "support/files.h"
#include "support/process.h"
#include "support/random.h"
#include "verify/limits.h"
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

namespace fs = std::filesystem;

void store(const ALERT_RECORD_INFO& alert) {
  ASSERT_EQ(0, udp_write_disk(alt_test::image(alert), sizeof alert, 1));
}

class Verify : public CliTest {
 protected:
  Result verify(std::vector<std::string> words = {}, const RunOptions& options = {}) const {
    words.insert(words.begin(), "verify");
    return qelalert(words, options);
  }
  void expect_silent(const Result& result) const {
    EXPECT_EQ(0, result.exit_code);
    EXPECT_EQ("", result.out);
    EXPECT_EQ("", result.err);
  }
  void expect_sound() const { expect_silent(verify()); }

  // A copy of the store's files in another directory.
  std::string copy_store() const {
    const std::string copy = cluster_.root() + "/copy";
    fs::copy(cluster_.store_path(""), copy);
    return copy;
  }
};

TEST_F(Verify, EmptyLogWithAndWithoutIndexesIsSound) {
  ASSERT_EQ(0, create_file(0, alt_name_only));
  expect_sound();
  ASSERT_EQ(0, recreate_index_files());
  expect_sound();
}

TEST_F(Verify, LogIsSoundWithEachRecordUntilItIsFullAndBeyond) {
  alt_max_count = 4;
  for (uint32_t id = 1; id <= 10; ++id) {
    cluster_.store_alerts(id, id);
    expect_sound();
  }
}

TEST_F(Verify, LogIsSoundInEachSize) {
  uint32_t next_id = 1;
  for (const int capacity : {12, 20, 13, 5, 4, 30, 1}) {
    alt_max_count = capacity;
    ASSERT_EQ(0, adjust_alert_record(capacity));
    expect_sound();
    cluster_.store_alerts(next_id, next_id + 5);
    next_id += 6;
    expect_sound();
  }
}

TEST_F(Verify, NumberThatBecameWiderIsSound) {
  for (const uint32_t id : {99999999U, 100000000U, 999999999U, 1000000000U, 2147483648U}) {
    cluster_.store_alerts(id, id);
    expect_sound();
  }
}

TEST_F(Verify, LongestTextsAndIdsAreSound) {
  ALERT_RECORD_INFO alert =
      alt_test::make_record(4294967295U, std::string(64, 's'), std::string(31, 'm'), "1234567", "1",
                            "2024/02/29 23:59:59.999", std::string(510, 'x') + "\xc3");
  store(alert);
  alt_test::set_text(alert.szWriteTime, "");  // readable: the id fills its column
  alt_test::set_text(alert.szServer, " \xc3\xa9t\xc3\xa9");
  store(alert);
  expect_sound();
}

TEST_F(Verify, MissingIndexesAreNotedAndNoFinding) {
  cluster_.store_alerts(1, 3);
  fs::remove(cluster_.store_path("time.idx"));
  fs::remove(cluster_.store_path("level.idx"));
  const auto before = picture_of(cluster_);
  const Result result = verify();
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: " + cluster_.store_path("") +
                " has no time.idx, level.idx: an index is built at its next use\n",
            result.err);
  EXPECT_EQ(before, picture_of(cluster_));
}

TEST_F(Verify, DamagedIndexBesideASoundLogIsToldToBeReplaceable) {
  cluster_.store_alerts(1, 3);
  const StoreBytes bytes(cluster_);
  bytes.swap_entries(kModuleIndex, 0, 2);
  EXPECT_NE(std::string::npos, verify().err.find("the log itself is sound"));
  bytes.put(kLog, 0, "m");
  const Result both = verify();
  EXPECT_EQ(std::string::npos, both.err.find("the log itself is sound"));
  EXPECT_NE(std::string::npos, both.err.find(" in 2 files\n")) << both.err;
}

TEST_F(Verify, IndexThatTheLogTellsToBeBehindIsNotedAndNoFinding) {
  cluster_.store_alerts(1, 3);
  const StoreBytes bytes(cluster_);
  bytes.swap_entries(kModuleIndex, 0, 2);
  EXPECT_EQ(1, verify().exit_code);
  alt_test::set_log_changed(cluster_.store_path(kLog), 192 | 1 << kModuleIndex);
  const Result result = verify();
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_NE(std::string::npos, result.err.find("module.idx is behind the log")) << result.err;
}

TEST_F(Verify, ConfiguredStoreNeedsNoDiagnosticLogAndLeavesNone) {
  cluster_.store_alerts(1, 3);
  const auto before = picture_of(cluster_);
  expect_silent(verify({}, {.environment = {{"QEL_LOG_DIR", "/nonexistent"}}}));
  expect_sound();
  EXPECT_EQ(before, picture_of(cluster_));
}

TEST_F(Verify, CopyIsExaminedByDirectoryAndByFileWithoutAConfiguration) {
  cluster_.store_alerts(1, 3);
  const std::string copy = copy_store();
  alt_test::remove_file(cluster_.store_path(kLog));
  const RunOptions alone{.environment = {{"QEL_CONFIG_DIR", "/nonexistent"}}};
  expect_silent(verify({copy}, alone));
  expect_silent(verify({copy + "/"}, alone));
  fs::rename(copy + "/alertlog.alt", copy + "/monday.alt");
  expect_silent(verify({copy + "/monday.alt"}, alone));
  alt_test::write_file_at(copy + "/monday.alt", 0, "m");
  const Result damaged = verify({copy + "/monday.alt"}, alone);
  EXPECT_EQ(1, damaged.exit_code);
  EXPECT_EQ(0U, damaged.out.find(copy + "/monday.alt: line 1 (byte 0): ")) << damaged.out;
  EXPECT_EQ("qelalert: 1 finding in 1 file\n", damaged.err);
}

TEST_F(Verify, CopyThatMayOnlyBeReadIsExamined) {
  cluster_.store_alerts(1, 3);
  const std::string copy = copy_store();
  for (const auto& file : fs::directory_iterator(copy))
    ASSERT_EQ(0, chmod(file.path().c_str(), 0444));
  for (const mode_t mode : {0555U, 0111U}) {
    ASSERT_EQ(0, chmod(copy.c_str(), mode));
    expect_silent(verify({copy}, {.prepare = obey_file_rights}));
  }
  const Result told = verify({"-v", copy}, {.prepare = obey_file_rights});
  EXPECT_NE(std::string::npos, told.err.find("cannot lock " + copy)) << told.err;
}

TEST_F(Verify, VerboseTellsWhatWasExamined) {
  cluster_.store_alerts(1, 3);
  const Result result = verify({"--verbose"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_NE(std::string::npos, result.err.find("alertlog.alt: 2384 bytes, 3 of 100 records"));
  for (const char* name : idx_name) EXPECT_NE(std::string::npos, result.err.find(name)) << name;
}

TEST_F(Verify, WhatIsNoStoreIsRefused) {
  expect_refused(verify(), 1, {"no alert log at " + cluster_.store_path(kLog)});
  expect_refused(verify({cluster_.root()}), 1, {"no alert log at " + cluster_.root()});
  expect_refused(verify({"/nonexistent/log"}), 1, {"there is no /nonexistent/log"});
  expect_refused(verify({"/dev/null"}), 1, {"/dev/null is no regular file"});
  expect_refused(verify({"a", "b"}), 2, {"b"});
  alt_test::write_file(cluster_.store_path(kLog), "");
  fs::resize_file(cluster_.store_path(kLog), kLogBytesMax + 1);
  expect_refused(verify(), 1, {"too long for a store"});
  fs::remove(cluster_.store_path(kLog));
  fs::create_directory(cluster_.store_path(kLog));
  expect_refused(verify(), 1, {"is no regular file"});
}

TEST_F(Verify, FileThatMayNotBeReadIsTold) {
  cluster_.store_alerts(1, 3);
  ASSERT_EQ(0, chmod(cluster_.store_path("event.idx").c_str(), 0));
  expect_refused(verify({}, {.prepare = obey_file_rights}), 1,
                 {"cannot read " + cluster_.store_path("event.idx"), "Permission denied"});
}

TEST_F(Verify, ConfigurationWithAFaultIsTold) {
  cluster_.edit_config("webalert.xml", "<name>log/alertlog.alt</name>", "");
  expect_refused(verify(), 1, {"does not name the alert log"});
  cluster_.edit_config("webalert.xml", "</root>", "");
  expect_refused(verify(), 1, {"webalert.xml"});
}

TEST_F(Verify, StoreThatStaysLockedIsNotExamined) {
  cluster_.store_alerts(1, 3);
  const UniqueFd directory(open(cluster_.store_path("").c_str(), O_RDONLY | O_DIRECTORY));
  ASSERT_EQ(0, flock(directory.get(), LOCK_EX));
  expect_refused(verify(), 1, {"waiting for the program", "stays locked", "nothing was examined"});
}

TEST_F(Verify, FindingsOfAFileAreCutShortUnlessAllAreWanted) {
  alt_max_count = 300;
  cluster_.store_alerts(1, 250);
  StoreBytes(cluster_).insert(kLog, in_record(0, 400).byte, "z");
  const Result cut = verify();
  EXPECT_EQ(1, cut.exit_code);
  const size_t shown = static_cast<size_t>(std::count(cut.out.begin(), cut.out.end(), '\n'));
  EXPECT_NE(std::string::npos,
            cut.out.find("alertlog.alt: 151 more findings (--verbose shows all)"));
  const Result all = verify({"-v"});
  EXPECT_EQ(1, all.exit_code);
  EXPECT_LT(shown, static_cast<size_t>(std::count(all.out.begin(), all.out.end(), '\n')));
  EXPECT_EQ(std::string::npos, all.out.find("more findings"));
}

// An index is built outside of the store's lock.
TEST_F(Verify, IndexThatIsWholeAtTheSecondLookIsNoDamage) {
  cluster_.store_alerts(1, 3);
  const StoreBytes bytes(cluster_);
  const std::string whole = bytes.read("time.idx");
  bytes.cut("time.idx", kIndexHeader);
  const UniqueFd opened(inotify_init1(IN_CLOEXEC));
  const std::string path = cluster_.store_path("time.idx");
  ASSERT_LE(0, inotify_add_watch(opened.get(), path.c_str(), IN_OPEN));
  alt_test::Child verifying([this] { return verify().exit_code; });
  pollfd first_look = {opened.get(), POLLIN, 0};
  ASSERT_EQ(1, poll(&first_look, 1, 60000));
  {
    const UniqueFd directory(open(cluster_.store_path("").c_str(), O_RDONLY | O_DIRECTORY));
    ASSERT_EQ(0, flock(directory.get(), LOCK_EX));  // once the first look is over
    bytes.replace("time.idx", whole);
  }
  EXPECT_EQ(0, verifying.wait());
}

// Stores until it is killed, at the latest with its parent.
int store_endlessly() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (uint32_t id = 1; id < 100000000; ++id) {
    ALERT_RECORD_INFO alert = alt_test::make_record(id);
    if (udp_write_disk(alt_test::image(alert), sizeof alert, 1) != 0) return 1;
  }
  return 0;
}

TEST_F(Verify, StoreThatIsWrittenToIsSoundAtEachMoment) {
  alt_max_count = 40;
  cluster_.store_alerts(1, 1);
  fs::remove(cluster_.store_path(kLog));
  ASSERT_EQ(0, create_file(0, alt_name_only));
  const alt_test::Child writer(store_endlessly);
  for (int i = 0; i < 50; ++i) expect_sound();
  EXPECT_EQ(0, kill(writer.pid(), 0));
  EXPECT_LT(40U, alt_test::read_log_numbers(cluster_.store_path(kLog)).current_alert_id);
}

}  // namespace
}  // namespace qel::cli::testing
