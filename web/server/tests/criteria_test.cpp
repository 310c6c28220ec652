// The parameters that select alerts, right and wrong.
#include <gtest/gtest.h>

#include "front_end_test.h"

namespace qel::web::testing {
namespace {

struct WrongParameter {
  const char* title;
  std::vector<NamedText> given;
  const char* name;    // that is blamed
  const char* reason;  // a part of it
};

class WrongCriteria : public ::testing::TestWithParam<WrongParameter> {};

TEST_P(WrongCriteria, IsNamedWithTheReason) {
  try {
    (void)criteria_of(GetParam().given);
    FAIL() << "taken";
  } catch (const BadParameter& bad) {
    EXPECT_EQ(GetParam().name, bad.name());
    EXPECT_NE(std::string::npos, std::string(bad.what()).find(GetParam().reason)) << bad.what();
  }
}

std::vector<WrongParameter> wrong_parameters() {
  const std::string long_name(66, 'n');
  return {
      {"Unknown", {{"sever", "node1"}}, "sever", "there is no parameter \"sever\""},
      {"UnknownWithControlCharacters", {{"a\n\x1b", ""}}, "a\\x0a\\x1b", "there is no parameter"},
      {"SinceNoTime", {{"since", "soon"}}, "since", "\"soon\" is not a time"},
      {"SinceNoRealDate", {{"since", "2024/02/30"}}, "since", "is not a time"},
      {"SinceEmpty", {{"since", ""}}, "since", "it is empty"},
      {"SinceTwice", {{"since", "now"}, {"since", "now"}}, "since", "more than once"},
      {"SinceTooLong", {{"since", std::string(65, '1')}}, "since", "longer than 64 bytes"},
      {"SinceWithNul", {{"since", std::string("now\0", 4)}}, "since", "is not a time"},
      {"UntilNoTime", {{"until", "-5parsecs"}}, "until", "is not a time"},
      {"UntilBeforeSince",
       {{"since", "2024/01/02"}, {"until", "2024/01/01"}},
       "until",
       "is before since"},
      {"ServerEmpty", {{"server", ""}}, "server", "is empty or blank"},
      {"ServerOnlyMark", {{"server", "!"}}, "server", "is empty or blank"},
      {"ServerTooLong", {{"server", long_name}}, "server", "is too long (1 to 64 bytes)"},
      {"ServerWithControl", {{"server", "a\x01"}}, "server", "holds a control character"},
      {"ServerWithNul", {{"server", std::string("a\0b", 3)}}, "server", "holds a control"},
      {"ModuleTooLong", {{"module", std::string(32, 'm')}}, "module", "(1 to 31 bytes)"},
      {"EventTooLong", {{"event", "12345678"}}, "event", "(1 to 7 bytes)"},
      {"LevelZero", {{"level", "0"}}, "level", "is not a level from 1 to 3"},
      {"LevelRangeTurned", {{"level", "3..1"}}, "level", "is not a level"},
      {"LevelWord", {{"level", "error"}}, "level", "is not a level"},
      {"LevelEmpty", {{"level", ""}}, "level", "is not a level"},
      {"TextEmpty", {{"text", ""}}, "text", "the text is empty"},
      {"TextOnlyMark", {{"text", "!"}}, "text", "the text is empty"},
      {"TextTooLong", {{"text", std::string(257, 't')}}, "text", "longer than 256 bytes"},
      {"TooManyValues", std::vector<NamedText>(65, {"server", "a"}), "server",
       "more than 64 times"},
  };
}

INSTANTIATE_TEST_SUITE_P(Web, WrongCriteria, ::testing::ValuesIn(wrong_parameters()),
                         [](const auto& test) { return std::string(test.param.title); });

ALERT_RECORD_INFO disk_alert() {
  return make_record(7, "node1", "storage", "42", "2", "2024/01/31 12:00:00.000", "Disk sda FAILS");
}

bool selects(std::vector<NamedText> parameters) {
  return matches(criteria_of(std::move(parameters)).query(), disk_alert());
}

TEST(Criteria, WithoutParametersSelectsEverything) { EXPECT_TRUE(selects({})); }

TEST(Criteria, SeveralValuesOfAFieldAreAlternatives) {
  EXPECT_TRUE(selects({{"server", "node2"}, {"server", "node1"}}));
  EXPECT_FALSE(selects({{"server", "node2"}, {"server", "node3"}}));
}

TEST(Criteria, FieldsMustAllFit) {
  EXPECT_TRUE(selects({{"server", "node1"}, {"module", "storage"}, {"event", "42"}}));
  EXPECT_FALSE(selects({{"server", "node1"}, {"module", "network"}}));
}

TEST(Criteria, MarkedValueIsLeftOut) {
  EXPECT_FALSE(selects({{"server", "!node1"}}));
  EXPECT_TRUE(selects({{"server", "!node2"}}));
  EXPECT_FALSE(selects({{"server", "node1"}, {"level", "!1..2"}}));
}

TEST(Criteria, TextFitsAnywhereInAnyCase) {
  EXPECT_TRUE(selects({{"text", "SDA fails"}}));
  EXPECT_FALSE(selects({{"text", "sdb"}}));
  EXPECT_FALSE(selects({{"text", "!disk"}}));
  EXPECT_TRUE(selects({{"text", "sdb"}, {"text", "disk"}}));
}

TEST(Criteria, TextIsNoExpression) { EXPECT_FALSE(selects({{"text", "d.sk"}})); }

TEST(Criteria, EndsOfThePeriodAreIncluded) {
  EXPECT_TRUE(selects({{"since", "2024/01/31 12:00:00.000"}, {"until", "2024-01-31 12:00:00"}}));
  EXPECT_FALSE(selects({{"since", "2024/01/31 12:00:00.001"}}));
  EXPECT_FALSE(selects({{"until", "2024/01/31 11:59:59.999"}}));
}

TEST(Criteria, PlainOnesHaveTheFormOfTheLibrarysSearch) {
  const auto info = criteria_of({{"since", "2024/01/01"},
                                 {"until", "2024/02/01 00:00:00.500"},
                                 {"server", "node1"},
                                 {"module", "storage"},
                                 {"event", "42"},
                                 {"level", "2"}})
                        .plain();
  ASSERT_TRUE(info.has_value());
  EXPECT_STREQ("2024/01/01 00:00:00.000", info->startTime);
  EXPECT_STREQ("2024/02/01 00:00:00.500", info->stopTime);
  EXPECT_STREQ("node1", info->szServer);
  EXPECT_STREQ("storage", info->szModule);
  EXPECT_STREQ("42", info->szEventId);
  EXPECT_STREQ("2", info->szLevel);
}

TEST(Criteria, RicherOnesHaveNoSuchForm) {
  const std::vector<std::vector<NamedText>> richer = {{{"server", "a"}, {"server", "b"}},
                                                      {{"server", "!a"}},
                                                      {{"level", "1..2"}},
                                                      {{"level", "!1"}},
                                                      {{"text", "x"}},
                                                      {{"text", "!x"}},
                                                      {{"module", "blank at end "}},
                                                      {{"event", "042"}},
                                                      {{"event", "42x"}},
                                                      {{"event", " 42"}},
                                                      {{"event", "!1042"}},
                                                      {{"event", "1"}, {"event", "2"}}};
  for (const auto& parameters : richer) {
    EXPECT_FALSE(criteria_of(parameters).plain().has_value()) << parameters[0].second;
  }
}

TEST(Criteria, FilterOfOneFieldCanBeLeftOut) {
  const Criteria criteria = criteria_of({{"server", "node2"}, {"level", "2"}});
  EXPECT_TRUE(matches(criteria.without("server"), disk_alert()));
  EXPECT_FALSE(matches(criteria.without("level"), disk_alert()));
}

}  // namespace
}  // namespace qel::web::testing
