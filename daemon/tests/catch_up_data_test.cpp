// Catching up with another server: how alerts are asked for, how a run ends and what it leaves.
#include <gtest/gtest.h>

#include "catch_up_fixture.h"
#include "cluster/catch_up.h"

namespace qel::daemon_test {
namespace {

using alt_test::names_of;

// ---- data requests ------------------------------------------------------------------------------

class CatchUpData : public CatchUpTest {
 protected:
  uint64_t batches() const { return protocol_.catch_up().counters().batches; }
};

TEST_F(CatchUpData, RequestLeavesAtOnceAndOnce) {
  lead_to_data("node3", 12);
  EXPECT_EQ(Texts{"127.0.1.2 0x7 3 from 1"}, sent());
  for (int i = 0; i < 3; ++i) protocol_.tick();
  EXPECT_EQ(Texts{}, sent());
  EXPECT_EQ(1U, batches());
}

TEST_F(CatchUpData, EachReplyIsFollowedByTheNextRequestAtOnce) {
  lead_to_data("node3", 12);
  wire_.take();
  alerts_come("node3", {1, 2, 3, 4});
  EXPECT_EQ(Texts{"127.0.1.2 0x7 4 from 5"}, sent());
  alerts_come("node3", {5, 6, 7, 8});
  EXPECT_EQ(Texts{"127.0.1.2 0x7 5 from 9"}, sent());
  EXPECT_EQ(3U, batches());
}

TEST_F(CatchUpData, RequestTakesThePathOnWhichThePeerWasHeardLast) {
  lead_to_data("node3", 12);
  wire_.take();
  alerts_come("node3", {1, 2, 3, 4}, kNode2[1]);
  EXPECT_EQ(Texts{"127.0.2.2 0x7 4 from 5"}, sent());
  receive(kNode2[0], {.type = 0x9, .sequence = 1});
  wire_.take();
  alerts_come("node3", {5, 6, 7, 8}, "::ffff:127.0.1.2");
  EXPECT_EQ(Texts{"127.0.1.2 0x7 5 from 9"}, sent());
}

TEST_F(CatchUpData, RepetitionTakesEveryPathAndIsNotCounted) {
  lead_to_data("node3", 12);
  wire_.take();
  tick_with(&resend_now);
  EXPECT_EQ((Texts{"127.0.1.2 0x7 3 from 1", "127.0.2.2 0x7 3 from 1"}), sent());
  EXPECT_EQ(1U, batches());
}

TEST_F(CatchUpData, RequestThatCouldNotBeSentWaitsForTheRepetition) {
  lead_to_ids({"node3"});
  id_comes("node3", 12);
  {
    const alt_test::Fault no_network(alt_test::Site::kSendTo, ENETDOWN);
    ids_are_over();
  }
  EXPECT_EQ(Texts{}, sent());
  EXPECT_EQ(0U, batches());
  EXPECT_EQ(Texts{"0x7 3"}, outstanding_requests());
  tick_with(&resend_now);
  EXPECT_EQ(2U, sent().size());
}

TEST_F(CatchUpData, PaceZeroLeavesRequestsToTheRepetition) {
  settings_.timing.batches_per_second = 0;
  lead_to_data("node3", 12);
  alerts_come("node3", {1, 2, 3, 4});
  protocol_.tick();
  EXPECT_EQ(Texts{}, sent());
  tick_with(&resend_now);
  EXPECT_EQ((Texts{"127.0.1.2 0x7 4 from 5", "127.0.2.2 0x7 4 from 5"}), sent());
}

// At most two requests leave in a second.
class CatchUpPace : public CatchUpData {
 protected:
  CatchUpPace() { settings_.timing.batches_per_second = 2; }

