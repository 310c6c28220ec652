// qelalert list and last over a store with alerts in it.
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "alert_config.h"
#include "support.h"
#include "support/files.h"
#include "support/process.h"

namespace qel::cli::testing {
namespace {

using nlohmann::json;

ALERT_RECORD_INFO alert(uint32_t id, const std::string& server, const std::string& module,
                        const std::string& event, const std::string& level,
                        const std::string& time) {
  ALERT_RECORD_INFO record =
      alt_test::make_record(id, server, module, event, level, time, "alert " + std::to_string(id));
  alt_test::set_text(record.szWriteTime, time);
  return record;
}

std::vector<int> ids_of(const json& alerts) {
  std::vector<int> ids;
  for (const json& entry : alerts) ids.push_back(entry["id"]);
  return ids;
}

class Reading : public CliTest {
 protected:
  // Five alerts; the third one stored is the newest.
  void store_five() const {
    cluster_.store_alert(alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000"));
    cluster_.store_alert(alert(2, "node2", "net", "2001", "2", "2024/01/31 00:00:00.000"));
    cluster_.store_alert(alert(3, "node1", "net", "2001", "3", "2024/02/01 12:00:00.500"));
    cluster_.store_alert(alert(4, "node2", "disk", "1002", "1", "2024/01/31 10:00:00.000"));
    cluster_.store_alert(alert(5, "node1", "disk", "1001", "2", "2024/01/31 23:59:59.999"));
  }

  // The ids that `list` shows with these options, in its order.
  std::vector<int> listed(std::vector<std::string> options) const {
    options.insert(options.begin(), "list");
    options.insert(options.end(), {"-o", "json"});
    const Result result = qelalert(options);
    EXPECT_EQ(0, result.exit_code) << result.err;
    return ids_of(json::parse(result.out)["alerts"]);
  }

  // Takes the right to write from everything in the store.
  void make_read_only() const {
    for (const auto& [name, content] : cluster_.store_files()) {
      ASSERT_EQ(0, chmod(cluster_.store_path(name).c_str(), 0444)) << name;
    }
    ASSERT_EQ(0, chmod(cluster_.store_path("").c_str(), 0555));
  }
};

TEST_F(Reading, ListShowsNewestFirst) {
  store_five();
  EXPECT_EQ((std::vector{3, 5, 4, 2, 1}), listed({}));
}

TEST_F(Reading, ListRestrictsByEachCriterion) {
  store_five();
  EXPECT_EQ((std::vector{4, 2}), listed({"--server", "node2"}));
  EXPECT_EQ((std::vector{3, 2}), listed({"--module", "net"}));
  EXPECT_EQ((std::vector{5, 1}), listed({"--event", "1001"}));
  EXPECT_EQ((std::vector{4, 1}), listed({"--level", "1"}));
  EXPECT_EQ((std::vector{3, 5, 4}), listed({"--since", "2024/01/31 10:00:00"}));
  EXPECT_EQ((std::vector{4, 2, 1}), listed({"--until", "2024-01-31 10:00:00.000"}));
}

TEST_F(Reading, ListTakesCriteriaTogether) {
  store_five();
  EXPECT_EQ((std::vector{4}), listed({"-s", "node2", "-m", "disk", "-i", "1002", "-p", "1", "-S",
                                      "2024/01/31", "-U", "2024/02/01"}));
}

TEST_F(Reading, ListTakesTimesBackFromNow) {
  store_five();
  EXPECT_EQ((std::vector{3, 5, 4, 2, 1}), listed({"--until", "-1h"}));
  EXPECT_EQ((std::vector<int>{}), listed({"-S", "-30min"}));
  EXPECT_EQ((std::vector<int>{}), listed({"-S", "yesterday", "-U", "today"}));
}

TEST_F(Reading, ListPagesFromTheNewest) {
  cluster_.store_alerts(1, 57);
  const Result result = qelalert({"list", "-n", "20", "--page", "3", "-o", "json"});
  const json page = json::parse(result.out);
  EXPECT_EQ(57, page["total"]);
  EXPECT_EQ(3, page["page"]);
  EXPECT_EQ(3, page["pages"]);
  ASSERT_EQ(17U, page["alerts"].size());
  EXPECT_EQ(17, page["alerts"][0]["id"]);
  EXPECT_EQ(1, page["alerts"][16]["id"]);
}

TEST_F(Reading, ListTellsPageAndTotalOnStandardError) {
  cluster_.store_alerts(1, 57);
  const Result result = qelalert({"list"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("qelalert: page 1 of 3, 57 alerts\n", result.err);
  EXPECT_EQ(21, std::count(result.out.begin(), result.out.end(), '\n'));
}

TEST_F(Reading, ListCorrectsAPagePastTheEndAndSaysSo) {
  cluster_.store_alerts(1, 57);
  const Result result = qelalert({"list", "--page", "9", "-o", "json"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("no page 9"));
  EXPECT_NE(std::string::npos, result.err.find("page 3 of 3, 57 alerts"));
  EXPECT_EQ(3, json::parse(result.out)["page"]);
}

TEST_F(Reading, ListWithoutMatchSaysSoAndSucceeds) {
  store_five();
  const Result table = qelalert({"list", "-s", "node9", "--page", "4"});
  EXPECT_EQ(0, table.exit_code);
  EXPECT_EQ("", table.out);
  EXPECT_EQ("qelalert: no alerts match\n", table.err);
  const json page = json::parse(qelalert({"list", "-s", "node9", "-o", "json"}).out);
  EXPECT_EQ(json({{"total", 0}, {"page", 0}, {"pages", 0}, {"alerts", json::array()}}), page);
}

TEST_F(Reading, ListShowsATableByDefault) {
  cluster_.store_alert(alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000"));
  EXPECT_EQ(
      "RAISED                   LEVEL  SERVER  MODULE  EVENT  MESSAGE\n"
      "2024/01/30 08:00:00.000  1      node1   disk    1001   alert 1\n",
      qelalert({"list"}).out);
}

TEST_F(Reading, TableIsCutOnATerminalOnly) {
  ALERT_RECORD_INFO record = alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000");
  alt_test::set_text(record.szAlertMessage, std::string(511, 'x'));
  cluster_.store_alert(record);
  const Result terminal = qelalert({"last"}, {.terminal_columns = 70});
  EXPECT_NE(std::string::npos, terminal.out.find("1001   xxxxxxxxxxxx...\r\n")) << terminal.out;
  EXPECT_NE(std::string::npos, qelalert({"last"}).out.find(std::string(511, 'x') + "\n"));
}

TEST_F(Reading, MessageWithControlCharactersIsEscaped) {
  ALERT_RECORD_INFO record = alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000");
  alt_test::set_text(record.szAlertMessage, "a\x1b[31mb");
  cluster_.store_alert(record);
  EXPECT_NE(std::string::npos, qelalert({"last"}).out.find("a\\x1b[31mb\n"));
  EXPECT_NE(std::string::npos, qelalert({"last", "-o", "full"}).out.find("a\\x1b[31mb\n"));
}

TEST_F(Reading, JsonOfInvalidBytesIsValid) {
  ALERT_RECORD_INFO record = alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000");
  alt_test::set_text(record.szAlertMessage,
                     "a\xff"
                     "b");
  cluster_.store_alert(record);
  EXPECT_EQ("a\ufffdb", json::parse(qelalert({"last", "-o", "json"}).out)[0]["message"]);
}

TEST_F(Reading, LastShowsTenAndAnyOtherNumber) {
  cluster_.store_alerts(1, 12);
  EXPECT_EQ((std::vector{12, 11, 10, 9, 8, 7, 6, 5, 4, 3}),
            ids_of(json::parse(qelalert({"last", "-o", "json"}).out)));
  EXPECT_EQ((std::vector{12, 11}), ids_of(json::parse(qelalert({"last", "2", "-o", "json"}).out)));
  EXPECT_EQ(12U, json::parse(qelalert({"last", "2147483647", "-o", "json"}).out).size());
}

TEST_F(Reading, LastOfAnEmptyLogSaysSoAndSucceeds) {
  cluster_.store_alert(alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000"));
  const std::string log = *alt_test::read_file(cluster_.store_path("alertlog.alt"));
  const std::string empty = log.substr(0, log.find("Current count:")) +
                            "Current count:       0\nCurrent to write:       0\n" +
                            log.substr(log.find("Max record size:"));
  for (const auto& [name, content] : cluster_.store_files()) {
    alt_test::remove_file(cluster_.store_path(name));
  }
  alt_test::write_file(cluster_.store_path("alertlog.alt"), empty.substr(0, empty.size() - 684));
  const Result result = qelalert({"last"});
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_EQ("", result.out);
  EXPECT_EQ("qelalert: the alert log is empty\n", result.err);
  EXPECT_EQ("[]\n", qelalert({"last", "-o", "json"}).out);
}

TEST_F(Reading, LogWithMoreAlertsThanTheConfiguredCapacityIsReadWhole) {
  cluster_.store_alerts(1, 60);
  cluster_.edit_config("webalert.xml", "<maxrecordcount>100<", "<maxrecordcount>10<");
  EXPECT_EQ(60, json::parse(qelalert({"list", "-o", "json"}).out)["total"]);
}

TEST_F(Reading, LogOfMoreThanAThousandAlertsIsReadWhole) {
  alt_max_count = 1500;
  cluster_.store_alerts(1, 1300);
  const json page = json::parse(qelalert({"list", "-n", "2000", "-o", "json"}).out);
  ASSERT_EQ(1300U, page["alerts"].size());
  EXPECT_EQ(1300, page["alerts"][0]["id"]);
  EXPECT_EQ(1, page["alerts"][1299]["id"]);
}

TEST_F(Reading, MissingLogIsToldAndNotMade) {
  for (const char* command : {"list", "last"}) {
    expect_refused(qelalert({command}), 1,
                   {"qelalert: no alert log at " + cluster_.store_path("alertlog.alt")});
    EXPECT_TRUE(cluster_.store_files().empty());
  }
}

TEST_F(Reading, StoreIsUnchangedByReading) {
  store_five();
  const auto before = cluster_.store_files();
  ASSERT_EQ(0, qelalert({"list"}).exit_code);
  ASSERT_EQ(0, qelalert({"list", "-s", "node1", "--since", "2024/01/31"}).exit_code);
  ASSERT_EQ(0, qelalert({"last"}).exit_code);
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

TEST_F(Reading, MarksOfTheFrontEndStaySet) {
  store_five();
  alt_test::set_log_changed(cluster_.store_path("alertlog.alt"), 64 + 128);
  ASSERT_EQ(0, qelalert({"list", "-s", "node1"}).exit_code);
  ASSERT_EQ(0, qelalert({"last"}).exit_code);
  EXPECT_EQ(64 + 128, alt_test::read_log_numbers(cluster_.store_path("alertlog.alt")).changed);
}

TEST_F(Reading, ReadersNeverSeeAStoreHalfDone) {
  cluster_.store_alerts(1, 1);
  // Enough to fill the log of 100 alerts and to go round it.
  alt_test::Child daemon([this] {
    cluster_.store_alerts(2, 2000);
    return HasFailure() ? 1 : 0;
  });
  for (int i = 0; i < 30; ++i) {
    const Result result = qelalert({"last", "100", "-o", "json"});
    ASSERT_EQ(0, result.exit_code) << result.err;
    ASSERT_EQ("", result.err);
    const std::vector<int> ids = ids_of(json::parse(result.out));
    ASSERT_FALSE(ids.empty());
    for (size_t k = 1; k < ids.size(); ++k) ASSERT_EQ(ids[k - 1] - 1, ids[k]);
  }
  EXPECT_EQ(0, daemon.wait());
}

TEST_F(Reading, UserWithoutWriteAccessCanRead) {
  store_five();
  make_read_only();
  for (const char* command : {"list", "last"}) {
    const Result result = qelalert({command, "-o", "full"}, {.prepare = obey_file_rights});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("Message:  alert 5\n"));
  }
}

TEST_F(Reading, UnreadableLogIsTold) {
  store_five();
  ASSERT_EQ(0, chmod(cluster_.store_path("alertlog.alt").c_str(), 0));
  expect_refused(qelalert({"list"}, {.prepare = obey_file_rights}), 1,
                 {"cannot read " + cluster_.store_path("alertlog.alt"), "Permission denied"});
}

TEST_F(Reading, MissingIndexThatCannotBeBuiltIsTold) {
  store_five();
  alt_test::remove_file(cluster_.store_path("time.idx"));
  make_read_only();
  expect_refused(qelalert({"last"}, {.prepare = obey_file_rights}), 1,
                 {"cannot create " + cluster_.store_path("time.idx"), "Permission denied",
                  cluster_.diagnostic_log()});
}

TEST_F(Reading, EmptyLogFileIsToldAndKept) {
  alt_test::write_file(cluster_.store_path("alertlog.alt"), "");
  alt_test::write_file(cluster_.store_path("time.idx"), "index");
  const auto before = cluster_.store_files();
  for (const char* command : {"list", "last"}) {
    expect_refused(qelalert({command}), 1,
                   {cluster_.store_path("alertlog.alt"), "damaged", "empty"});
  }
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

TEST_F(Reading, LogWithoutHeaderIsTold) {
  alt_test::write_file(cluster_.store_path("alertlog.alt"), "this is no alert log");
  expect_refused(qelalert({"list"}), 1,
                 {cluster_.store_path("alertlog.alt"), "damaged", "no readable header"});
}

TEST_F(Reading, LogShorterThanItsHeaderSaysIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  const std::string content = *alt_test::read_file(path);
  alt_test::write_file(path, content.substr(0, content.size() - 100));
  expect_refused(qelalert({"list"}), 1,
                 {path, "damaged", std::to_string(content.size() - 100), "5 alerts"});
}

TEST_F(Reading, LogLongerThanItsHeaderSaysIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  const std::string content = *alt_test::read_file(path);
  alt_test::write_file(path, content + "half a line");
  expect_refused(qelalert({"list"}), 1, {path, "damaged", std::to_string(content.size() + 11)});
}

TEST_F(Reading, HeaderThatClaimsAHugeCountIsTold) {
  store_five();
  const std::string path = cluster_.store_path("alertlog.alt");
  std::string content = *alt_test::read_file(path);
  const std::string count = "Current count:       5";
  content.replace(content.find(count), count.size(), "Current count:99999999");
  alt_test::write_file(path, content);
  expect_refused(qelalert({"list"}), 1, {path, "damaged", "99999999 alerts"});
}

TEST_F(Reading, IndexWithFewerAlertsThanTheLogIsTold) {
  store_five();
  const std::string path = cluster_.store_path("time.idx");
  std::string content = *alt_test::read_file(path);
  const size_t digit = content.find('5');
  ASSERT_NE(std::string::npos, digit);
  content[digit] = '3';
  alt_test::write_file(path, content);
  const Result result = qelalert({"last", "-o", "json"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ(3U, json::parse(result.out).size());
  EXPECT_EQ("qelalert: " + path + " lists only 3 of 5 alerts\n", result.err);
}

struct BadOption {
  const char* name;
  std::vector<std::string> call;
  std::vector<std::string> parts;
};

class ReadingOption : public Reading, public ::testing::WithParamInterface<BadOption> {};

TEST_P(ReadingOption, BadValueIsRefusedByNameAndValue) {
  store_five();
  const auto before = cluster_.store_files();
  expect_refused(qelalert(GetParam().call), 2, GetParam().parts);
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

INSTANTIATE_TEST_SUITE_P(
    List, ReadingOption,
    ::testing::Values(
        BadOption{"since", {"list", "-S", "31.1.2024"}, {"--since", "\"31.1.2024\"", "today"}},
        BadOption{"empty_since", {"list", "-S", ""}, {"--since", "\"\"", "today"}},
        BadOption{"until", {"list", "-U", "-1y"}, {"--until", "\"-1y\"", "-1h"}},
        BadOption{"order",
                  {"list", "-S", "2024/02/01", "-U", "2024/01/31"},
                  {"--until", "2024/01/31 00:00:00.000", "before", "2024/02/01 00:00:00.000"}},
        BadOption{"server", {"list", "-s", std::string(65, 's')}, {"--server", "sss", "1 to 64"}},
        BadOption{"module", {"list", "-m", std::string(32, 'm')}, {"--module", "mmm", "1 to 31"}},
        BadOption{"event", {"list", "-i", "12345678"}, {"--event", "12345678", "1 to 7"}},
        BadOption{"blank_event", {"list", "-i", " "}, {"--event", "\" \"", "1 to 7"}},
        BadOption{"level", {"list", "-p", "4"}, {"--level", "\"4\"", "1|2|3"}},
        BadOption{"page_size", {"list", "-n", "0"}, {"--page-size", "\"0\"", "from 1"}},
        BadOption{"page_size_text", {"list", "-n", "ten"}, {"--page-size", "\"ten\"", "from 1"}},
        BadOption{"page", {"list", "--page", "-1"}, {"--page", "\"-1\"", "from 1"}},
        BadOption{"page_octal", {"list", "--page", "010"}, {"--page", "\"010\"", "from 1"}},
        BadOption{"page_huge", {"list", "--page", "2147483648"}, {"--page", "2147483648"}},
        BadOption{"output", {"list", "-o", "xml"}, {"--output", "\"xml\"", "table|json|full"}},
        BadOption{"extra", {"list", "node1"}, {"node1", "list --help"}},
        BadOption{"unknown", {"list", "--sevrer", "node1"}, {"--sevrer"}},
        BadOption{"last_count", {"last", "0"}, {"N", "\"0\"", "from 1"}},
        BadOption{"last_text", {"last", "3x"}, {"N", "\"3x\"", "from 1"}},
        BadOption{
            "last_output", {"last", "-o", "csv"}, {"--output", "\"csv\"", "table|json|full"}}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace qel::cli::testing
