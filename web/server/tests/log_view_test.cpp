// What the front end notices of the log.
#include "log_view.h"

#include "alert_config.h"
#include "front_end_test.h"
#include "support/files.h"

namespace qel::web::testing {
namespace {

class View : public alt_test::StoreTest {
 protected:
  std::string log() const { return path(alt_name_only); }
  // What has happened since `from`: ids of new alerts, "condition", "changed".
  static std::string events(const LogView& view, uint64_t from) {
    std::string text;
    for (uint64_t i = from; i < view.next_event(); ++i) {
      const LogEvent& event = view.event(i);
      if (!text.empty()) text += " ";
      if (event.kind == LogEvent::Kind::kAlert) text += std::to_string(event.alert.alert_id);
      if (event.kind == LogEvent::Kind::kCondition) text += "condition";
      if (event.kind == LogEvent::Kind::kChanged) text += "changed";
    }
    return text;
  }
};

TEST_F(View, HasTheAlertsOfTheLogAndTellsNoneOfThemAsNew) {
  store(1, 3);
  const LogView view;
  EXPECT_EQ(3U, view.snapshot()->alerts().size());
  EXPECT_EQ(view.first_event(), view.next_event());
  EXPECT_EQ(LogCondition::kOk, view.condition());
  EXPECT_TRUE(view.last_good().has_value());
}

TEST_F(View, NewAlertIsToldOnceAndChangesTheRevision) {
  store(1, 3);
  LogView view;
  const uint64_t from = view.next_event();
  const std::string revision = view.revision();
  store(4, 5);
  EXPECT_TRUE(view.look());
  EXPECT_EQ("4 5", events(view, from));
  EXPECT_NE(revision, view.revision());
  EXPECT_FALSE(view.look());
  EXPECT_EQ("4 5", events(view, from));
}

TEST_F(View, ReadingAnUnchangedLogAgainIsNoChange) {
  store(1, 3);
  LogView view;
  const std::string revision = view.revision();
  EXPECT_FALSE(view.read_again());
  EXPECT_EQ(revision, view.revision());
}

TEST_F(View, LateAlertOfAnEarlierTimeIsTold) {
  store(2, 5);
  LogView view;
  const uint64_t from = view.next_event();
  store(make_record(1, "node9", "m", "1", "1", "2001/01/01 00:00:00.000", "late"));
  view.look();
  EXPECT_EQ("1", events(view, from));
}

TEST_F(View, CopyThatSomebodyHoldsStaysAsItWas) {
  store(1, 3);
  LogView view;
  const auto before = view.snapshot();
  store(4, 4);
  view.look();
  EXPECT_EQ(3U, before->alerts().size());
  EXPECT_EQ(4U, view.snapshot()->alerts().size());
}

TEST_F(View, MissingLogIsToldWithItsPathAndNotMade) {
  LogView view;
  EXPECT_EQ(LogCondition::kMissing, view.condition());
  EXPECT_NE(std::string::npos, view.cause().find(log()));
  EXPECT_FALSE(view.last_good().has_value());
  view.look();
  EXPECT_NE(0, access(log().c_str(), F_OK));
}

TEST_F(View, RemovedLogIsNoticedWhileItsAlertsStayAndANewOneIsTakenUp) {
  store(1, 3);
  LogView view;
  uint64_t from = view.next_event();
  unlink(log().c_str());
  EXPECT_TRUE(view.look());
  EXPECT_EQ("condition", events(view, from));
  EXPECT_EQ(LogCondition::kMissing, view.condition());
  EXPECT_EQ(3U, view.snapshot()->alerts().size());
  from = view.next_event();
  store(3, 4);
  EXPECT_TRUE(view.look());
  EXPECT_EQ("4 condition", events(view, from));  // 3 was seen before
  EXPECT_EQ(LogCondition::kOk, view.condition());
  EXPECT_EQ("", view.cause());
  EXPECT_EQ(2U, view.snapshot()->alerts().size());
}

TEST_F(View, EmptiedLogIsAChangeWithoutNews) {
  store(1, 3);
  LogView view;
  const uint64_t from = view.next_event();
  ASSERT_EQ(0, create_file(0, alt_name_only));
  EXPECT_TRUE(view.look());
  EXPECT_EQ("changed", events(view, from));
  EXPECT_EQ(0U, view.snapshot()->alerts().size());
}

TEST_F(View, DamagedLogIsUnreadableAndRecovers) {
  store(1, 3);
  LogView view;
  const std::string whole = alt_test::read_file(log()).value();
  alt_test::write_file(log(), whole.substr(0, whole.size() - 1));
  view.look();
  EXPECT_EQ(LogCondition::kUnreadable, view.condition());
  EXPECT_NE(std::string::npos, view.cause().find("is damaged"));
  EXPECT_EQ(3U, view.snapshot()->alerts().size());
  alt_test::write_file(log(), whole);
  view.look();
  EXPECT_EQ(LogCondition::kOk, view.condition());
}

TEST_F(View, LogThatIsEmptyAsAFileIsNotTouched) {
  store(1, 1);
  LogView view;
  alt_test::write_file(log(), "");
  view.look();
  EXPECT_EQ(LogCondition::kUnreadable, view.condition());
  EXPECT_EQ(0, access(log().c_str(), F_OK));
}

TEST_F(View, AlertsOfALogThatWasMissingAtFirstAreNews) {
  LogView view;
  const uint64_t from = view.next_event();
  store(1, 3);
  EXPECT_TRUE(view.look());
  EXPECT_EQ("1 2 3 condition", events(view, from));
  EXPECT_EQ(3U, view.new_alerts().at(make_record(1).szLevel));
}

TEST_F(View, AlertsOfALogThatCouldNotBeReadAtFirstAreNoNews) {
  store(1, 3);
  const std::string whole = alt_test::read_file(log()).value();
  alt_test::write_file(log(), whole.substr(0, whole.size() - 1));
  LogView view;
  const uint64_t from = view.next_event();
  alt_test::write_file(log(), whole);
  EXPECT_TRUE(view.look());
  EXPECT_EQ("changed condition", events(view, from));
}

TEST_F(View, LogOfTheSameSizeThatWasCopiedOverItIsTakenUp) {
  alt_max_count = 3;
  store(1, 3);
  LogView view;
  view.look();
  const std::string backup = alt_test::read_file(log()).value();
  store(4, 6);
  view.look();
  (void)check_is_update();
  alt_test::write_file(log(), backup);
  view.look();
  EXPECT_EQ(1U, view.snapshot()->alerts()[0]->alert_id);
}

TEST_F(View, LogWithADamagedHeaderIsUnreadable) {
  store(1, 3);
  LogView view;
  std::string bytes = alt_test::read_file(log()).value();
  bytes.replace(0, 60, std::string(60, 'x'));
  alt_test::write_file(log(), bytes);
  view.look();
  EXPECT_EQ(LogCondition::kUnreadable, view.condition());
}

TEST_F(View, OldestEventsAreForgotten) {
  alt_max_count = 4;
  store(1, 1);
  LogView view;
  const uint64_t begin = view.next_event();
  for (uint32_t id = 2; view.next_event() - begin <= LogView::kEventsMax; id += 4) {
    store(id, id + 3);
    view.read_again();
  }
  EXPECT_EQ(LogView::kEventsMax, view.next_event() - view.first_event());
  EXPECT_LT(begin, view.first_event());
}

TEST_F(View, ClearsTheMarkOfAnUpdateAndLeavesThatOfTheSearch) {
  store(1, 1);
  LogView view;
  store(2, 2);
  view.look();
  EXPECT_EQ(0, check_is_update());
  EXPECT_EQ(128, alt_test::read_log_numbers(log()).changed & 192);
}

}  // namespace
}  // namespace qel::web::testing
