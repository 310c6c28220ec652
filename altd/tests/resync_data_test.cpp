// The alerts of the peer, batch by batch, and the way from one name and one peer to the next.
#include <gtest/gtest.h>

#include "support/resync_test.h"

namespace alt_test {
namespace {

class ResyncData : public ResyncTest {
 protected:
  static al_sync_data cursor_at(const std::string& server, uint32_t id) {
    al_sync_data cursor = {id, "", "", 99, 7};
    set_text(cursor.sync_svr, "node3");
    set_text(cursor.reply_svr, server);
    return cursor;
  }
};

// ---- asking for alerts --------------------------------------------------------------------------

TEST_F(ResyncData, RequestIsFiledForEveryAddressOfTheServerThatAnswered) {
  al_sync_data cursor = cursor_at("node3", 0x01020304);
  EXPECT_EQ(request_single_data(&cursor), 0);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_EQ(sequencenum, 2U);
  ASSERT_EQ(requests_waiting(), 1);
  EXPECT_EQ(send_hist.next->msg->msg_data, send_hist.next->msg->next->msg_data);
  re_send_msg();
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[1].to, kNode3[1]);
  EXPECT_EQ(first_difference(taken[1].bytes,
                             datagram({.type = 7, .sequence = 1, .dst = kNode3[1], .reserve2 = 2},
                                      sync_payload({.alert_id = 0x01020304, .sync_svr = "node3"}))),
            "");
}

TEST_F(ResyncData, AskingIsLogged) {
  al_sync_data cursor = cursor_at("node2", 5);
  EXPECT_EQ(request_single_data(&cursor), 0);
  EXPECT_TRUE(log_.has(kTrace, "alert id: 5, sync server: node3"));
  EXPECT_TRUE(log_.has(kTrace, "================== server ip 0 ==============="));
  EXPECT_TRUE(log_.has(kTrace, "================== server ip 1 ==============="));
  EXPECT_EQ(log_.count(kTrace, "Server name is: node2"), 2);
  EXPECT_TRUE(log_.has(kTrace, "server ip is: 127.0.2.2"));
  EXPECT_EQ(log_.count(kNotable, "send request for alert log of server(node3) to server(node2)"),
            2);
  EXPECT_TRUE(log_.has(kFailures, "request alert(ID: 5) of server node3 from node2"));
}

class NoSuchServer : public ResyncData, public ::testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(ResyncData, NoSuchServer, ::testing::Values("", "gone"));

TEST_P(NoSuchServer, ToAskReleasesThePeerAndStartsWithTheNext) {
  put(&new_server_list, {"node3"});
  al_sync_data cursor = cursor_at(GetParam(), 5);
  EXPECT_EQ(request_single_data(&cursor), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x3 1", "127.0.2.1 > 127.0.2.3 0x3 1"}));
  EXPECT_TRUE(log_.has(
      kNotable, std::string("the server(") + GetParam() + ") now is not in the server list"));
}

TEST_P(NoSuchServer, ToAskAndNoNextPeerInReachIsAFailure) {
  put(&new_server_list, {"node3"});
  cut_off(new_server_list->next);
  al_sync_data cursor = cursor_at(GetParam(), 5);
  EXPECT_EQ(request_single_data(&cursor), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_TRUE(log_.has(kFailures, "synchronize with other new added servers failed"));
}

TEST_F(ResyncData, MissingCursorIsAnError) {
  EXPECT_EQ(request_single_data(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(ResyncData, WithoutMemoryNothingIsAsked) {
  al_sync_data cursor = cursor_at("node2", 5);
  const ScarceMemory scarce(144);
  EXPECT_EQ(request_single_data(&cursor), -1);
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_NE(g_sync_step, REQ_DATA);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

// Only memory can be lacking: the requests leave later.
TEST_F(ResyncData, RequestThatCannotBeMadeForAnyAddressIsAFailure) {
  al_sync_data cursor = cursor_at("node2", 5);
  const Fault fault(Site::kAllocate, ENOMEM, 1);
  EXPECT_EQ(request_single_data(&cursor), -1);
  EXPECT_NE(g_sync_step, REQ_DATA);
  EXPECT_TRUE(log_.has(kMinor,
                       "send request for alert log of server(node3) to "
                       "server(node2)IP(127.0.1.2) failed"));
  EXPECT_EQ(requests_waiting(), 0);
}

// ---- a batch ------------------------------------------------------------------------------------

TEST_F(ResyncData, NewAlertsAreStoredAndSignalled) {
  lead_to_req_data({"node3"}, 1, 9);
  EXPECT_TRUE(notes_progress([] { EXPECT_EQ(alerts_come(alerts_of("node3", {1, 2})), 0); }));
  EXPECT_EQ(held(), (Texts{"node3:1", "node3:2"}));
  EXPECT_TRUE(event_.raised());
  EXPECT_EQ(sync_single_data.alert_id, 3U);
  EXPECT_FALSE(waits_for(3));
  EXPECT_TRUE(waits_for(4));
  EXPECT_EQ(read_log_numbers(path("alertlog.alt")).current_alert_id, 0U);
  EXPECT_TRUE(log_.has(kFailures, "receive alert data from 127.0.1.2, alert number is: 2"));
  const char* record = "alert_id = 2,szServer = node3,szServerTime = 2024/01/01 00:00:00.002";
  EXPECT_TRUE(log_.has(kTrace, record));
  EXPECT_TRUE(log_.has(kNotable, record));
  EXPECT_EQ(log_.count(kNotable, "alert record from 127.0.1.2 single data message "), 2);
  EXPECT_EQ(log_.count(kTrace, "write the alert log to disk"), 2);
}

TEST_F(ResyncData, AlertsThatAreThereAlreadyMoveTheCursorWithoutASignal) {
  hold("node3", {1, 2});
  lead_to_req_data({"node3"}, 1, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1, 2})), 0);
  EXPECT_EQ(held(), (Texts{"node3:1", "node3:2"}));
  EXPECT_FALSE(event_.raised());
  EXPECT_EQ(sync_single_data.alert_id, 3U);
  EXPECT_FALSE(log_.has(kTrace, "write the alert log to disk"));
}

TEST_F(ResyncData, NextBatchBeginsBehindWhatIsThereAlready) {
  hold("node3", {2, 3, 4, 5, 6});
  lead_to_req_data({"node3"}, 1, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  uint32_t expected = 0;
  EXPECT_EQ(get_back_notcont_alert_id("node3", 1, &expected), 0);
  EXPECT_EQ(sync_single_data.alert_id, expected);
  EXPECT_GT(expected, 2U);
  EXPECT_LE(expected, 7U);
}

TEST_F(ResyncData, AlertThatCannotBeStoredIsPassedOver) {
  hold("node3", {1});
  lead_to_req_data({"node3"}, 2, 9);
  {
    const Fault fault(Site::kWrite, ENOSPC);
    EXPECT_EQ(alerts_come(alerts_of("node3", {2, 3})), 0);
  }
  EXPECT_TRUE(log_.has(kMinor, "write alert log to disk failed"));
  EXPECT_GE(sync_single_data.alert_id, 3U);
  EXPECT_EQ(g_sync_step, REQ_DATA);
}

TEST_F(ResyncData, AlertsWithoutASignalAreStored) {
  lead_to_req_data({"node3"}, 1, 9);
  const Fault fault(Site::kRaiseEvent, EINVAL);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_EQ(held(), Texts{"node3:1"});
  EXPECT_TRUE(log_.has(kMinor, "semevt_set_alert failed(0x16)."));
}

TEST_F(ResyncData, EmptyBatchFinishesTheName) {
  lead_to_req_data({"node3", "node2"}, 5, 9);
  EXPECT_EQ(alerts_come({}), 0);
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_TRUE(log_.has(kNotable, "synchronize the alert log with server(node3) finished"));
  EXPECT_TRUE(log_.has(kTrace, "--------------- synced single server names ------------------"));
  EXPECT_TRUE(log_.has(kTrace, "sync_single_svrname_list[0]: node3"));
}

TEST_F(ResyncData, BatchThatEndsJustBelowTheHighestIdLeavesThatToFetch) {
  lead_to_req_data({"node3"}, 8, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {8})), 0);
  EXPECT_EQ(sync_single_data.alert_id, 9U);
  EXPECT_EQ(g_sync_step, REQ_DATA);
}

TEST_F(ResyncData, BatchThatReachesTheHighestIdFinishesTheName) {
  lead_to_req_data({"node3", "node2"}, 8, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {8, 9})), 0);
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
}

TEST_F(ResyncData, BatchBeyondTheHighestIdFinishesTheName) {
  lead_to_req_data({"node3", "node2"}, 8, 9);
  EXPECT_EQ(alerts_come(alerts_of("node3", {8, 10})), 0);
  EXPECT_EQ(held(), (Texts{"node3:8", "node3:10"}));
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
}

TEST_F(ResyncData, RunThatReachesTheHighestIdFinishesTheName) {
  hold("node3", {2, 3, 4, 5});
  lead_to_req_data({"node3", "node2"}, 1, 2);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
}

TEST_F(ResyncData, LogThatCannotTellItsRunFetchesTheSameAgain) {
  hold("node3", {1});
  lead_to_req_data({"node3"}, 1, 9);
  spoil("srv_alt_id.idx");
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), 0);
  EXPECT_TRUE(log_.has(kFailures, "call get_back_notcont_alert_id() failed"));
  EXPECT_EQ(sync_single_data.alert_id, 1U);
  EXPECT_EQ(g_sync_step, REQ_DATA);
}