  void lead_to_a_request_that_waits() {
    lead_to_data("node3", 100);
    alerts_come("node3", {1, 2, 3, 4});
    wire_.take();
    alerts_come("node3", {5, 6, 7, 8});
    ASSERT_EQ(Texts{}, sent());
    ASSERT_EQ(Texts{"0x7 5"}, outstanding_requests());
  }
};

TEST_F(CatchUpPace, RequestBeyondTheCapLeavesInTheNextSecondAndOnce) {
  lead_to_a_request_that_waits();
  protocol_.tick();
  EXPECT_EQ(Texts{"127.0.1.2 0x7 5 from 9"}, sent());
  EXPECT_EQ(3U, batches());
  protocol_.tick();
  EXPECT_EQ(Texts{}, sent());
}

TEST_F(CatchUpPace, EachSecondAllowsTheSameNumberAgain) {
  lead_to_a_request_that_waits();
  for (int i = 0; i < 5; ++i) protocol_.tick();
  wire_.take();
  alerts_come("node3", {9, 10, 11, 12});
  EXPECT_EQ(1U, sent().size());
  alerts_come("node3", {13, 14, 15, 16});
  EXPECT_EQ(1U, sent().size());
  alerts_come("node3", {17, 18, 19, 20});
  EXPECT_EQ(0U, sent().size());
}

TEST_F(CatchUpPace, RequestThatWasAnsweredWhileItWaitedDoesNotLeave) {
  lead_to_a_request_that_waits();
  alerts_come("node3", {9, 10, 11, 12});
  EXPECT_EQ(Texts{}, sent());
  protocol_.tick();
  EXPECT_EQ(Texts{"127.0.1.2 0x7 6 from 13"}, sent());
}

TEST_F(CatchUpPace, RequestOfARunThatEndedWhileItWaitedDoesNotLeave) {
  lead_to_a_request_that_waits();
  clock_.advance(g_resync_time_interval + 1);
  protocol_.tick();
  expect_ended_with_a_retry();
  EXPECT_EQ(Texts{}, sent());
}

// ---- the end of a run ---------------------------------------------------------------------------

class CatchUpEnd : public CatchUpTest {
 protected:
  // An alert that no log takes, so that the cursor stays at its id.
  static ALERT_RECORD_INFO refused_alert(uint32_t id) {
    ALERT_RECORD_INFO alert = alert_of("node3", id);
    alert.szModType[0] = '\0';
    return alert;
  }
};

TEST_F(CatchUpEnd, BatchThatLeavesTheCursorIsAskedForOnceMore) {
  lead_to_data("node3", 12);
  wire_.take();
  records_come({refused_alert(1)});
  EXPECT_EQ(REQ_DATA, g_sync_step);
  EXPECT_EQ(Texts{"127.0.1.2 0x7 4 from 1"}, sent());
}

TEST_F(CatchUpEnd, SecondBatchInARowThatLeavesTheCursorEndsTheRunWithARetry) {
  lead_to_data("node3", 12);
  records_come({refused_alert(1)});
  wire_.take();
  records_come({refused_alert(1)});
  expect_ended_with_a_retry();
  expect_counted(0, 1);
  EXPECT_EQ(Texts{}, outstanding_requests());
  EXPECT_EQ(Texts{}, sent());
  EXPECT_TRUE(log_.has(alt_test::kMinor,
                       "catching up with node2 stands at alert 1 of node3: given up for now"));
}

TEST_F(CatchUpEnd, BatchThatMovesTheCursorBetweenTwoThatDoNotKeepsTheRun) {
  lead_to_data("node3", 12);
  records_come({refused_alert(1)});
  alerts_come("node3", {1, 2});
  records_come({refused_alert(3)});
  EXPECT_EQ(REQ_DATA, g_sync_step);
  records_come({refused_alert(3)});
  EXPECT_EQ(RESYN_END, g_sync_step);
}

TEST_F(CatchUpEnd, BatchesThatLeaveTheCursorAreCountedAnewInTheNextRun) {
  lead_to_data("node3", 12);
  records_come({refused_alert(1)});
  clock_.advance(g_resync_time_interval + 1);
  protocol_.tick();
  expect_ended_with_a_retry();
  release_svrlist(&new_server_list);
  put(&new_server_list, {"node2", "node3"});
  lead_to_data("node3", 12);
  records_come({refused_alert(1)});
  EXPECT_EQ(REQ_DATA, g_sync_step);
}

TEST_F(CatchUpEnd, DataRequestThatIsGivenUpEndsTheRunWithARetry) {
  lead_to_data("node3", 12);
  let_requests_expire();
  tick_with(&drop_now);
  expect_ended_with_a_retry();
  expect_counted(0, 1);
  EXPECT_EQ(g_alert_cheknewsvr_interval, check_newsvr_time);
  EXPECT_EQ(Texts{"node2"}, names_of(servers_not_reply));
}

TEST_F(CatchUpEnd, OtherRequestsThatAreGivenUpLeaveTheRunAlone) {
  lead_to_data("node3", 12);
  ask(0x9, {kNode3[0]});
  const uint32_t data_request = sequencenum - 2;
  let_requests_expire();
  receive(kNode2[0], {.type = 0x10000007, .sequence = data_request, .reserve1 = 1},
          alt_test::data_payload({alert_of("node3", 1)}));
  tick_with(&drop_now);
  EXPECT_EQ(REQ_DATA, g_sync_step);
  EXPECT_EQ(Texts{"node3"}, names_of(servers_not_reply));
  expect_counted(0, 0);
}

TEST_F(CatchUpEnd, RunWithoutProgressEndsWithARetry) {
  lead_to_data("node3", 12);
  clock_.advance(g_resync_time_interval);
  protocol_.tick();
  ASSERT_EQ(REQ_DATA, g_sync_step);
  clock_.advance(1);
  protocol_.tick();
  expect_ended_with_a_retry();
  expect_counted(0, 1);
}

TEST_F(CatchUpEnd, EachPeerThatWasDealtWithCountsAsFinished) {
  lead_to_data("node3", 4);
  alerts_come("node3", {1, 2, 3, 4});
  expect_counted(1, 0);
  EXPECT_EQ(REQ_NAME, g_sync_step);
  EXPECT_EQ(Texts{"node3"}, names_of(new_server_list));
  names_come({}, kNode3[0]);
  names_are_over();
  expect_counted(2, 0);
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(nullptr, new_server_list);
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ((Texts{"node3:1", "node3:2", "node3:3", "node3:4"}), held());
}

TEST_F(CatchUpEnd, PeerThatLeavesTheClusterCountsAsGivenUp) {
  lead_to_data("node3", 12);
  keep_servers({"node1", "node3"});
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(Texts{"node3"}, names_of(new_server_list));
  EXPECT_EQ(Texts{}, outstanding_requests());
  expect_counted(0, 1);
}

TEST_F(CatchUpEnd, RunThatGoesOnWhileServersChangeIsNotCounted) {
  lead_to_data("node3", 12);
  keep_servers({"node1", "node2"});
  EXPECT_EQ(REQ_DATA, g_sync_step);
  expect_counted(0, 0);
}

// ---- what a run leaves --------------------------------------------------------------------------

class RequestsOfARun : public CatchUpTest {
 protected:
  // One of each kind, of which the kinds of a run must go.
  void file_others() {
    ours_ = {"0x3 " + std::to_string(ask(0x3)), "0x5 " + std::to_string(ask(0x5)),
             "0x7 " + std::to_string(ask(0x7))};
    for (const uint32_t type : {0x1U, 0x8U, 0x9U, 0xaU}) {
      char text[32];
      snprintf(text, sizeof text, "0x%x %u", type, ask(type));
      others_.emplace_back(text);
    }
    wire_.take();
  }

