// qelalert follow and list --follow: what is shown first, and each alert that comes.
#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>

#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

constexpr int kLooks = 3000;  // with kLook_us between them: what a slow machine may take
constexpr useconds_t kLook_us = 10000;

class Following : public ReadingTest {
 protected:
  std::unique_ptr<RunningTool> started(const std::vector<std::string>& call,
                                       const RunOptions& options = {}) const {
    return cluster_.start(call, options);
  }
  std::unique_ptr<RunningTool> following(const std::vector<std::string>& options) const {
    return started(joined({"follow", "-o", "cat", "--fields", "id"}, options));
  }
  // Whether the output comes to be that text.
  static bool comes(const RunningTool& tool, const std::string& text) {
    for (int i = 0; i < kLooks && tool.out() != text; ++i) usleep(kLook_us);
    EXPECT_EQ(text, tool.out());
    return tool.out() == text;
  }
  static bool tells(const RunningTool& tool, const std::string& part) {
    const auto told = [&] { return tool.err().find(part) != std::string::npos; };
    for (int i = 0; i < kLooks && !told(); ++i) usleep(kLook_us);
    EXPECT_TRUE(told()) << part << " in: " << tool.err();
    return told();
  }
  void store(uint32_t id, const std::string& server = "node1") const {
    cluster_.store_alert(alert(id, server, "m", "1", "1", "2024/03/01 08:00:00.000"));
  }
  void remove_store() const {
    for (const auto& [name, bytes] : cluster_.store_files()) {
      alt_test::remove_file(cluster_.store_path(name));
    }
  }
};

TEST_F(Following, NewestTenComeFirstAndThenEachNewOne) {
  cluster_.store_alerts(1, 12);
  const auto tool = following({});
  ASSERT_TRUE(comes(*tool, "3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n"));
  store(13);
  ASSERT_TRUE(comes(*tool, "3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n"));
  store(14);
  store(15);
  EXPECT_TRUE(comes(*tool, "3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n14\n15\n"));
}

TEST_F(Following, NumberOfTheFirstOnesMayBeChosen) {
  cluster_.store_alerts(1, 5);
  EXPECT_TRUE(comes(*following({"-n", "2"}), "4\n5\n"));
  EXPECT_TRUE(comes(*following({"--lines", "100"}), "1\n2\n3\n4\n5\n"));
  const std::string cursor = cluster_.root() + "/cursor";
  const auto tool = following({"-n", "0", "--cursor-file", cursor});
  for (int i = 0; i < kLooks && !alt_test::file_exists(cursor); ++i) usleep(kLook_us);
  store(6);
  EXPECT_TRUE(comes(*tool, "6\n"));
}

TEST_F(Following, ListFollowsInTheSameWay) {
  cluster_.store_alerts(1, 12);
  for (const char* option : {"-f", "--follow"}) {
    const auto tool = started({"list", option, "-o", "cat", "--fields", "id", "-n", "1"});
    EXPECT_TRUE(comes(*tool, "12\n"));
  }
  const auto tool = started({"-f", "-o", "cat", "--fields", "id"});
  ASSERT_TRUE(comes(*tool, "3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n"));
  store(13);
  EXPECT_TRUE(comes(*tool, "3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n"));
}

TEST_F(Following, FilterChoosesAmongTheFirstAndTheNewOnes) {
  store_five();
  const auto tool = following({"-s", "node2", "-n", "1"});
  ASSERT_TRUE(comes(*tool, "4\n"));
  store(6, "node1");
  store(7, "node2");
  EXPECT_TRUE(comes(*tool, "4\n7\n"));
}

TEST_F(Following, EveryFilterChoosesAmongTheNewOnes) {
  cluster_.store_alerts(1, 1);
  const std::vector<std::string> filters[] = {{"--since", "2024/03/01 08:00:00"},
                                              {"--until", "2024/03/01 08:00:00"},
                                              {"--last", "2000w"},
                                              {"--server", "node2"},
                                              {"--module", "n"},
                                              {"--event", "2"},
                                              {"--level", "2..3"},
                                              {"--grep", "7$"}};
  std::vector<std::unique_ptr<RunningTool>> tools;
  for (const std::vector<std::string>& filter : filters) {
    tools.push_back(following(joined({"-n", "1000"}, filter)));
  }
  ASSERT_TRUE(comes(*tools[2], "1\n"));
  cluster_.store_alert(alert(6, "node1", "m", "1", "1", "2024/03/01 08:00:00.001"));
  cluster_.store_alert(alert(7, "node2", "n", "2", "2", "2024/03/01 07:59:59.000"));
  for (size_t i : {0U}) EXPECT_TRUE(comes(*tools[i], "6\n"));
  for (size_t i : {1U}) EXPECT_TRUE(comes(*tools[i], "1\n7\n"));
  EXPECT_TRUE(comes(*tools[2], "1\n7\n6\n"));
  for (size_t i = 3; i < tools.size(); ++i) EXPECT_TRUE(comes(*tools[i], "7\n"));
}

