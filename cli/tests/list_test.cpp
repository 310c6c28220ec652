// qelalert list and last: which alerts they show, and in which order.
#include "alert_config.h"
#include "reading.h"
#include "support/files.h"
#include "support/process.h"

namespace qel::cli::testing {
namespace {

using Ids = std::vector<uint32_t>;

class Reading : public ReadingTest {};

TEST_F(Reading, ListShowsOldestFirst) {
  store_five();
  EXPECT_EQ((Ids{1, 2, 4, 5, 3}), listed({}));
}

TEST_F(Reading, ListIsTheSubcommandWhenThereIsNone) {
  store_five();
  EXPECT_EQ(qelalert({"list"}).out, qelalert({}).out);
  EXPECT_EQ((Ids{4, 5}), shown({"-m", "disk", "--since", "2024/01/31"}));
  EXPECT_EQ((Ids{2, 4}), shown({"--config", cluster_.config_path(""), "-s", "node2"}));
}

TEST_F(Reading, AlertsOfTheSameTimeStandByServerAndThenById) {
  const char* const at = "2024/01/30 08:00:00.000";
  cluster_.store_alert(alert(10, "node2", "m", "1", "1", at));
  cluster_.store_alert(alert(9, "node2", "m", "1", "1", at));
  cluster_.store_alert(alert(11, "node1", "m", "1", "1", at));
  cluster_.store_alert(alert(2, "node10", "m", "1", "1", at));
  cluster_.store_alert(alert(1, "node3", "m", "1", "1", "2024/01/30 07:59:59.999"));
  EXPECT_EQ((Ids{1, 11, 2, 9, 10}), listed({}));
}

TEST_F(Reading, ReverseShowsNewestFirst) {
  store_five();
  EXPECT_EQ((Ids{3, 5, 4, 2, 1}), listed({"-r"}));
  EXPECT_EQ((Ids{3, 5, 4, 2, 1}), listed({"--reverse"}));
}

TEST_F(Reading, LinesLeaveTheNewestInTheSameOrder) {
  store_five();
  EXPECT_EQ((Ids{5, 3}), listed({"-n", "2"}));
  EXPECT_EQ((Ids{3, 5}), listed({"-n", "2", "-r"}));
  EXPECT_EQ((Ids{2, 4}), listed({"--lines", "2", "-s", "node2"}));
  EXPECT_EQ((Ids{1, 2, 4, 5, 3}), listed({"-n", "2147483647"}));
}

TEST_F(Reading, ListRestrictsByEachCriterion) {
  store_five();
  EXPECT_EQ((Ids{2, 4}), listed({"--server", "node2"}));
  EXPECT_EQ((Ids{2, 3}), listed({"--module", "net"}));
  EXPECT_EQ((Ids{1, 5}), listed({"--event", "1001"}));
  EXPECT_EQ((Ids{1, 4}), listed({"--level", "1"}));
  EXPECT_EQ((Ids{4, 5, 3}), listed({"--since", "2024/01/31 10:00:00"}));
  EXPECT_EQ((Ids{1, 2, 4}), listed({"--until", "2024-01-31 10:00:00.000"}));
  EXPECT_EQ((Ids{3}), listed({"--grep", "rt 3$"}));
}

TEST_F(Reading, ListTakesCriteriaTogether) {
  store_five();
  EXPECT_EQ((Ids{4}), listed({"-s", "node2", "-m", "disk", "-i", "1002", "-p", "1", "-g", "ALERT|4",
                              "-S", "2024/01/31", "-U", "2024/02/01"}));
}

TEST_F(Reading, ListTakesTimesBackFromNow) {
  store_five();
  EXPECT_EQ((Ids{1, 2, 4, 5, 3}), listed({"--until", "-1h"}));
  EXPECT_EQ((Ids{}), listed({"-S", "-30min"}));
  EXPECT_EQ((Ids{}), listed({"-S", "yesterday", "-U", "today"}));
  EXPECT_EQ((Ids{}), listed({"--last", "2h"}));
  EXPECT_EQ((Ids{1, 2, 4, 5, 3}), listed({"--last", "2000w"}));
}

// How many of the five a call with each filter leaves, and the same with its short name.
struct Left {
  std::vector<std::string> filter;
  size_t count;
};
const Left kLeft[] = {{{"--since", "2024/01/31 10:00:00"}, 3},
                      {{"-S", "2024/02/01"}, 1},
                      {{"--until", "2024/01/31"}, 2},
                      {{"-U", "2024/02/01"}, 4},
                      {{"--last", "2000w"}, 5},
                      {{"--last", "1s"}, 0},
                      {{"--server", "node2"}, 2},
                      {{"-s", "!node2"}, 3},
                      {{"--module", "disk"}, 3},
                      {{"-m", "net"}, 2},
                      {{"--event", "1002"}, 1},
                      {{"-i", "1001", "-i", "2001"}, 4},
                      {{"--level", "1..2"}, 4},
                      {{"-p", "3"}, 1},
                      {{"--grep", "[123]"}, 3},
                      {{"-g", "!5"}, 4}};

TEST_F(Reading, EverySubcommandWithFiltersTakesEachOfThem) {
  store_five();
  for (const auto& [filter, count] : kLeft) {
    SCOPED_TRACE(filter[0] + " " + filter[1]);
    EXPECT_EQ(std::to_string(count) + "\n", qelalert(joined({"count"}, filter)).out);
    EXPECT_EQ(count, listed(filter).size());
    EXPECT_EQ(count, shown(joined({"export"}, filter)).size());
    const Result stats = qelalert(joined({"stats", "-o", "json"}, filter));
    EXPECT_EQ(count, nlohmann::json::parse(stats.out)["total"]);
    const Result check = qelalert(joined({"check", "-w", "9"}, filter));
    const std::string figure = " matching=" + std::to_string(count) + ";9;;0\n";
    EXPECT_NE(std::string::npos, check.out.find(figure)) << check.out;
  }
}

TEST_F(Reading, TimesOfRfc3339CountInTheLocalZone) {
  store_five();
  EXPECT_EQ((Ids{4, 5, 3}), listed({"-S", "2024-01-31T10:00:00Z"}));
  EXPECT_EQ((Ids{4, 5, 3}), listed({"-S", "2024-01-31T11:00:00.000+01:00"}));
  const Result east = qelalert({"list", "-S", "2024-01-31T07:30:00Z", "-o", "json"},
                               {.environment = {{"TZ", "XYZ-2:30"}}});
  EXPECT_EQ((Ids{4, 5, 3}), ids(east.out));
}

TEST_F(Reading, ListWithoutMatchSaysSoAndSucceeds) {
  store_five();
  for (const char* form : {"short", "full", "table", "json", "json-pretty", "cat"}) {
    const Result result = qelalert({"list", "-s", "node9", "-o", form});
    EXPECT_EQ(0, result.exit_code);
    EXPECT_EQ("", result.out) << form;
    EXPECT_EQ("qelalert: no alerts match\n", result.err);
  }
}

TEST_F(Reading, LastShowsTheNewestTenOrAnyOtherNumberNewestFirst) {
  cluster_.store_alerts(1, 12);
  EXPECT_EQ(numbers(12, 3), shown({"last"}));
  EXPECT_EQ((Ids{12, 11}), shown({"last", "2"}));
  EXPECT_EQ(numbers(12, 1), shown({"last", "2147483647"}));
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
  EXPECT_EQ("", qelalert({"last", "-o", "json"}).out);
  EXPECT_EQ("qelalert: the alert log is empty\n", qelalert({"list"}).err);
  EXPECT_EQ("0\n", qelalert({"count"}).out);
}

TEST_F(Reading, LogWithMoreAlertsThanTheConfiguredCapacityIsReadWhole) {
  cluster_.store_alerts(1, 60);
  cluster_.edit_config("webalert.xml", "<maxrecordcount>100<", "<maxrecordcount>10<");
  EXPECT_EQ(numbers(1, 60), listed({}));
}

TEST_F(Reading, FullLogShowsItsAlertsFromTheOldestThatIsLeft) {
  cluster_.store_alerts(1, 130);
  EXPECT_EQ(numbers(31, 130), listed({}));
}

TEST_F(Reading, StoreIsUnchangedByReading) {
  store_five();
  const auto before = cluster_.store_files();
  ASSERT_EQ(0, qelalert({"list"}).exit_code);
  ASSERT_EQ(0, qelalert({"list", "-s", "node1", "--since", "2024/01/31"}).exit_code);
  for (const char* call : {"last", "count", "stats", "gaps", "export"}) {
    (void)qelalert({call});
  }
  ASSERT_EQ(0, qelalert({"show", "node1/3"}).exit_code);
  ASSERT_EQ(0, qelalert({"complete", "server"}).exit_code);
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
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
    const std::vector<uint32_t> found = ids(result.out);
    ASSERT_FALSE(found.empty());
    ASSERT_EQ(numbers(found.front(), found.back()), found);
  }
  EXPECT_EQ(0, daemon.wait());
}

}  // namespace
}  // namespace qel::cli::testing
