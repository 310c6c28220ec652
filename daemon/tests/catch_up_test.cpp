// Catching up with another server: its start, and what comes of the waits for names and ids.
#include "cluster/catch_up.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "catch_up_fixture.h"

namespace qel::daemon_test {
namespace {

using alt_test::names_of;

class CatchUpPhases : public CatchUpTest {};

const Texts kNamesFromNode2 = {"127.0.1.2 0x3 1", "127.0.2.2 0x3 1"};

// ---- the start ----------------------------------------------------------------------------------

TEST_F(CatchUpPhases, StartListsEveryOtherServerAndArmsTheCheck) {
  start();
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ(g_alert_cheknewsvr_interval, check_newsvr_time);
}

TEST_F(CatchUpPhases, StartWithAListThatANewLogHasFilledAddsNothing) {
  add_to_new_serverlist_all();
  start();
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
  EXPECT_EQ(1, check_newsvr_flag);
}

TEST_F(CatchUpPhases, StartOfAServerAloneArmsTheCheckOfAnEmptyList) {
  keep_only_the_local_server();
  start();
  EXPECT_EQ(nullptr, new_server_list);
  EXPECT_EQ(1, check_newsvr_flag);
}

// ---- the check of new servers -------------------------------------------------------------------

TEST_F(CatchUpPhases, CheckAsksTheFirstServerForNames) {
  start();
  clock_.advance(77);
  check();
  EXPECT_EQ(REQ_NAME, g_sync_step);
  EXPECT_EQ(kNamesFromNode2, sent());
  EXPECT_EQ(start_ + 77, g_last_resync_time);
}

TEST_F(CatchUpPhases, CheckOfAnEmptyListIsArmedAgain) {
  keep_only_the_local_server();
  start();
  check_newsvr_flag = 0;
  check();
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ(0, check_newsvr_now);
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(Texts{}, sent());
  expect_counted(0, 0);
}

TEST_F(CatchUpPhases, CheckDuringARunChangesNothing) {
  lead_to_names();
  names_come({"node2"});
  check();
  EXPECT_EQ(RCV_NAME, g_sync_step);
  EXPECT_EQ(Texts{}, sent());
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
}

TEST_F(CatchUpPhases, FirstThatStandsAgainLaterGivesWayToTheNext) {
  put(&new_server_list, {"node2", "node3", "node2"});
  start();
  check();
  EXPECT_EQ((Texts{"127.0.1.3 0x3 1", "127.0.2.3 0x3 1"}), sent());
  EXPECT_EQ((Texts{"node3", "node2"}), names_of(new_server_list));
  expect_counted(0, 0);
}

TEST_F(CatchUpPhases, OnlyPeerThatFailedIsTriedAgain) {
  put(&new_server_list, {"node2", "node2"});
  start();
  check();
  EXPECT_EQ(kNamesFromNode2, sent());
  EXPECT_EQ(Texts{"node2"}, names_of(new_server_list));
}

TEST_F(CatchUpPhases, CheckOfServersThatAreAllSilentAsksNobodyAndIsArmedAgain) {
  start();
  put(&servers_not_reply, {"node3", "node2"});
  check_newsvr_flag = 0;
  check();
  EXPECT_EQ(Texts{}, sent());
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(1, check_newsvr_flag);
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
  expect_counted(0, 0);
}

TEST_F(CatchUpPhases, CheckAsksAsLongAsOneServerIsNotSilent) {
  start();
  put(&servers_not_reply, {"node2"});
  check();
  EXPECT_EQ(kNamesFromNode2, sent());
}

TEST_F(CatchUpPhases, PeerThatCannotBeReachedComesAgainAndLeavesNoRequest) {
  start();
  cut_off(new_server_list);
  check();
  expect_ended_with_a_retry();
  EXPECT_EQ(Texts{}, outstanding_requests());
}

// ---- the wait for names is over -----------------------------------------------------------------

TEST_F(CatchUpPhases, NobodyToldNamesEndsTheRunWithARetry) {
  lead_to_names();
  names_are_over();
  expect_ended_with_a_retry();
  expect_counted(0, 1);
  EXPECT_EQ(Texts{}, sent());
}

TEST_F(CatchUpPhases, FirstNameIsAskedAbout) {
  lead_to_names();
  names_come({"node3", "node2"});
  EXPECT_EQ(Texts{}, sent());
  names_are_over();
  EXPECT_EQ((Texts{"127.0.1.2 0x5 2", "127.0.2.2 0x5 2"}), sent());
  EXPECT_STREQ("node3", sync_single_data.sync_svr);
  EXPECT_EQ(REQ_ALTID, g_sync_step);
}

TEST_F(CatchUpPhases, PeerWithAnEmptyLogIsDoneAndTheNextIsAsked) {
  lead_to_names();
  names_come({});
  names_are_over();
  EXPECT_EQ((Texts{"127.0.1.3 0x3 2", "127.0.2.3 0x3 2"}), sent());
  EXPECT_EQ(Texts{"node3"}, names_of(new_server_list));
  expect_counted(1, 0);
}

TEST_F(CatchUpPhases, EndOfTheWaitForNamesCountsInItsOwnStatesOnly) {
  lead_to_names();
  names_come({"node2"});
  for (const int state : {RESYN_START, REQ_ALTID, RCV_ALTID, REQ_DATA, RESYN_END}) {
    g_sync_step = state;
    names_are_over();
    EXPECT_EQ(state, g_sync_step);
    EXPECT_EQ(Texts{}, sent());
  }
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
}

// ---- the wait for ids is over -------------------------------------------------------------------

TEST_F(CatchUpPhases, NobodyToldAnIdEndsTheRunWithARetry) {
  lead_to_ids({"node2"});
  ids_are_over();
  expect_ended_with_a_retry();
  expect_counted(0, 1);
  EXPECT_EQ(Texts{}, outstanding_requests());
}

TEST_F(CatchUpPhases, NameOfWhichThePeerHoldsNothingIsDone) {
  lead_to_ids({"node2", "node3"});
  id_comes("node2", 0);
  ids_are_over();
  EXPECT_EQ((Texts{"127.0.1.2 0x5 3", "127.0.2.2 0x5 3"}), sent());
  EXPECT_STREQ("node3", sync_single_data.sync_svr);
  EXPECT_EQ(Texts{"node2"}, alt_test::names_in(sync_single_svrname_list));
}

TEST_F(CatchUpPhases, LastNameOfWhichThePeerHoldsNothingEndsThePeer) {
  lead_to_ids({"node2"});
  id_comes("node2", 0);
  ids_are_over();
  EXPECT_EQ((Texts{"127.0.1.3 0x3 3", "127.0.2.3 0x3 3"}), sent());
  EXPECT_EQ(Texts{"node3"}, names_of(new_server_list));
  expect_counted(1, 0);
}

TEST_F(CatchUpPhases, EndOfTheWaitForIdsCountsInItsOwnStatesOnly) {
  lead_to_ids({"node2"});
  id_comes("node2", 7);
  for (const int state : {RESYN_START, REQ_NAME, RCV_NAME, REQ_DATA, RESYN_END}) {
    g_sync_step = state;
    ids_are_over();
    EXPECT_EQ(state, g_sync_step);
    EXPECT_EQ(Texts{}, sent());
  }
  EXPECT_EQ((Texts{"node2", "node3"}), names_of(new_server_list));
}

TEST_F(CatchUpPhases, DataRequestThatCannotBeMadeEndsTheRunWithARetry) {
  lead_to_ids({"node2"});
  id_comes("node2", 7);
  {
    const alt_test::Fault no_memory(alt_test::Site::kAllocate, ENOMEM);
    ids_are_over();
  }
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(1, check_newsvr_flag);
  expect_counted(0, 1);
}

// ---- from which id on ---------------------------------------------------------------------------

class CatchUpRange : public CatchUpTest {
 protected:
  // Catches up with node3's alerts, of which the peer has told this highest id.
  void expect_asked_from(uint32_t first, uint32_t highest) {
    lead_to_data("node3", highest);
    EXPECT_EQ(Texts{"127.0.1.2 0x7 3 from " + std::to_string(first)}, sent());
    EXPECT_EQ(first, sync_single_data.alert_id);
    EXPECT_EQ(highest, sync_single_data.max_alert_id);
  }
};

TEST_F(CatchUpRange, NothingHeldIsFetchedFromTheFirstAlert) {
  hold("node2", {1, 2, 3});
  expect_asked_from(1, 9);
}

TEST_F(CatchUpRange, EmptyLogIsFetchedFromTheFirstAlert) { expect_asked_from(1, 9); }

TEST_F(CatchUpRange, FirstOfSeveralHolesIsTheBeginning) {
  hold("node3", {1, 2, 4, 5, 8});
  hold("node2", {3});
  expect_asked_from(3, 9);
}

TEST_F(CatchUpRange, MissingFirstAlertIsTheBeginning) {
  hold("node3", {2, 3, 4});
  expect_asked_from(1, 9);
}

TEST_F(CatchUpRange, UnbrokenIdsAreFetchedFromBehindThem) {
  hold("node3", {1, 2, 3, 4});
  expect_asked_from(5, 9);
}

TEST_F(CatchUpRange, EverythingHeldAsksForTheReportedIdAlone) {
  hold("node3", {1, 2, 3, 4});
  expect_asked_from(4, 4);
}

TEST_F(CatchUpRange, MoreHeldThanThePeerReportsAsksForTheReportedIdAlone) {
  hold("node3", {1, 2, 3, 4});
  expect_asked_from(2, 2);
}

TEST_F(CatchUpRange, LargestIdIsReached) {
  hold("node3", {1, 2});
  expect_asked_from(3, 0xFFFFFFFF);
}

class CatchUpRangeOfAFullLog : public CatchUpRange {
 protected:
  CatchUpRangeOfAFullLog() { make_log(4); }
};

TEST_F(CatchUpRangeOfAFullLog, NothingOlderThanTheOldestHeldIsFetched) {
  hold("node3", {5, 6, 8, 9});
  expect_asked_from(7, 12);
}

TEST_F(CatchUpRangeOfAFullLog, UnbrokenIdsAreFetchedFromBehindThem) {
  hold("node3", {5, 6, 7, 8});
  expect_asked_from(9, 12);
}

TEST_F(CatchUpRangeOfAFullLog, ServerOfWhichNothingIsHeldIsFetchedFromTheFirstAlert) {
  hold("node2", {5, 6, 7, 8});
  expect_asked_from(1, 12);
}

TEST_F(CatchUpRangeOfAFullLog, LogWithRoomForOneIsFetchedFromTheFirstAlert) {
  hold("node3", {5, 6, 8});
  expect_asked_from(1, 12);
}

// The peer was away while everything that it holds was overwritten here.
TEST_F(CatchUpRangeOfAFullLog, PeerWithOlderAlertsOnlyOverwritesNothing) {
  hold("node3", {5, 6, 7, 8});
  lead_to_ids({"node3"});
  id_comes("node3", 3);
  ids_are_over();
  const Texts requests = sent();
  EXPECT_FALSE(std::any_of(requests.begin(), requests.end(), [](const std::string& request) {
    return request.ends_with(" from 1") || request.ends_with(" from 2") ||
           request.ends_with(" from 3") || request.ends_with(" from 4");
  })) << requests[0];
}

}  // namespace
}  // namespace qel::daemon_test
