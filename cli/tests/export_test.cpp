// qelalert export: into a file, whole or not at all.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

class Export : public ReadingTest {
 protected:
  std::string file(const std::string& name) const { return cluster_.root() + "/" + name; }
  std::string content(const std::string& name) const {
    return alt_test::read_file(file(name)).value_or("missing");
  }
  // The old file is as it was, and nothing else is left.
  void expect_untouched(const Result& result, const std::string& reason) const {
    EXPECT_EQ(1, result.exit_code);
    EXPECT_NE(std::string::npos, result.err.find(reason)) << result.err;
    EXPECT_EQ("old", content("alerts"));
    EXPECT_FALSE(alt_test::file_exists(file("alerts.new")));
  }
};

TEST_F(Export, FiltersChooseWhatIsWrittenOldestFirst) {
  store_five();
  EXPECT_EQ((std::vector<uint32_t>{1, 2, 4, 5, 3}), shown({"export"}));
  EXPECT_EQ((std::vector<uint32_t>{2, 3}), shown({"export", "-m", "net"}));
  EXPECT_EQ((std::vector<uint32_t>{4}), shown({"export", "-s", "node2", "-p", "1"}));
}

TEST_F(Export, FileHasWhatStandardOutputWouldGet) {
  store_five();
  for (const char* form : {"json", "csv", "full", "cat", "short"}) {
    const Result direct = qelalert({"export", "-o", form});
    const Result result = qelalert({"export", "-o", form, "--file", file("alerts")});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.out);
    EXPECT_EQ("", result.err);
    EXPECT_EQ(direct.out, content("alerts"));
  }
}

TEST_F(Export, TerminalOfTheCallerLeavesNoTraceInTheFile) {
  store_five();
  cluster_.store_alert(alert_with_message(6, "a\tb" + std::string(200, 'x')));
  for (const char* form : {"short", "table", "csv", "cat"}) {
    const Result direct = qelalert({"export", "-o", form});
    const Result result =
        qelalert({"export", "-o", form, "--file", file("alerts")}, {.terminal_columns = 60});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ(direct.out, content("alerts")) << form;
  }
}

TEST_F(Export, ColoursGoIntoTheFileOnRequestOnly) {
  store_five();
  for (const char* color : {"auto", "never", "always"}) {
    ASSERT_EQ(0, qelalert({"export", "-o", "cat", "--file", file("alerts"), "--color", color},
                          {.terminal_columns = 80})
                     .exit_code);
    EXPECT_EQ(color == std::string("always"), content("alerts").find('\x1b') != std::string::npos);
  }
}

TEST_F(Export, OlderFileIsReplacedByANewOne) {
  store_five();
  alt_test::write_file(file("alerts"), std::string(10000, 'x'));
  ASSERT_EQ(0, link(file("alerts").c_str(), file("kept").c_str()));
  ASSERT_EQ(0, qelalert({"export", "--file", file("alerts")}).exit_code);
  EXPECT_EQ(5U, objects(content("alerts")).size());
  EXPECT_EQ(std::string(10000, 'x'), content("kept"));
  EXPECT_FALSE(alt_test::file_exists(file("alerts.new")));
}

TEST_F(Export, NothingThatMatchesIsAnEmptyFile) {
  store_five();
  EXPECT_EQ(0, qelalert({"export", "-s", "node9", "--file", file("alerts")}).exit_code);
  EXPECT_EQ("", content("alerts"));
  EXPECT_EQ(0, qelalert({"export", "-s", "node9", "-o", "csv", "--fields", "id", "--file",
                         file("alerts")})
                   .exit_code);
  EXPECT_EQ("id\n", content("alerts"));
}

TEST_F(Export, OldFileStaysWhenTheNewOneCannotBeWrittenWhole) {
  cluster_.store_alerts(1, 100);
  alt_test::write_file(file("alerts"), "old");
  const auto small_files = [] {
    const rlimit limit{2000, 2000};
    (void)setrlimit(RLIMIT_FSIZE, &limit);
  };
  expect_untouched(qelalert({"export", "--file", file("alerts")}, {.prepare = small_files}),
                   "File too large");
}

TEST_F(Export, OldFileStaysWithoutALog) {
  alt_test::write_file(file("alerts"), "old");
  expect_untouched(qelalert({"export", "--file", file("alerts")}), "no alert log");
}

TEST_F(Export, PlaceThatTakesNoFileIsTold) {
  store_five();
  alt_test::write_file(file("alerts"), "old");
  expect_untouched(qelalert({"export", "--file", file("none/alerts")}),
                   "cannot create " + file("none/alerts.new") + ": No such file or directory");
  ASSERT_EQ(0, mkdir(file("directory").c_str(), 0755));
  expect_untouched(qelalert({"export", "--file", file("directory")}),
                   "cannot replace " + file("directory") + ": Is a directory");
  EXPECT_FALSE(alt_test::file_exists(file("directory.new")));
  ASSERT_EQ(0, mkdir(file("closed").c_str(), 0555));
  expect_untouched(
      qelalert({"export", "--file", file("closed/alerts")}, {.prepare = obey_file_rights}),
      "Permission denied");
}

}  // namespace
}  // namespace qel::cli::testing