  Texts ours_;
  Texts others_;
};

TEST_F(RequestsOfARun, GoWhenNobodyToldNames) {
  lead_to_names();
  file_others();
  names_are_over();
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoWhenNobodyToldAnId) {
  lead_to_ids({"node2"});
  file_others();
  ids_are_over();
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoWhenTheRunStalls) {
  lead_to_data("node3", 12);
  file_others();
  clock_.advance(g_resync_time_interval + 1);
  protocol_.tick();
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoWhenADataRequestIsGivenUp) {
  lead_to_data("node3", 12);
  let_requests_expire();
  file_others();
  tick_with(&drop_now);
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoWhenTheLastPeerIsDone) {
  put(&new_server_list, {"node2"});
  lead_to_data("node3", 4);
  const uint32_t sequence = sequencenum - 1;
  file_others();
  receive(kNode2[0], {.type = 0x10000007, .sequence = sequence}, alt_test::data_payload({}));
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoButTheNewOneWhenTheNextPeerIsAsked) {
  lead_to_names();
  names_come({});
  file_others();
  names_are_over();
  EXPECT_EQ(REQ_NAME, g_sync_step);
  others_.push_back("0x3 " + std::to_string(sequencenum - 1));
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, GoWhenTheNextPeerCannotBeReached) {
  lead_to_names();
  cut_off(new_server_list->next);
  names_come({});
  file_others();
  names_are_over();
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(others_, outstanding_requests());
}

TEST_F(RequestsOfARun, StayWhileItGoesOn) {
  lead_to_data("node3", 12);
  file_others();
  protocol_.tick();
  EXPECT_EQ(1 + ours_.size() + others_.size(), outstanding_requests().size());
}

}  // namespace
}  // namespace qel::daemon_test
