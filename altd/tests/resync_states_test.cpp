// The states of a resynchronisation: from each state, with each event, to the next.
#include <gtest/gtest.h>

#include <vector>

#include "support/resync_test.h"

namespace alt_test {
namespace {

class ResyncStates : public ResyncTest {
 protected:
  // With short waits: the first tick after it is armed ends each of them.
  ResyncStates() {
    g_get_srvname_timeout = g_get_altid_timeout = g_alert_cheknewsvr_interval = 1;
    g_alert_getradio_interval = 5;
    g_resync_time_interval = 1000000;
  }
};

class AnyState : public ResyncStates, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(ResyncStates, AnyState,
                         ::testing::Range(int{RESYN_START}, int{RESYN_END} + 1));

class AnyButEnd : public ResyncStates, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(ResyncStates, AnyButEnd,
                         ::testing::Range(int{RESYN_START}, int{RESYN_END}));

TEST_F(ResyncStates, EndWithACheckForNewServersDueStaysUntilTheDaemonGoesOn) {
  end_resynchronize(0);
  ding();
  EXPECT_EQ(check_newsvr_now, 1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(request_single_svrname(), 0);
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(check_newsvr_now, 0);
}

TEST_P(AnyState, StartedWithNobodyToSynchroniseWithIsTheEnd) {
  release_svrlist(&new_server_list);
  g_sync_step = GetParam();
  EXPECT_EQ(request_single_svrname(), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_EQ(arrived(), Texts{});
}

TEST_P(AnyState, StartedWithAPeerAsksItForNames) {
  g_sync_step = GetParam();
  EXPECT_EQ(request_single_svrname(), 0);
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x3 1", "127.0.2.1 > 127.0.2.2 0x3 1"}));
}

TEST_F(ResyncStates, StartThatReachesNobodyIsTheEndAndIsTriedAgain) {
  cut_off(new_server_list);
  EXPECT_EQ(request_single_svrname(), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_TRUE(log_.has(kFailures, "==== End synchronize width server node2 ===="));
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
  EXPECT_EQ(check_newsvr_flag, 1);
}

TEST_F(ResyncStates, NamesAskedForAndComeAreReceived) {
  lead_to_req_name();
  EXPECT_EQ(names_come({"node2", "node3"}), 0);
  EXPECT_EQ(g_sync_step, RCV_NAME);
  EXPECT_EQ(names_in(single_svrname_list), (Texts{"node2", "node3"}));
}

TEST_F(ResyncStates, NamesReceivedAndTheirWaitOverAskForTheFirstNamesId) {
  lead_to_rcv_name({"node3", "node2"});
  ding();
  ASSERT_EQ(sync_single_svrname_now, 1);
  EXPECT_EQ(g_sync_step, RCV_NAME);
  EXPECT_EQ(sync_other_single_svrname(), 0);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_STREQ(sync_single_data.sync_svr, "node3");
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x5 2", "127.0.2.1 > 127.0.2.2 0x5 2"}));
}

TEST_F(ResyncStates, NoNamesReceivedAndTheirWaitOverStayAsTheyAre) {
  lead_to_rcv_name({});
  ding();
  ASSERT_EQ(sync_single_svrname_now, 1);
  EXPECT_EQ(sync_other_single_svrname(), 1);
  EXPECT_EQ(g_sync_step, RCV_NAME);
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(ResyncStates, NamesThatNeverComeAndTheirWaitOverStayAskedFor) {
  lead_to_req_name();
  ding();
  ASSERT_EQ(sync_single_svrname_now, 1);
  EXPECT_EQ(sync_other_single_svrname(), 1);
  EXPECT_EQ(g_sync_step, REQ_NAME);
}

TEST_F(ResyncStates, IdAskedForAndComesIsReceived) {
  lead_to_req_altid({"node3"});
  EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node3", .reply_svr = "node2"}), 0);
  EXPECT_EQ(g_sync_step, RCV_ALTID);
  EXPECT_EQ(sync_single_data.alert_id, 9U);
  EXPECT_STREQ(sync_single_data.reply_svr, "node2");
}

TEST_F(ResyncStates, IdReceivedAndItsWaitOverAsksForAlerts) {
  lead_to_rcv_altid({"node3"}, 9);
  ding();
  ASSERT_EQ(sync_single_altid_now, 1);
  EXPECT_EQ(g_sync_step, RCV_ALTID);
  EXPECT_EQ(request_single_data(&sync_single_data), 0);
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_TRUE(waits_for(3));
}

TEST_F(ResyncStates, IdThatComesFromNobodyAndItsWaitOverReleasesThePeer) {
  lead_to_req_altid({"node3"});
  ding();
  ASSERT_EQ(sync_single_altid_now, 1);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_EQ(request_single_data(&sync_single_data), 0);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(new_server_list, nullptr);
}

TEST_F(ResyncStates, AlertsAskedForWithMoreToFetchAreAskedForAgain) {
  lead_to_req_data({"node3"}, 1, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1, 2, 3, 4})), 0);
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_EQ(held(), (Texts{"node3:1", "node3:2", "node3:3", "node3:4"}));
  EXPECT_TRUE(waits_for(4));
  EXPECT_FALSE(waits_for(3));
}

TEST_F(ResyncStates, LastAlertOfANameLeadsToTheNextName) {
  lead_to_req_data({"node3", "node2"}, 1, 1);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
  EXPECT_STREQ(sync_single_data.sync_svr, "node2");
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x5 4", "127.0.2.1 > 127.0.2.2 0x5 4"}));
}

TEST_F(ResyncStates, LastAlertOfTheLastNameLeadsToTheNextPeer) {
  lead_to_req_data({"node3"}, 1, 1);
  put(&new_server_list, {"node3"});
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x3 4", "127.0.2.1 > 127.0.2.3 0x3 4"}));
}

TEST_F(ResyncStates, LastAlertOfTheLastNameWithANextPeerOutOfReachIsTheEnd) {
  lead_to_req_data({"node3"}, 1, 1);
  put(&new_server_list, {"node3"});
  cut_off(new_server_list->next);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node3", "node3"}));
}

TEST_F(ResyncStates, LastAlertOfTheLastNameOfTheLastPeerIsTheEnd) {
  lead_to_req_data({"node3"}, 1, 1);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_EQ(check_newsvr_flag, 1);
}

TEST_F(ResyncStates, FailureToGoOnIsTheEndAndThePeerIsTriedAgain) {
  lead_to_req_data({"node3", "node2"}, 1, 1);
  cut_off(new_server_list);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
  EXPECT_EQ(check_newsvr_flag, 1);
}

TEST_F(ResyncStates, RequestForAlertsThatExpiresIsTheEnd) {
  lead_to_req_data({"node3"}, 1, 9);
  tckconf = 0;  // whatever has been filed has expired
  dropmsg_from_list();
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node2"});
}

TEST_F(ResyncStates, OtherRequestThatExpiresIsNot) {
  lead_to_req_altid({"node3"});
  tckconf = 0;
  dropmsg_from_list();
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
}

TEST_P(AnyButEnd, WithoutProgressForTooLongIsTheEndAndThePeerIsTriedAgain) {
  g_sync_step = GetParam();
  g_last_resync_time = QEL_TIMES(nullptr) - g_resync_time_interval - 1;
  ding();
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag + check_newsvr_now, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
  EXPECT_TRUE(log_.has(kMinor, "resync abnormally stoped. resync again."));
}

TEST_F(ResyncStates, EndWithoutProgressIsNoStall) {
  g_last_resync_time = QEL_TIMES(nullptr) - g_resync_time_interval - 1;
  ding();
  EXPECT_FALSE(log_.has_part(kMinor, "resync abnormally"));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
}

// ---- replies at another time --------------------------------------------------------------------

struct Arrival {
  int awaited;  // the state in which the reply is awaited
  int state;
};
void PrintTo(const Arrival& arrival, std::ostream* out) {
  *out << "awaited in " << arrival.awaited << ", comes in " << arrival.state;
}

std::vector<Arrival> untimely_arrivals() {
  std::vector<Arrival> arrivals;
  for (const int awaited : {REQ_NAME, REQ_ALTID, REQ_DATA}) {
    for (int state = RESYN_START; state <= RESYN_END; ++state) {
      if (state != awaited) arrivals.push_back({awaited, state});
    }
  }
  return arrivals;
}

class UntimelyReply : public ResyncStates, public ::testing::WithParamInterface<Arrival> {
 protected:
  static int comes(int awaited, uint32_t sequence) {
    if (awaited == REQ_NAME) return names_come({"node3"}, sequence);
    if (awaited == REQ_DATA) return alerts_come(alerts_of("node3", {1}), sequence);
    return id_comes({.alert_id = 9, .sync_svr = "node3", .reply_svr = "node2"}, sequence);
  }
};
INSTANTIATE_TEST_SUITE_P(ResyncStates, UntimelyReply, ::testing::ValuesIn(untimely_arrivals()));

TEST_P(UntimelyReply, IsIgnoredButSettlesItsRequest) {
  set_text(sync_single_data.sync_svr, "node3");
  expect_reply_to(8);
  expect_reply_to(9);
  g_sync_step = GetParam().state;
  EXPECT_EQ(comes(GetParam().awaited, 8), -1);
  EXPECT_EQ(g_sync_step, GetParam().state);
  EXPECT_EQ(held(), Texts{});
  EXPECT_FALSE(waits_for(8));
  EXPECT_TRUE(waits_for(9));
}

}  // namespace
}  // namespace alt_test
