// What the index of ids tells about the alerts that the log holds.
#include "cluster/held_ids.h"

#include <gtest/gtest.h>

#include "alert_index/layout.h"
#include "support/cluster.h"
#include "support/sync_query.h"

namespace qel::daemon_test {
namespace {

using daemon::find_held;
using daemon::HeldIds;
using Texts = std::vector<std::string>;

class HeldIdsTest : public alt_test::SyncQueryTest {
 protected:
  // "server count: first-last ..." of each server.
  static Texts held() {
    Texts texts;
    for (const HeldIds& ids : daemon::read_held_ids()) {
      std::string& text = texts.emplace_back(ids.server + " " + std::to_string(ids.count) + ":");
      for (const HeldIds::Run& run : ids.runs) {
        text += " " + std::to_string(run.first) + "-" + std::to_string(run.last);
      }
    }
    return texts;
  }
  bool told_unreadable() const {
    return log_.has(alt_test::kFailures, "srv_alt_id.idx cannot be read");
  }

  alt_test::Cluster cluster_{"node1", {"node2"}};
};

TEST_F(HeldIdsTest, OfAnEmptyLogAreNone) {
  put_log({});
  EXPECT_EQ(Texts{}, held());
  EXPECT_FALSE(told_unreadable());
}

TEST_F(HeldIdsTest, StandInTheOrderOfServersAndIds) {
  put_log({{"node2", 3}, {"alpha", 9}, {"node2", 1}, {"node1", 5}, {"node2", 2}});
  EXPECT_EQ((Texts{"alpha 1: 9-9", "node1 1: 5-5", "node2 3: 1-3"}), held());
}

TEST_F(HeldIdsTest, EachGapBeginsANewRun) {
  put_log({{"node2", 1}, {"node2", 2}, {"node2", 4}, {"node2", 7}, {"node2", 8}, {"node2", 9}});
  EXPECT_EQ(Texts{"node2 6: 1-2 4-4 7-9"}, held());
}

TEST_F(HeldIdsTest, ServersWhoseNamesBeginAlikeAreToldApart) {
  put_log({{"node", 1}, {"node1", 2}, {"node10", 3}});
  EXPECT_EQ((Texts{"node 1: 1-1", "node1 1: 2-2", "node10 1: 3-3"}), held());
}

TEST_F(HeldIdsTest, IdThatIsThereTwiceIsCountedTwiceAndBreaksNoRun) {
  put_log({{"node2", 1}, {"node2", 2}, {"node2", 2}, {"node2", 3}});
  EXPECT_EQ(Texts{"node2 4: 1-3"}, held());
}

TEST_F(HeldIdsTest, LongestNameAndLargestIdAreReadWhole) {
  put_log({{std::string(64, 'n'), 4294967294U}, {std::string(64, 'n'), 4294967295U}});
  EXPECT_EQ(Texts{std::string(64, 'n') + " 2: 4294967294-4294967295"}, held());
}

// More than the index is read at a time, with the run and the change of servers across the joint.
TEST_F(HeldIdsTest, LongIndexIsReadWhole) {
  for (const uint32_t first_server : {511U, 512U, 513U, 1024U}) {
    Alerts alerts;
    for (uint32_t id = 1; id <= first_server; ++id) alerts.emplace_back("alpha", id);
    for (uint32_t id = 1; id <= 700; ++id) alerts.emplace_back("beta", id);
    put_log(alerts);
    const std::string last = std::to_string(first_server);
    EXPECT_EQ((Texts{"alpha " + last + ": 1-" + last, "beta 700: 1-700"}), held());
  }
}

TEST_F(HeldIdsTest, OfAnIndexThatCannotBeOpenedAreNoneAndThatIsLogged) {
  put_log({{"node2", 1}});
  spoil("srv_alt_id.idx");
  EXPECT_EQ(Texts{}, held());
  EXPECT_TRUE(told_unreadable());
}

TEST_F(HeldIdsTest, OfAnIndexShorterThanItsHeaderAreNoneAndItIsLeftAlone) {
  put_log({{"node2", 1}});
  alt_test::write_file(path("srv_alt_id.idx"), "Current count: 1");
  EXPECT_EQ(Texts{}, held());
  EXPECT_TRUE(told_unreadable());
  EXPECT_EQ("Current count: 1", alt_test::read_file(path("srv_alt_id.idx")));
}

TEST_F(HeldIdsTest, OfAnIndexWithLessEntriesThanItCountsAreNone) {
  Alerts alerts;
  for (uint32_t id = 1; id <= 1000; ++id) alerts.emplace_back("node2", id);
  put_log(alerts);
  ASSERT_EQ(Texts{"node2 1000: 1-1000"}, held());
  const std::string whole = *alt_test::read_file(path("srv_alt_id.idx"));
  const size_t entry = kLongRecord;
  for (const size_t missing : {size_t{1}, entry, 300 * entry, 600 * entry, 1000 * entry}) {
    alt_test::write_file(path("srv_alt_id.idx"), whole.substr(0, whole.size() - missing));
    log_.clear();
    EXPECT_EQ(Texts{}, held()) << missing;
    EXPECT_TRUE(told_unreadable()) << missing;
  }
}

TEST_F(HeldIdsTest, OfAnIndexWithMoreThanItCountsAreNone) {
  put_log({{"node2", 1}, {"node2", 2}});
  ASSERT_EQ(1U, held().size());
  const std::string whole = *alt_test::read_file(path("srv_alt_id.idx"));
  alt_test::write_file(path("srv_alt_id.idx"), whole + whole.substr(whole.size() - kLongRecord));
  EXPECT_EQ(Texts{}, held());
  EXPECT_TRUE(told_unreadable());
}

TEST_F(HeldIdsTest, OfAnIndexWithAnEntryThatIsNoneAreNone) {
  put_log({{"node2", 1}, {"node2", 2}});
  ASSERT_EQ(1U, held().size());
  damage_entry(alt_model::kIdIndex, 1);
  EXPECT_EQ(Texts{}, held());
  EXPECT_TRUE(told_unreadable());
}

TEST_F(HeldIdsTest, HighestOwnIdIsThatOfThisServersAlerts) {
  put_log({{"node2", 90}, {"node1", 4}, {"node1", 7}, {"node10", 80}});
  EXPECT_EQ(7U, daemon::highest_own_id());
}

TEST_F(HeldIdsTest, HighestOwnIdIsZeroWithoutAnyAlertOfThisServer) {
  put_log({{"node2", 90}});
  EXPECT_EQ(0U, daemon::highest_own_id());
}

// ---- questions to what was read
// ------------------------------------------------------------------

HeldIds ids_of(std::vector<HeldIds::Run> runs) { return {"node2", 0, std::move(runs)}; }

TEST(HeldIdsQuestions, LowestAndHighestAreTheEndsAndZeroOfNone) {
  EXPECT_EQ(3U, ids_of({{3, 4}, {7, 9}}).lowest());
  EXPECT_EQ(9U, ids_of({{3, 4}, {7, 9}}).highest());
  EXPECT_EQ(0U, ids_of({}).lowest());
  EXPECT_EQ(0U, ids_of({}).highest());
}

TEST(HeldIdsQuestions, MissingIdsAreThoseBetweenTheRuns) {
  EXPECT_EQ(0U, ids_of({}).missing());
  EXPECT_EQ(0U, ids_of({{3, 9}}).missing());
  EXPECT_EQ(1U, ids_of({{3, 4}, {6, 9}}).missing());
  EXPECT_EQ(5U, ids_of({{3, 4}, {7, 9}, {13, 13}}).missing());
  EXPECT_EQ(4294967293U, ids_of({{1, 1}, {4294967295U, 4294967295U}}).missing());
}

TEST(HeldIdsQuestions, FirstMissingIsTheStartItselfOrWhatFollowsItsRun) {
  const HeldIds ids = ids_of({{3, 4}, {6, 9}});
  EXPECT_EQ(1U, ids.first_missing(1));
  EXPECT_EQ(5U, ids.first_missing(3));
  EXPECT_EQ(5U, ids.first_missing(4));
  EXPECT_EQ(5U, ids.first_missing(5));
  EXPECT_EQ(10U, ids.first_missing(6));
  EXPECT_EQ(10U, ids.first_missing(9));
  EXPECT_EQ(20U, ids.first_missing(20));
  EXPECT_EQ(1U, ids_of({}).first_missing(1));
}

TEST(HeldIdsQuestions, ServerIsFoundByItsWholeName) {
  const std::vector<HeldIds> held = {{"node", 1, {}}, {"node1", 2, {}}, {"node10", 3, {}}};
  ASSERT_NE(nullptr, find_held(held, "node1"));
  EXPECT_EQ(2U, find_held(held, "node1")->count);
  EXPECT_EQ(nullptr, find_held(held, "nod"));
  EXPECT_EQ(nullptr, find_held(held, "node2"));
  EXPECT_EQ(nullptr, find_held({}, "node1"));
}

}  // namespace
}  // namespace qel::daemon_test
