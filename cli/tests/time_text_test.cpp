#include "alerts/time_text.h"

#include "zoned_test.h"

namespace qel::cli::testing {
namespace {

using std::chrono::milliseconds;

class TimeText : public ZonedTest {};

TEST_F(TimeText, PointInTimeIsWrittenWithMilliseconds) {
  EXPECT_EQ("2024/03/01 12:30:45.678", format_time(kNow));
}

TEST_F(TimeText, PointInTimeIsWrittenInLocalTime) {
  use_zone("XYZ-5:30");
  EXPECT_EQ("2024/03/01 18:00:45.678", format_time(kNow));
}

TEST_F(TimeText, TimeBefore1970KeepsItsMilliseconds) {
  EXPECT_EQ("1969/12/31 23:59:59.999", format_time(Clock::time_point{milliseconds{-1}}));
}

TEST_F(TimeText, FullTimeIsTakenAsItIs) {
  EXPECT_EQ("2024/01/31 23:59:59.123", parse_time("2024/01/31 23:59:59.123"));
}

TEST_F(TimeText, MissingMillisecondsAreZero) {
  EXPECT_EQ("2024/01/31 23:59:59.000", parse_time("2024/01/31 23:59:59"));
}

TEST_F(TimeText, DateWithDashesGetsSlashes) {
  EXPECT_EQ("2024/01/31 23:59:59.000", parse_time("2024-01-31 23:59:59"));
}

TEST_F(TimeText, LeapDayIsTakenInLeapYearsOnly) {
  EXPECT_EQ("2024/02/29 00:00:00.000", parse_time("2024/02/29 00:00:00"));
  EXPECT_EQ(std::nullopt, parse_time("2023/02/29 00:00:00"));
}

TEST_F(TimeText, TimesThatDoNotExistAreRefused) {
  for (const char* text : {"2024/00/10 10:00:00", "2024/13/10 10:00:00", "2024/01/00 10:00:00",
                           "2024/04/31 10:00:00", "2024/01/10 24:00:00", "2024/01/10 10:60:00",
                           "2024/01/10 10:00:60", "0000/01/10 10:00:00"}) {
    EXPECT_EQ(std::nullopt, parse_time(text)) << text;
  }
}

TEST_F(TimeText, OtherFormsOfTimeAreRefused) {
  for (const char* text :
       {"", " ", "2024/01/31", "2024/01/31 23:59", "2024/1/31 23:59:59", "24/01/31 23:59:59",
        "2024/01-31 23:59:59", "2024/01/31T23:59:59", "2024/01/31 23:59:59.",
        "2024/01/31 23:59:59.1", "2024/01/31 23:59:59.1234", " 2024/01/31 23:59:59",
        "2024/01/31 23:59:59 ", "2024/01/31 23:59:5a", "today"}) {
    EXPECT_EQ(std::nullopt, parse_time(text)) << text;
  }
}

TEST_F(TimeText, BoundTakesATime) {
  EXPECT_EQ("2024/01/31 23:59:59.123", parse_bound("2024-01-31 23:59:59.123", kNow));
}

TEST_F(TimeText, DateAloneIsItsMidnight) {
  EXPECT_EQ("2024/01/31 00:00:00.000", parse_bound("2024/01/31", kNow));
  EXPECT_EQ("2024/01/31 00:00:00.000", parse_bound("2024-01-31", kNow));
}

TEST_F(TimeText, DateThatDoesNotExistIsRefused) {
  EXPECT_EQ(std::nullopt, parse_bound("2024/02/30", kNow));
}

TEST_F(TimeText, WordsForDaysMeanTheirMidnight) {
  EXPECT_EQ("2024/03/01 00:00:00.000", parse_bound("today", kNow));
  EXPECT_EQ("2024/02/29 00:00:00.000", parse_bound("yesterday", kNow));
}

TEST_F(TimeText, WordForTheMomentMeansNow) {
  EXPECT_EQ("2024/03/01 12:30:45.678", parse_bound("now", kNow));
}

TEST_F(TimeText, DaysAreThoseOfTheLocalZone) {
  use_zone("XYZ+13");
  EXPECT_EQ("2024/02/29 00:00:00.000", parse_bound("today", kNow));
}

TEST_F(TimeText, EveryUnitGoesBackByItsLength) {
  EXPECT_EQ("2024/03/01 12:30:44.678", parse_bound("-1s", kNow));
  EXPECT_EQ("2024/03/01 12:30:15.678", parse_bound("-30sec", kNow));
  EXPECT_EQ("2024/03/01 12:29:45.678", parse_bound("-1m", kNow));
  EXPECT_EQ("2024/03/01 12:00:45.678", parse_bound("-30min", kNow));
  EXPECT_EQ("2024/03/01 11:30:45.678", parse_bound("-1h", kNow));
  EXPECT_EQ("2024/02/28 12:30:45.678", parse_bound("-2d", kNow));
  EXPECT_EQ("2024/02/23 12:30:45.678", parse_bound("-1w", kNow));
}

TEST_F(TimeText, WrongAmountsAndUnitsAreRefused) {
  for (const char* text : {"-", "-h", "-1", "-1x", "-1hours", "1h", "+1h", "--1h", "-1.5h", "- 1h",
                           "-1h ", "-9999999999s", "tomorrow", "Today", ""}) {
    EXPECT_EQ(std::nullopt, parse_bound(text, kNow)) << text;
  }
}

TEST_F(TimeText, AmountThatReachesBefore1970IsRefused) {
  EXPECT_EQ(std::nullopt, parse_bound("-999999999w", kNow));
  EXPECT_EQ("1970/01/01 00:00:00.000",
            parse_span_back("1s", Clock::time_point{milliseconds{1000}}));
  EXPECT_EQ(std::nullopt, parse_span_back("1s", Clock::time_point{milliseconds{999}}));
}

TEST_F(TimeText, SpanIsTheTimeBackWithoutItsSign) {
  EXPECT_EQ("2024/03/01 12:30:44.678", parse_span_back("1s", kNow));
  EXPECT_EQ("2024/03/01 12:30:15.678", parse_span_back("30sec", kNow));
  EXPECT_EQ("2024/03/01 12:29:45.678", parse_span_back("1m", kNow));
  EXPECT_EQ("2024/03/01 12:00:45.678", parse_span_back("30min", kNow));
  EXPECT_EQ("2024/02/29 12:30:45.678", parse_span_back("24h", kNow));
  EXPECT_EQ("2023/03/02 12:30:45.678", parse_span_back("365d", kNow));
  EXPECT_EQ("2024/02/16 12:30:45.678", parse_span_back("2w", kNow));
  EXPECT_EQ("2024/03/01 12:30:45.678", parse_span_back("0h", kNow));
}

TEST_F(TimeText, WrongSpansAreRefused) {
  for (const char* text : {"", "h", "2", "-2h", "+2h", "2 h", "2h ", " 2h", "2y", "2H", "2.5h",
                           "2h30m", "9999999999s", "today"}) {
    EXPECT_EQ(std::nullopt, parse_span_back(text, kNow)) << text;
  }
}

TEST_F(TimeText, TimeOfDayIsToday) {
  EXPECT_EQ("2024/03/01 08:05:00.000", parse_bound("08:05", kNow));
  EXPECT_EQ("2024/03/01 23:59:59.000", parse_bound("23:59:59", kNow));
  use_zone("XYZ+13");
  EXPECT_EQ("2024/02/29 00:00:00.000", parse_bound("00:00", kNow));
}

TEST_F(TimeText, WrongTimesOfDayAreRefused) {
  for (const char* text : {"24:00", "08:60", "08:05:60", "8:05", "08:5", "0805", "08:05:0",
                           "08:05 ", " 08:05", "08:05:59.5", "08:05Z"}) {
    EXPECT_EQ(std::nullopt, parse_bound(text, kNow)) << text;
  }
}

}  // namespace
}  // namespace qel::cli::testing
