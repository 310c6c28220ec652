// --cursor-file: what a script has had already is not shown again, and nothing is left out.
#include <sys/stat.h>

#include <algorithm>

#include "alerts/seen_alerts.h"
#include "reading.h"
#include "support/files.h"
#include "support/process.h"
#include "support/random.h"

namespace qel::cli::testing {
namespace {

using Ids = std::vector<uint32_t>;

constexpr char kHead[] = "qelalert-cursor 1\n";

class Cursor : public ReadingTest {
 protected:
  std::string file() const { return cluster_.root() + "/cursor"; }
  std::string content() const { return alt_test::read_file(file()).value_or("missing"); }
  Ids polled(const std::vector<std::string>& options = {}) const {
    return listed(joined({"--cursor-file", file()}, options));
  }
  size_t entries() const {
    const std::string text = content();
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) - 2;  // head, "recent"
  }
};

TEST_F(Cursor, FirstCallShowsAllAndEachLaterOneWhatIsNew) {
  store_five();
  EXPECT_EQ((Ids{1, 2, 4, 5, 3}), polled());
  EXPECT_EQ((Ids{}), polled());
  cluster_.store_alert(alert(6, "node1", "m", "1", "1", "2024/03/01 08:00:00.000"));
  EXPECT_EQ((Ids{6}), polled());
  EXPECT_EQ((Ids{}), polled());
}

TEST_F(Cursor, NothingNewIsNoMessage) {
  store_five();
  (void)polled();
  const Result result = qelalert({"list", "--cursor-file", file()});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.out);
  EXPECT_EQ("", result.err);
}

TEST_F(Cursor, AlertThatComesLateIsNotLeftOut) {
  store_five();
  (void)polled();
  cluster_.store_alert(alert(1, "node3", "m", "1", "1", "2020/01/01 08:00:00.000"));
  EXPECT_EQ((Ids{1}), polled());
}

TEST_F(Cursor, AlertsThatAreFetchedAgainAreNotRepeated) {
  store_five();
  (void)polled();
  for (const auto& [name, bytes] : cluster_.store_files()) {
    alt_test::remove_file(cluster_.store_path(name));
  }
  store_five();
  cluster_.store_alert(alert(6, "node1", "m", "1", "1", "2024/03/01 08:00:00.000"));
  EXPECT_EQ((Ids{6}), polled());
}

TEST_F(Cursor, IdThatIsGivenAgainIsANewAlert) {
  store_five();
  (void)polled();
  for (const auto& [name, bytes] : cluster_.store_files()) {
    alt_test::remove_file(cluster_.store_path(name));
  }
  cluster_.store_alert(alert(1, "node1", "disk", "1001", "1", "2024/04/01 08:00:00.000"));
  EXPECT_EQ((Ids{1}), polled());
}

TEST_F(Cursor, FilterShowsItsOwnNewOnes) {
  store_five();
  EXPECT_EQ((Ids{2, 4}), polled({"-s", "node2"}));
  cluster_.store_alert(alert(6, "node1", "m", "1", "1", "2024/03/01 08:00:00.000"));
  cluster_.store_alert(alert(7, "node2", "m", "1", "1", "2024/03/02 08:00:00.000"));
  EXPECT_EQ((Ids{7}), polled({"-s", "node2"}));
}

TEST_F(Cursor, ManyPollsMissNothingAndRepeatNothing) {
  constexpr uint32_t kLast = 1500;
  cluster_.set_capacity(kLast);
  cluster_.store_alerts(1, 1);
  alt_test::Child daemon([this] {
    cluster_.store_alerts(2, kLast);
    return HasFailure() ? 1 : 0;
  });
  Ids all;
  for (int i = 0; i < 1000 && all.size() < kLast; ++i) {
    const Ids fresh = polled();
    all.insert(all.end(), fresh.begin(), fresh.end());
  }
  EXPECT_EQ(0, daemon.wait());
  EXPECT_EQ((Ids{}), polled());
  EXPECT_EQ(numbers(1, kLast), all);
}

