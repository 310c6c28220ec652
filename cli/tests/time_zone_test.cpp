// Times with a zone: those of RFC 3339, and stored times as UTC.
#include "zoned_test.h"

namespace qel::cli::testing {
namespace {

// Five hours and a half ahead of UTC.
constexpr char kAhead[] = "XYZ-5:30";
// Central European time with its summer time, the rule itself.
constexpr char kWithSummerTime[] = "CET-1CEST,M3.5.0,M10.5.0/3";

class Rfc3339 : public ZonedTest {
 protected:
  static std::string bound(const std::string& text) {
    return parse_bound(text, kNow).value_or("none");
  }
};

TEST_F(Rfc3339, TimeInUtcBecomesLocal) {
  EXPECT_EQ("2024/01/31 23:59:59.000", bound("2024-01-31T23:59:59Z"));
  EXPECT_EQ("2024/01/31 23:59:59.000", bound("2024-01-31t23:59:59z"));
  use_zone(kAhead);
  EXPECT_EQ("2024/02/01 05:29:59.000", bound("2024-01-31T23:59:59Z"));
}

TEST_F(Rfc3339, EveryFormOfOffsetCounts) {
  EXPECT_EQ("2024/01/31 22:59:59.000", bound("2024-01-31T23:59:59+01:00"));
  EXPECT_EQ("2024/01/31 22:59:59.000", bound("2024-01-31T23:59:59+0100"));
  EXPECT_EQ("2024/02/01 03:29:59.000", bound("2024-01-31T23:59:59-03:30"));
  EXPECT_EQ("2024/02/01 03:29:59.000", bound("2024-01-31T23:59:59-0330"));
  EXPECT_EQ("2024/01/31 23:59:59.000", bound("2024-01-31T23:59:59-00:00"));
  EXPECT_EQ("2024/02/01 23:58:59.000", bound("2024-01-31T23:59:59-23:59"));
}

TEST_F(Rfc3339, TimeWithoutAZoneIsLocal) {
  use_zone(kAhead);
  EXPECT_EQ("2024/01/31 23:59:59.000", bound("2024-01-31T23:59:59"));
  EXPECT_EQ("2024/01/31 23:59:59.250", bound("2024-01-31T23:59:59.25"));
}

TEST_F(Rfc3339, FractionIsCutToMilliseconds) {
  EXPECT_EQ("2024/01/31 23:59:59.100", bound("2024-01-31T23:59:59.1Z"));
  EXPECT_EQ("2024/01/31 23:59:59.120", bound("2024-01-31T23:59:59.12Z"));
  EXPECT_EQ("2024/01/31 23:59:59.123", bound("2024-01-31T23:59:59.123+00:00"));
  EXPECT_EQ("2024/01/31 23:59:59.123", bound("2024-01-31T23:59:59.1239Z"));
  EXPECT_EQ("2024/01/31 23:59:59.999", bound("2024-01-31T23:59:59.999999999Z"));
  EXPECT_EQ("2024/01/31 23:59:59.001", bound("2024-01-31T23:59:59.001Z"));
}

TEST_F(Rfc3339, OffsetMayCrossTheEndOfADayAMonthAndAYear) {
  EXPECT_EQ("2024/02/29 23:30:00.000", bound("2024-03-01T00:30:00+01:00"));
  EXPECT_EQ("2023/02/28 23:30:00.000", bound("2023-03-01T00:30:00+01:00"));
  EXPECT_EQ("2023/12/31 23:30:00.000", bound("2024-01-01T00:30:00+01:00"));
  EXPECT_EQ("2025/01/01 00:30:00.000", bound("2024-12-31T23:30:00-01:00"));
}

TEST_F(Rfc3339, LeapDayIsTakenInLeapYearsOnly) {
  EXPECT_EQ("2024/02/29 12:00:00.000", bound("2024-02-29T12:00:00Z"));
  EXPECT_EQ("2000/02/29 12:00:00.000", bound("2000-02-29T12:00:00Z"));
  EXPECT_EQ("none", bound("2023-02-29T12:00:00Z"));
  EXPECT_EQ("none", bound("1900-02-29T12:00:00Z"));
}

TEST_F(Rfc3339, WrongFormsAreRefused) {
  for (const char* text : {"2024-01-31T23:59Z",
                           "2024-01-31T23:59:59.Z",
                           "2024-01-31T23:59:59.1234567890Z",
                           "2024-01-31T23:59:59.1x",
                           "2024-01-31T23:59:59,1Z",
                           "2024-01-31T23:59:59ZZ",
                           "2024-01-31T23:59:59Z ",
                           "2024-01-31T23:59:59 Z",
                           "2024-01-31T23:59:59+1",
                           "2024-01-31T23:59:59+01",
                           "2024-01-31T23:59:59+01:0",
                           "2024-01-31T23:59:59+010",
                           "2024-01-31T23:59:59+01:60",
                           "2024-01-31T23:59:59+24:00",
                           "2024-01-31T23:59:59+-1:00",
                           "2024-01-31T24:00:00Z",
                           "2024-01-31T23:60:00Z",
                           "2024-01-31T23:59:60Z",
                           "2024-13-31T23:59:59Z",
                           "2024-00-31T23:59:59Z",
                           "2024-01-32T23:59:59Z",
                           "2024-1-31T23:59:59Z",
                           "0000-01-31T23:59:59Z",
                           "2024-01-31TZ",
                           "T23:59:59Z",
                           "Z"}) {
    EXPECT_EQ("none", bound(text)) << text;
  }
}

TEST_F(Rfc3339, YearsThatTheClockCannotTellAreRefusedWithAZoneOnly) {
  EXPECT_EQ("none", bound("1500-01-01T00:00:00Z"));
  EXPECT_EQ("none", bound("9999-01-01T00:00:00Z"));
  EXPECT_EQ("1500/01/01 00:00:00.000", bound("1500-01-01T00:00:00"));
  EXPECT_EQ("1701/01/01 00:00:00.000", bound("1701-01-01T00:00:00Z"));
  EXPECT_EQ("2199/12/31 23:59:59.000", bound("2199-12-31T23:59:59Z"));
}

TEST_F(Rfc3339, SummerTimeIsThatOfTheDay) {
  use_zone(kWithSummerTime);
  EXPECT_EQ("2024/01/31 13:00:00.000", bound("2024-01-31T12:00:00Z"));
  EXPECT_EQ("2024/07/31 14:00:00.000", bound("2024-07-31T12:00:00Z"));
}

class UtcTime : public ZonedTest {};

TEST_F(UtcTime, LocalTimeIsMovedByItsZone) {
  EXPECT_EQ("2024-01-31T23:59:59.123Z", utc_time("2024/01/31 23:59:59.123"));
  use_zone(kAhead);
  EXPECT_EQ("2024-01-31T18:29:59.123Z", utc_time("2024/01/31 23:59:59.123"));
  EXPECT_EQ("2023-12-31T18:30:00.001Z", utc_time("2024/01/01 00:00:00.001"));
  EXPECT_EQ("2024-02-29T18:30:00.000Z", utc_time("2024/03/01 00:00:00.000"));
}

TEST_F(UtcTime, TimeWithoutMillisecondsGetsThem) {
  EXPECT_EQ("2024-01-31T23:59:59.000Z", utc_time("2024/01/31 23:59:59"));
}

TEST_F(UtcTime, TextThatIsNoStoredTimeHasNone) {
  for (const char* text : {"", "noon", "2024/01/31", "2024/02/30 00:00:00.000", "-1h"}) {
    EXPECT_EQ(std::nullopt, utc_time(text)) << text;
  }
}

TEST_F(UtcTime, SummerTimeIsThatOfTheDay) {
  use_zone(kWithSummerTime);
  EXPECT_EQ("2024-01-31T11:00:00.000Z", utc_time("2024/01/31 12:00:00.000"));
  EXPECT_EQ("2024-07-31T10:00:00.000Z", utc_time("2024/07/31 12:00:00.000"));
  EXPECT_EQ("2024-03-31T00:59:59.999Z", utc_time("2024/03/31 01:59:59.999"));
  EXPECT_EQ("2024-03-31T01:00:00.000Z", utc_time("2024/03/31 03:00:00.000"));
}

// Whatever was asked before: the answer depends on nothing but the time.
TEST_F(UtcTime, RepeatedHourIsTheFirstOneAfterAnyOtherTime) {
  use_zone(kWithSummerTime);
  for (const char* before : {"2024/07/31 12:00:00.000", "2024/01/31 12:00:00.000",
                             "2024/10/27 01:59:59.999", "2024/10/27 03:00:00.000"}) {
    ASSERT_NE(std::nullopt, utc_time(before));
    EXPECT_EQ("2024-10-27T00:30:00.000Z", utc_time("2024/10/27 02:30:00.000")) << before;
  }
  EXPECT_EQ("2024-10-27T02:00:00.000Z", utc_time("2024/10/27 03:00:00.000"));
}

TEST_F(UtcTime, SkippedHourGoesOnAsBefore) {
  use_zone(kWithSummerTime);
  EXPECT_EQ("2024-03-31T01:30:00.000Z", utc_time("2024/03/31 02:30:00.000"));
}

TEST_F(UtcTime, BoundGivesTheTimeBackThatItWasMadeFrom) {
  use_zone(kWithSummerTime);
  for (const char* time : {"2024/01/31 12:00:00.001", "2024/07/31 23:59:59.999",
                           "2024/03/31 03:00:00.000", "2024/02/29 00:00:00.000"}) {
    EXPECT_EQ(time, parse_bound(utc_time(time).value_or(""), kNow));
  }
}

}  // namespace
}  // namespace qel::cli::testing
