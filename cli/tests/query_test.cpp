#include "alerts/query.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "support/records.h"

namespace qel::cli {
namespace {

using alt_test::make_record;
using Texts = std::vector<std::string>;

const ALERT_RECORD_INFO kAlert =
    make_record(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00.500", "Disk 3 failed");

Choice<std::string> one_of(const Texts& texts) { return {.allowed = texts}; }
Choice<std::string> none_of(const Texts& texts) { return {.refused = texts}; }
Choice<LevelRange> levels(const std::string& first, const std::string& last) {
  return {.allowed = {{first, last}}};
}
Choice<Pattern> pattern(const std::string& expression) {
  return {.allowed = {Pattern(expression)}};
}
bool found(const std::string& expression) {
  return matches({.message = pattern(expression)}, kAlert);
}

TEST(Query, NoCriteriaMatchEveryAlert) { EXPECT_TRUE(matches({}, kAlert)); }

TEST(Query, EachTextCriterionMatchesItsOwnFieldOnly) {
  EXPECT_TRUE(matches({.server = one_of({"node1"})}, kAlert));
  EXPECT_FALSE(matches({.server = one_of({"disk"})}, kAlert));
  EXPECT_TRUE(matches({.module = one_of({"disk"})}, kAlert));
  EXPECT_FALSE(matches({.module = one_of({"node1"})}, kAlert));
  EXPECT_TRUE(matches({.event = one_of({"1001"})}, kAlert));
  EXPECT_FALSE(matches({.event = one_of({"2"})}, kAlert));
}

TEST(Query, PartOfATextDoesNotMatch) {
  EXPECT_FALSE(matches({.server = one_of({"node"})}, kAlert));
  EXPECT_FALSE(matches({.server = one_of({"node11"})}, kAlert));
  EXPECT_FALSE(matches({.server = one_of({"NODE1"})}, kAlert));
}

TEST(Query, AnyOfTheAllowedValuesFits) {
  EXPECT_TRUE(matches({.server = one_of({"node2", "node1"})}, kAlert));
  EXPECT_FALSE(matches({.server = one_of({"node2", "node3"})}, kAlert));
}

TEST(Query, RefusedValuesLeaveAllOthers) {
  EXPECT_FALSE(matches({.server = none_of({"node2", "node1"})}, kAlert));
  EXPECT_TRUE(matches({.server = none_of({"node2", "node3"})}, kAlert));
}

TEST(Query, RefusedValueWinsOverTheSameOneAllowed) {
  EXPECT_FALSE(matches({.server = {.allowed = {"node1"}, .refused = {"node1"}}}, kAlert));
  EXPECT_TRUE(matches({.server = {.allowed = {"node1"}, .refused = {"node2"}}}, kAlert));
  EXPECT_FALSE(matches({.server = {.allowed = {"node3"}, .refused = {"node2"}}}, kAlert));
}

TEST(Query, AllCriteriaMustMatch) {
  const Choice<std::string> server = one_of({"node1"});
  const Choice<std::string> module = one_of({"disk"});
  EXPECT_TRUE(matches({.server = server, .module = module, .level = levels("2", "2")}, kAlert));
  EXPECT_FALSE(matches({.server = server, .module = module, .level = levels("3", "3")}, kAlert));
}

TEST(Query, BothEndsOfARangeOfLevelsAreInside) {
  EXPECT_TRUE(matches({.level = levels("2", "2")}, kAlert));
  EXPECT_TRUE(matches({.level = levels("1", "2")}, kAlert));
  EXPECT_TRUE(matches({.level = levels("2", "3")}, kAlert));
  EXPECT_FALSE(matches({.level = levels("1", "1")}, kAlert));
  EXPECT_FALSE(matches({.level = levels("3", "3")}, kAlert));
  EXPECT_FALSE(matches({.level = {.refused = {{"1", "2"}}}}, kAlert));
}

TEST(Query, LevelThatIsNoDigitIsInNoRange) {
  for (const char* level : {"", "12", "2x", "high"}) {
    const ALERT_RECORD_INFO alert = make_record(7, "n", "m", "1", level, "", "strange");
    EXPECT_FALSE(matches({.level = levels("1", "3")}, alert)) << level;
    EXPECT_TRUE(matches({.level = {.refused = {{"1", "3"}}}}, alert)) << level;
  }
}

TEST(Query, BothEndsOfThePeriodAreInside) {
  const char* const at = "2024/01/31 10:00:00.500";
  EXPECT_TRUE(matches({.since = at, .until = at}, kAlert));
  EXPECT_FALSE(matches({.since = "2024/01/31 10:00:00.501"}, kAlert));
  EXPECT_FALSE(matches({.until = "2024/01/31 10:00:00.499"}, kAlert));
}

TEST(Query, TimeWithoutMillisecondsIsInsideAsFarAsItGoes) {
  const ALERT_RECORD_INFO alert =
      make_record(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00", "short");
  EXPECT_TRUE(matches({.since = "2024/01/31 10:00:00.500"}, alert));
  EXPECT_TRUE(matches({.until = "2024/01/31 10:00:00.500"}, alert));
  EXPECT_FALSE(matches({.since = "2024/01/31 10:00:01.000"}, alert));
  EXPECT_FALSE(matches({.until = "2024/01/31 09:59:59.999"}, alert));
}

TEST(Query, FieldWithoutItsEndIsReadToItsWidth) {
  ALERT_RECORD_INFO alert = kAlert;
  memset(alert.szEventID, '9', sizeof alert.szEventID);
  EXPECT_TRUE(matches({.event = one_of({"99999999"})}, alert));
  memset(alert.szAlertMessage, 'x', sizeof alert.szAlertMessage);
  EXPECT_TRUE(matches({.message = pattern("^x{255}x{255}xx$")}, alert));
}

TEST(Query, ExpressionIsLookedForInTheWholeMessage) {
  EXPECT_TRUE(found("failed"));
  EXPECT_TRUE(found("^Disk [0-9]+ (failed|lost)$"));
  EXPECT_FALSE(found("^failed"));
  EXPECT_FALSE(found("node1"));
}

TEST(Query, ExpressionWithoutCapitalsFitsBothCases) {
  EXPECT_TRUE(found("disk 3"));
  EXPECT_TRUE(found("Disk 3"));
  EXPECT_FALSE(found("DISK 3"));
  EXPECT_FALSE(found("disk 3 F"));
}

TEST(Query, RefusedExpressionLeavesMessagesWithoutIt) {
  EXPECT_FALSE(matches({.message = {.refused = {Pattern("disk"), Pattern("net")}}}, kAlert));
  EXPECT_TRUE(matches({.message = {.refused = {Pattern("net")}}}, kAlert));
}

TEST(Query, WrongExpressionIsTold) {
  for (const char* expression : {"(", "[a", "a{2,1}", "*", "[[:nothing:]]"}) {
    try {
      const Pattern compiled(expression);
      // The library for expressions may know a meaning for some; then it must be usable.
      (void)compiled.found_in("text");
      EXPECT_STREQ("*", expression);
    } catch (const std::invalid_argument& error) {
      EXPECT_STRNE("", error.what()) << expression;
    }
  }
}

}  // namespace
}  // namespace qel::cli