TEST_F(Cursor, AnswerThatNobodyTookIsGivenAgain) {
  store_five();
  const Result full = qelalert({"list", "--cursor-file", file()}, {.out_path = "/dev/full"});
  EXPECT_EQ(1, full.exit_code);
  EXPECT_FALSE(alt_test::file_exists(file()));
  EXPECT_EQ(5U, polled().size());
}

// ---- the file -----------------------------------------------------------------------------------

TEST_F(Cursor, FileHasALineForEachAlertBelowItsHead) {
  store_five();
  (void)polled();
  EXPECT_EQ(kHead, content().substr(0, sizeof kHead - 1));
  EXPECT_EQ(5U, entries());
  EXPECT_FALSE(alt_test::file_exists(file() + ".new"));
}

TEST_F(Cursor, FileDoesNotGrowForEver) {
  constexpr size_t kOld = 3 * SeenAlerts::kForgottenAfter;
  alt_test::Random random(1);
  std::string text = kHead;
  for (size_t i = 0; i < kOld; ++i) {
    char line[32];
    snprintf(line, sizeof line, "%016llx\n", static_cast<unsigned long long>(random.below(~0ULL)));
    text += line;
  }
  alt_test::write_file(file(), text);
  store_five();
  EXPECT_EQ(5U, polled().size());
  for (uint32_t id = 6; id < 9; ++id) {
    cluster_.store_alert(alert(id, "node1", "m", "1", "1", "2024/03/01 08:00:00.000"));
    EXPECT_EQ((Ids{id}), polled());
  }
  EXPECT_LE(entries(), 2 * SeenAlerts::kForgottenAfter);
}

TEST_F(Cursor, FileThatIsNoneIsRefusedAndKept) {
  store_five();
  for (const std::string& text :
       {std::string("some notes\n"), std::string(), std::string("qelalert-cursor 2\n"),
        kHead + std::string("0123456789abcde\n"), kHead + std::string("0123456789abcdeg\n"),
        kHead + std::string("0123456789abcdef0\n"), kHead + std::string("\n"),
        kHead + std::string("0123456789abcdef\n-123456789abcdef\n")}) {
    alt_test::write_file(file(), text);
    expect_refused(qelalert({"list", "--cursor-file", file()}), 1, {"cursor file " + file()});
    expect_refused(qelalert({"follow", "--cursor-file", file()}), 1, {"cursor file " + file()});
    EXPECT_EQ(text, content());
  }
}

TEST_F(Cursor, WrongLineIsToldByItsNumber) {
  store_five();
  alt_test::write_file(file(), kHead + std::string("0123456789abcdef\nxyz\n"));
  expect_refused(qelalert({"list", "--cursor-file", file()}), 1, {"line 3"});
}

TEST_F(Cursor, PlaceThatTakesNoFileIsTold) {
  store_five();
  const Result missing = qelalert({"list", "--cursor-file", cluster_.root() + "/none/cursor"});
  EXPECT_EQ(1, missing.exit_code);
  EXPECT_NE(std::string::npos, missing.err.find("No such file or directory")) << missing.err;
  ASSERT_EQ(0, mkdir((cluster_.root() + "/closed").c_str(), 0555));
  const Result closed = qelalert({"list", "--cursor-file", cluster_.root() + "/closed/cursor"},
                                 {.prepare = obey_file_rights});
  EXPECT_EQ(1, closed.exit_code);
  EXPECT_NE(std::string::npos, closed.err.find("Permission denied")) << closed.err;
}

TEST_F(Cursor, FileThatCannotBeReadIsToldAndKept) {
  store_five();
  (void)polled();
  const std::string before = content();
  ASSERT_EQ(0, chmod(file().c_str(), 0));
  expect_refused(qelalert({"list", "--cursor-file", file()}, {.prepare = obey_file_rights}), 1,
                 {"cursor file " + file(), "Permission denied"});
  EXPECT_EQ(before, content());
}

TEST_F(Cursor, DirectoryInItsPlaceIsTold) {
  store_five();
  ASSERT_EQ(0, mkdir(file().c_str(), 0755));
  const Result result = qelalert({"list", "--cursor-file", file()});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cursor file " + file())) << result.err;
}

}  // namespace
}  // namespace qel::cli::testing
