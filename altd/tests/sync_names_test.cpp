// What the synchronisation asks the log: whose alerts it holds.
#include <gtest/gtest.h>

#include <array>

#include "support/sync_query.h"

namespace alt_test {
namespace {

// Room for a hundred names, and one more that must stay as it is.
class Names : public SyncQueryTest {
 protected:
  using Room = std::array<char[ALERT_NAME_SIZE], 101>;

  Texts ask() {
    set_text(room_[100], "not to be touched");
    EXPECT_EQ(get_server_name(room_.data()), 0);
    EXPECT_STREQ(room_[100], "not to be touched");
    Texts names;
    for (size_t i = 0; i < 100 && room_[i][0] != '\0'; ++i) names.emplace_back(room_[i]);
    return names;
  }
  Room room_ = {};
};

TEST_F(Names, EachServerIsNamedOnceInOrder) {
  put_log({{"b", 1}, {"a", 1}, {"b", 2}, {"c", 1}});
  EXPECT_EQ(ask(), (Texts{"a", "b", "c"}));
}

TEST_F(Names, OneAlertIsOneName) {
  put_log({{"node1", 1}});
  EXPECT_EQ(ask(), Texts{"node1"});
}

TEST_F(Names, NamesThatBeginAlikeAreDifferent) {
  put_log({{"node10", 1}, {"node1", 1}, {"Node1", 1}, {"node1", 2}, {"node", 1}});
  EXPECT_EQ(ask(), (Texts{"Node1", "node", "node1", "node10"}));
}

TEST_F(Names, LongestNameIsGivenWhole) {
  const std::string longest(64, 'n');
  put_log({{longest, 1}, {longest.substr(1), 1}});
  EXPECT_EQ(ask(), (Texts{longest.substr(1), longest}));
}

TEST_F(Names, LogWithoutAlertsHasNone) {
  put_log({});
  EXPECT_EQ(get_server_name(room_.data()), 1);
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log now"));
  EXPECT_STREQ(room_[0], "");
}

TEST_F(Names, MissingLogHasNone) { EXPECT_EQ(get_server_name(room_.data()), 1); }

class ManyNames : public Names, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Names, ManyNames, ::testing::Values(99, 100, 101, 130));

TEST_P(ManyNames, FillAHundredAndWhereTheRestBeginsIsLogged) {
  Alerts alerts;
  Texts expected;
  for (int i = 0; i < GetParam(); ++i) {
    const std::string name = "server" + std::to_string(1000 + i);
    for (const uint32_t id : {1U, 2U, 3U}) alerts.emplace_back(name, id);
    if (i < 100) expected.push_back(name);
  }
  put_log(alerts);
  log_.clear();
  EXPECT_EQ(ask(), expected);
  EXPECT_FALSE(log_.has_part(kMinor, "server1099"));
  EXPECT_EQ(log_.has_part(kMinor, "server1100"), GetParam() > 100);
}

TEST_F(Names, TableIsNeeded) {
  EXPECT_EQ(get_server_name(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(Names, IndexThatCannotBeOpenedIsAFailure) {
  put_log({{"a", 1}});
  spoil("server.idx");
  EXPECT_EQ(get_server_name(room_.data()), -1);
  EXPECT_TRUE(log_.has(kFailures, "open index file(server.idx) failed"));
}

TEST_F(Names, IndexWithoutAHeaderIsAFailure) {
  write_file(path("server.idx"), std::string(148, 'x'));
  EXPECT_EQ(get_server_name(room_.data()), -1);
  EXPECT_TRUE(log_.has(kFailures, "read index file(server.idx) header failed"));
}

class DamagedName : public Names, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Names, DamagedName, ::testing::Values(0, 1, 6));

TEST_P(DamagedName, IsAFailure) {
  put_log({{"z", 3}, {"m", 9}, {"m", 6}, {"a", 2}, {"m", 5}, {"a", 1}, {"m", 7}});
  ask();
  damage_entry(kServerIndex, GetParam());
  EXPECT_EQ(get_server_name(room_.data()), -1);
  EXPECT_TRUE(
      log_.has(kFailures, "read index record(No. " + std::to_string(GetParam()) + ") failed"));
}

}  // namespace
}  // namespace alt_test
