// Logs that are missing, closed to the user, or damaged: told, and left as they are.
#include <sys/stat.h>

#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

class ReadingFault : public ReadingTest {
 protected:
  // Takes the right to write from everything in the store.
  void make_read_only() const {
    for (const auto& [name, content] : cluster_.store_files()) {
      ASSERT_EQ(0, chmod(cluster_.store_path(name).c_str(), 0444)) << name;
    }
    ASSERT_EQ(0, chmod(cluster_.store_path("").c_str(), 0555));
  }
};

TEST_F(ReadingFault, MissingLogIsToldAndNotMade) {
  for (const char* command : {"list", "last", "count", "stats", "gaps", "export"}) {
    expect_refused(qelalert({command}), 1,
                   {"qelalert: no alert log at " + cluster_.store_path("alertlog.alt")});
    EXPECT_TRUE(cluster_.store_files().empty());
  }
}

TEST_F(ReadingFault, UserWithoutWriteAccessCanRead) {
  store_five();
  make_read_only();
  for (const char* command : {"list", "last"}) {
    const Result result = qelalert({command, "-o", "full"}, {.prepare = obey_file_rights});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("Message:  alert 5\n"));
  }
}

TEST_F(ReadingFault, UnreadableLogIsTold) {
  store_five();
  ASSERT_EQ(0, chmod(cluster_.store_path("alertlog.alt").c_str(), 0));
  expect_refused(qelalert({"list"}, {.prepare = obey_file_rights}), 1,
                 {"cannot read " + cluster_.store_path("alertlog.alt"), "Permission denied"});
}

TEST_F(ReadingFault, MissingIndexThatCannotBeBuiltIsTold) {
  store_five();
  alt_test::remove_file(cluster_.store_path("time.idx"));
  make_read_only();
  expect_refused(qelalert({"last"}, {.prepare = obey_file_rights}), 1,
                 {"cannot create " + cluster_.store_path("time.idx"), "Permission denied",
                  cluster_.diagnostic_log()});
}

TEST_F(ReadingFault, EmptyLogFileIsToldAndKept) {
  alt_test::write_file(cluster_.store_path("alertlog.alt"), "");
  alt_test::write_file(cluster_.store_path("time.idx"), "index");
  const auto before = cluster_.store_files();
  for (const char* command : {"list", "last"}) {
    expect_refused(qelalert({command}), 1,
                   {cluster_.store_path("alertlog.alt"), "damaged", "empty"});
  }
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

TEST_F(ReadingFault, LogWithoutHeaderIsTold) {
  alt_test::write_file(cluster_.store_path("alertlog.alt"), "this is no alert log");
  expect_refused(qelalert({"list"}), 1,
                 {cluster_.store_path("alertlog.alt"), "damaged", "no readable header"});
}

TEST_F(ReadingFault, LogShorterThanItsHeaderSaysIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  const std::string content = *alt_test::read_file(path);
  alt_test::write_file(path, content.substr(0, content.size() - 100));
  expect_refused(qelalert({"list"}), 1,
                 {path, "damaged", std::to_string(content.size() - 100), "5 alerts"});
}

TEST_F(ReadingFault, LogLongerThanItsHeaderSaysIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  const std::string content = *alt_test::read_file(path);
  alt_test::write_file(path, content + "half a line");
  expect_refused(qelalert({"list"}), 1, {path, "damaged", std::to_string(content.size() + 11)});
}

TEST_F(ReadingFault, HeaderThatClaimsAHugeCountIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  std::string content = *alt_test::read_file(path);
  const std::string count = "Current count:       5";
  content.replace(content.find(count), count.size(), "Current count:99999999");
  alt_test::write_file(path, content);
  expect_refused(qelalert({"list"}), 1, {path, "damaged", "99999999 alerts"});
}

TEST_F(ReadingFault, IndexWithFewerAlertsThanTheLogIsTold) {
  store_five();
  const std::string path = cluster_.store_path("time.idx");
  std::string content = *alt_test::read_file(path);
  const size_t digit = content.find('5');
  ASSERT_NE(std::string::npos, digit);
  content[digit] = '3';
  alt_test::write_file(path, content);
  const Result result = qelalert({"last", "-o", "json"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(3U, ids(result.out).size());
  EXPECT_EQ("qelalert: " + path + " lists only 3 of 5 alerts\n", result.err);
}

}  // namespace
}  // namespace qel::cli::testing
