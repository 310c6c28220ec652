// Counts by value and over time.
#include "counts.h"

#include <cstdlib>

#include "alerts/time_text.h"
#include "front_end_test.h"

namespace qel::web::testing {
namespace {

struct Alerts {
  std::vector<ALERT_RECORD_INFO> records{};
  AlertList list() const {
    AlertList all;
    for (const ALERT_RECORD_INFO& record : records) all.push_back(&record);
    return all;
  }
  void add(const char* time, const char* level, const char* server = "node1") {
    records.push_back(make_record(1, server, "m", "1", level, time, "text"));
  }
};

Histogram histogram(const Alerts& alerts, std::vector<NamedText> filters, size_t buckets,
                    int64_t now_ms = 0) {
  return count_over_time(alerts.list(), criteria_of(std::move(filters)).query(), buckets, now_ms);
}

TEST(CountValues, MostFrequentComesFirstAndEqualOnesByName) {
  Alerts alerts;
  for (const char* server : {"c", "b", "a", "b", "d", "a", "b"}) {
    alerts.add("2024/01/31 12:00:00.000", "1", server);
  }
  std::string text;
  for (const ValueCount& one : count_values(alerts.list(), "server")) {
    text += one.value + std::to_string(one.count) + " ";
  }
  EXPECT_EQ("b3 a2 c1 d1 ", text);
}

TEST(CountValues, EachFacetCountsItsField) {
  Alerts alerts;
  alerts.records.push_back(make_record(1, "s", "m", "42", "3", "2024/01/31 12:00:00.000", "text"));
  EXPECT_EQ("s", count_values(alerts.list(), "server")[0].value);
  EXPECT_EQ("m", count_values(alerts.list(), "module")[0].value);
  EXPECT_EQ("42", count_values(alerts.list(), "event")[0].value);
  EXPECT_EQ("3", count_values(alerts.list(), "level")[0].value);
}

TEST(CountOverTime, NothingWithoutAlertsAndPeriod) {
  EXPECT_TRUE(histogram({}, {}, 10).buckets.empty());
}

TEST(CountOverTime, EachAlertIsInTheBucketOfItsTimeAndTheColumnOfItsLevel) {
  Alerts alerts;
  alerts.add("2024/01/31 12:00:00.000", "1");
  alerts.add("2024/01/31 12:00:00.999", "2");
  alerts.add("2024/01/31 12:00:01.000", "3");
  alerts.add("2024/01/31 12:00:02.000", "9");
  const Histogram found = histogram(alerts, {}, 2);
  EXPECT_EQ(1000, found.bucket_ms);
  EXPECT_EQ(unix_ms("2024/01/31 12:00:00.000"), found.from_ms);
  ASSERT_EQ(3U, found.buckets.size());
  EXPECT_EQ((LevelCounts{1, 1, 0, 0}), found.buckets[0]);
  EXPECT_EQ((LevelCounts{0, 0, 1, 0}), found.buckets[1]);
  EXPECT_EQ((LevelCounts{0, 0, 0, 1}), found.buckets[2]);
}

TEST(CountOverTime, LengthIsRoundAndThereAreNotMoreBucketsThanAskedForAndTwo) {
  Alerts alerts;
  alerts.add("2024/01/01 00:00:00.000", "1");
  alerts.add("2024/01/31 23:59:59.999", "1");
  for (const size_t buckets : {1, 7, 60, 500}) {
    const Histogram found = histogram(alerts, {}, buckets);
    EXPECT_GE(buckets + 2, found.buckets.size());
    EXPECT_EQ(0, found.bucket_ms % 60000) << buckets;
  }
}

TEST(CountOverTime, PeriodWithBothEndsIsShownWholeAlsoWhereNothingHappened) {
  Alerts alerts;
  alerts.add("2024/01/31 12:00:00.000", "1");
  const Histogram found =
      histogram(alerts, {{"since", "2024/01/31 11:00:00"}, {"until", "2024/01/31 13:00:00"}}, 2);
  ASSERT_EQ(3U, found.buckets.size());
  EXPECT_EQ((LevelCounts{0, 0, 0, 0}), found.buckets[0]);
  EXPECT_EQ((LevelCounts{1, 0, 0, 0}), found.buckets[1]);
}

TEST(CountOverTime, PeriodWithoutAnEndGoesUpToNow) {
  Alerts alerts;
  alerts.add("2024/01/31 12:00:00.000", "1");
  const int64_t now = unix_ms("2024/01/31 14:30:00.000").value();
  const Histogram found = histogram(alerts, {{"since", "2024/01/31"}}, 24, now);
  ASSERT_EQ(15U, found.buckets.size());
  EXPECT_EQ((LevelCounts{1, 0, 0, 0}), found.buckets[12]);
}

TEST(CountOverTime, AlertsWithoutARealTimeAreLeftOut) {
  Alerts alerts;
  alerts.add("2024/01/31 12:00:00.000", "1");
  alerts.add("soon", "1");
  EXPECT_EQ(1U, histogram(alerts, {}, 10).buckets.size());
}

TEST(CountOverTime, DaysBeginAtMidnightOfTheZone) {
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  Alerts alerts;
  alerts.add("2024/01/01 00:30:00.000", "1");
  alerts.add("2024/01/09 23:30:00.000", "2");
  const Histogram found = histogram(alerts, {}, 9);
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(86400000, found.bucket_ms);
  ASSERT_EQ(9U, found.buckets.size());
  EXPECT_EQ((LevelCounts{1, 0, 0, 0}), found.buckets.front());
  EXPECT_EQ((LevelCounts{0, 1, 0, 0}), found.buckets.back());
}

}  // namespace
}  // namespace qel::web::testing