TEST_F(Following, LogThatIsNotThereYetIsWaitedForAndShownFromItsBeginning) {
  const auto tool = following({"-n", "0"});
  ASSERT_TRUE(tells(*tool, "no alert log at " + cluster_.store_path("alertlog.alt")));
  store(1);
  ASSERT_TRUE(comes(*tool, "1\n"));
  store(2);
  EXPECT_TRUE(comes(*tool, "1\n2\n"));
}

TEST_F(Following, LogThatIsMadeAgainGoesOn) {
  store_five();
  const auto tool = following({"-n", "1"});
  ASSERT_TRUE(comes(*tool, "3\n"));
  remove_store();
  ASSERT_TRUE(tells(*tool, "waiting for it"));
  store_five();  // fetched again from the others
  store(1);      // and an id that is given again
  EXPECT_TRUE(comes(*tool, "3\n1\n"));
}

ptrdiff_t lines_of(const std::string& path) {
  const std::string text = alt_test::read_file(path).value_or("");
  return std::count(text.begin(), text.end(), '\n');
}

TEST_F(Following, CursorFileGoesOnWhereTheLastOneEnded) {
  const std::string cursor = cluster_.root() + "/cursor";
  cluster_.store_alerts(1, 12);
  {
    const auto tool = following({"--cursor-file", cursor, "-n", "2"});
    ASSERT_TRUE(comes(*tool, "11\n12\n"));
    store(13);
    ASSERT_TRUE(comes(*tool, "11\n12\n13\n"));
    for (int i = 0; i < kLooks && lines_of(cursor) < 2 + 13; ++i) usleep(kLook_us);
  }
  for (uint32_t id = 14; id <= 30; ++id) store(id);
  const auto tool = following({"--cursor-file", cursor, "-n", "2"});
  std::string rest;
  for (uint32_t id = 14; id <= 30; ++id) rest += std::to_string(id) + "\n";
  EXPECT_TRUE(comes(*tool, rest));
}

TEST_F(Following, FormsHaveTheirHeadOnceAndShowEachAlertAtOnce) {
  store_five();
  const auto csv = started({"follow", "-o", "csv", "--fields", "id", "-n", "1"});
  const auto table = started({"follow", "-o", "table", "--fields", "id", "-n", "1"});
  const auto json = started({"follow", "-o", "json", "--fields", "id", "-n", "1"});
  const auto utc = started({"follow", "--utc", "--color", "always", "-n", "1"});
  ASSERT_TRUE(comes(*csv, "id\n3\n"));
  ASSERT_TRUE(comes(*table, "ID\n3\n"));
  ASSERT_TRUE(comes(*json, "{\"id\":3}\n"));
  ASSERT_TRUE(comes(*utc, "2024-02-01T12:00:00.500Z 3 node1/3 net[2001]: alert 3\n"));
  store(6);
  EXPECT_TRUE(comes(*csv, "id\n3\n6\n"));
  EXPECT_TRUE(comes(*table, "ID\n3\n6\n"));
  EXPECT_TRUE(comes(*json, "{\"id\":3}\n{\"id\":6}\n"));
  EXPECT_TRUE(comes(*utc,
                    "2024-02-01T12:00:00.500Z 3 node1/3 net[2001]: alert 3\n"
                    "\x1b[1;31m2024-03-01T08:00:00.000Z 1 node1/6 m[1]: alert 6\x1b[0m\n"));
}

TEST_F(Following, SignalEndsItAsUsual) {
  store_five();
  for (const int number : {SIGINT, SIGTERM}) {
    const auto tool = following({"-n", "1"});
    ASSERT_TRUE(comes(*tool, "3\n"));
    tool->kill(number);
    const Result result = tool->wait();
    EXPECT_EQ(1000 + number, result.exit_code);
    EXPECT_EQ("", result.err);
  }
}

TEST_F(Following, ReaderThatIsGoneEndsItQuietlyAlsoWithoutANewAlert) {
  store_five();
  int ends[2];
  ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
  const auto tool = started({"follow", "-n", "1", "-o", "cat"},
                            {.prepare = [&] { dup2(ends[1], STDOUT_FILENO); }});
  close(ends[1]);
  char text[8] = {};
  EXPECT_EQ(8, read(ends[0], text, sizeof text));
  close(ends[0]);
  const Result result = tool->wait();
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.err);
}

TEST_F(Following, OutputThatCannotBeWrittenFails) {
  store_five();
  const Result result = qelalert({"follow"}, {.out_path = "/dev/full"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("No space left on device")) << result.err;
}

}  // namespace
}  // namespace qel::cli::testing