TEST_F(ResyncData, NameThatIsDoneAlreadyIsNotedOnce) {
  lead_to_req_data({"node3", "node2"}, 5, 9);
  put_names(sync_single_svrname_list, {"node3"});
  EXPECT_EQ(alerts_come({}), 0);
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{"node3"});
}

// ---- the way on ---------------------------------------------------------------------------------

TEST_F(ResyncData, LastNameLeadsToTheNextPeer) {
  lead_to_req_data({"node3"}, 5, 9);
  put(&new_server_list, {"node3"});
  EXPECT_EQ(alerts_come({}), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_TRUE(
      log_.has(kNotable, "synchronize the alert log  with new added server(node2) finished"));
}

TEST_F(ResyncData, NextPeerOutOfReachIsAFailure) {
  lead_to_req_data({"node3"}, 5, 9);
  put(&new_server_list, {"node3"});
  cut_off(new_server_list->next);
  EXPECT_EQ(alerts_come({}), -1);
  EXPECT_TRUE(log_.has(kFailures, "synchronize with other new added servers failed"));
  EXPECT_TRUE(log_.has(kFailures, "request server name from new added server(node3) failed"));
  EXPECT_EQ(g_sync_step, RESYN_END);
}

TEST_F(ResyncData, NextNameThatCannotBeAskedForIsAFailure) {
  lead_to_req_data({"node3", "node2"}, 5, 9);
  cut_off(new_server_list);
  EXPECT_EQ(alerts_come({}), -1);
  EXPECT_TRUE(log_.has(kFailures, "synchronize the alert log with new added server failed"));
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
}

TEST_F(ResyncData, NextBatchThatCannotBeAskedForIsAFailure) {
  hold("node3", {1});
  lead_to_req_data({"node3"}, 1, 9);
  const ScarceMemory scarce(144);
  EXPECT_EQ(alerts_come(alerts_of("node3", {1})), -1);
  EXPECT_TRUE(log_.has(kFailures, "request alert log from the new added server failed"));
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
  EXPECT_FALSE(waits_for(3));
}

// ---- the next peer ------------------------------------------------------------------------------

TEST_F(ResyncData, PeerIsReleasedAndTheNextAskedForItsNames) {
  put(&new_server_list, {"node3"});
  g_sync_step = REQ_DATA;
  EXPECT_EQ(sync_other_new_server(), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_TRUE(log_.has(kNotable, "release server(node2) from new server list"));
  EXPECT_TRUE(traced("sync_other_new_server"));
}

TEST_F(ResyncData, EntriesOfThisServerAreReleasedAlongWithThePeer) {
  ty_svrlist** end = &new_server_list->next;
  *end = new_server("node1", {kOwn[0]});
  (*end)->next = new_server("node1", {kOwn[1]});
  (*end)->next->next = new_server("node3", {kNode3[0]});
  EXPECT_EQ(sync_other_new_server(), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
  EXPECT_EQ(log_.count(kNotable, "release server(node1) from new server list"), 2);
}

TEST_F(ResyncData, EntryOfThisServerBehindTheNextPeerStays) {
  put(&new_server_list, {"node3", "node1"});
  EXPECT_EQ(sync_other_new_server(), 0);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node3", "node1"}));
}

TEST_F(ResyncData, LastPeerReleasedIsTheEnd) {
  g_sync_step = REQ_DATA;
  EXPECT_EQ(sync_other_new_server(), 0);
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_TRUE(log_.has(kFailures, "synchronize alert log with new added servers finished"));
}

TEST_F(ResyncData, NobodyToReleaseIsTheEnd) {
  release_svrlist(&new_server_list);
  EXPECT_EQ(sync_other_new_server(), 0);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
}

TEST_F(ResyncData, NextPeerThatCannotBeAskedIsAFailureAndStays) {
  put(&new_server_list, {"node3"});
  cut_off(new_server_list->next);
  EXPECT_EQ(sync_other_new_server(), -1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node3", "node3"}));
  EXPECT_TRUE(log_.has(kFailures, "request server name from new added server(node3) failed"));
}

}  // namespace
}  // namespace alt_test
