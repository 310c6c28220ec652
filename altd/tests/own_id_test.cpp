// The highest id that the cluster holds of this server's own alerts.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 4711;

class OwnId : public ProtocolTest {
 protected:
  static al_sync_data question() {
    al_sync_data data = {0, "node1", "x", 5, 6};
    return data;
  }
  static int receive(const Header& header, const std::string& payload, const char* addr) {
    Received received(datagram(header, payload));
    return recv_reply_maxalertid_localserver_msg(received.msg(), received.buf(), addr);
  }
  static int id_comes(uint32_t id, const char* addr = kNode2[0],
                      const std::string& server = "node1") {
    return receive({.type = 0x10000008, .sequence = kSequence},
                   sync_payload({.alert_id = id, .sync_svr = server, .reply_svr = "node2"}), addr);
  }
};

// ---- asking -------------------------------------------------------------------------------------

TEST_F(OwnId, EveryOtherServerIsAskedUnderASequenceOfItsOwn) {
  al_sync_data data = question();
  EXPECT_EQ(request_max_alertid_localserver(&data), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 4U);
  EXPECT_EQ(first_difference(taken[0].bytes,
                             datagram({.type = 8, .sequence = 1, .dst = kNode2[0], .reserve2 = 1},
                                      sync_payload({.sync_svr = "node1"}))),
            "");
  EXPECT_EQ(first_difference(taken[3].bytes,
                             datagram({.type = 8, .sequence = 2, .dst = kNode3[1], .reserve2 = 2},
                                      sync_payload({.sync_svr = "node1"}))),
            "");
  EXPECT_EQ(sequencenum, 3U);
  EXPECT_EQ(requests_waiting(), 2);
  EXPECT_TRUE(traced("request_max_alertid_localserver"));
}

TEST_F(OwnId, AskingIsTraced) {
  al_sync_data data = question();
  EXPECT_EQ(request_max_alertid_localserver(&data), 0);
  EXPECT_EQ(log_.count(kTrace, "================== send to server ==============="), 4);
  EXPECT_EQ(log_.count(kTrace, "Server name is: node3"), 2);
  EXPECT_EQ(log_.count(kTrace, "server ip is: 127.0.2.3"), 1);
  EXPECT_EQ(
      log_.count(kTrace, "send request for the biggest alert id of server node1 to server: node3"),
      2);
}

TEST_F(OwnId, PeerThatCannotBeReachedIsNoFailure) {
  cut_off(server("node2"));
  al_sync_data data = question();
  EXPECT_EQ(request_max_alertid_localserver(&data), 0);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x8 2", "127.0.2.1 > 127.0.2.3 0x8 2"}));
  EXPECT_TRUE(log_.has(kMinor,
                       "send request for the biggest alert id of server node1 to "
                       "server: node2IP: 127.0.2.2 failed"));
}

TEST_F(OwnId, ServerAloneAsksNobody) {
  keep_only_the_local_server();
  al_sync_data data = question();
  EXPECT_EQ(request_max_alertid_localserver(&data), 0);
  EXPECT_EQ(sequencenum, 1U);
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(OwnId, AskingWithNothingIsAnError) {
  EXPECT_EQ(request_max_alertid_localserver(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(OwnId, WithoutMemoryTheOthersAreNotAsked) {
  al_sync_data data = question();
  int copies = 0;
  const Interception second_copy(
      Site::kAllocate, [&](size_t bytes) { return bytes == 144 && ++copies > 1 ? ENOMEM : kPass; });
  EXPECT_EQ(request_max_alertid_localserver(&data), -1);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x8 1", "127.0.2.1 > 127.0.2.2 0x8 1"}));
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

TEST_F(OwnId, EachFailedAllocationLeavesWholeRequests) {
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM,
      [this] {
        init_send_hist();
        wire_.take();
      },
      [] {
        al_sync_data data = question();
        static_cast<void>(request_max_alertid_localserver(&data));
        re_send_msg();
      });
  EXPECT_GE(runs, 10);
}

TEST_F(OwnId, LogThatHasToBeFilledAsksThePeersAndWaitsForTheirAnswers) {
  start_write_local_logfile = get_maxalertid_localserver_now = 1;
  add_to_new_serverlist_all();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x8 1", "127.0.2.1 > 127.0.2.2 0x8 1",
                              "127.0.1.1 > 127.0.1.3 0x8 2", "127.0.2.1 > 127.0.2.3 0x8 2"}));
  EXPECT_EQ(start_write_local_logfile, 0);
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

TEST_F(OwnId, LogThatHasToBeFilledWaitsAlsoWhenItCannotAsk) {
  const ScarceMemory scarce(144);
  add_to_new_serverlist_all();
  EXPECT_TRUE(log_.has(kFailures, "send request all alert id message failed"));
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 1);
}

// ---- the answers --------------------------------------------------------------------------------

class AnswersInOrder : public OwnId, public ::testing::WithParamInterface<std::vector<uint32_t>> {};
INSTANTIATE_TEST_SUITE_P(OwnId, AnswersInOrder,
                         ::testing::Values(std::vector<uint32_t>{10, 42, 17},
                                           std::vector<uint32_t>{42, 17, 10},
                                           std::vector<uint32_t>{17, 10, 42}));

TEST_P(AnswersInOrder, LeaveTheHighest) {
  add_server("node4", {"127.0.1.4"});
  const char* addresses[] = {kNode2[0], kNode3[1], "127.0.1.4"};
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(id_comes(GetParam()[i], addresses[i]), 0);
  EXPECT_EQ(max_alertid_localserver, 42U);
}

TEST_F(OwnId, HigherIdIsTakenAndTheRequestSettled) {
  expect_reply_to(kSequence);
  max_alertid_localserver = 8;
  g_sync_step = REQ_DATA;
  EXPECT_EQ(id_comes(9), 0);
  EXPECT_EQ(max_alertid_localserver, 9U);
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
  EXPECT_TRUE(log_.has(kNotable, "get reply from others max alert id: 9"));
  EXPECT_TRUE(
      log_.has(kTrace, "server node2 has the newest alert of server node1, max alert id: 9"));
  EXPECT_TRUE(log_.has(kNotable, "get reply from others max alert id2: 9"));
  EXPECT_TRUE(log_.has(kTrace, "---------- sync_all_data ------------"));
  EXPECT_TRUE(log_.has(kTrace, "sync_all_data.alert_id: 9"));
  EXPECT_TRUE(log_.has(kTrace, "sync_all_data.sync_svr: node1"));
  EXPECT_TRUE(log_.has(kTrace, "sync_all_data.reply_svr: node2"));
}

TEST_F(OwnId, IdThatIsNotHigherChangesNothingButSettlesTheRequest) {
  for (const uint32_t id : {9U, 8U, 0U}) {
    expect_reply_to(kSequence);
    max_alertid_localserver = 9;
    EXPECT_EQ(id_comes(id), 0);
    EXPECT_EQ(max_alertid_localserver, 9U);
    EXPECT_FALSE(waits_for(kSequence));
  }
  EXPECT_FALSE(log_.has_part(kTrace, "has the newest alert"));
}

TEST_F(OwnId, IdsInAnswersAreUnsigned) {
  max_alertid_localserver = 9;
  EXPECT_EQ(id_comes(0x80000000), 0);
  EXPECT_EQ(max_alertid_localserver, 0x80000000U);
  EXPECT_EQ(id_comes(10), 0);
  EXPECT_EQ(max_alertid_localserver, 0x80000000U);
}

TEST_F(OwnId, AnswerAboutAnotherServerIsRefusedAndTheRequestStays) {
  expect_reply_to(kSequence);
  for (const char* server : {"node2", "node", "node10", ""}) {
    EXPECT_EQ(id_comes(9, kNode2[0], server), -1) << server;
  }
  EXPECT_EQ(max_alertid_localserver, 0U);
  EXPECT_TRUE(waits_for(kSequence));
  EXPECT_EQ(log_.count(kFailures, "error occured when getting all alert id"), 4);
}

TEST_F(OwnId, AnswerOfAStrangerIsRefusedAndTheRequestStays) {
  expect_reply_to(kSequence);
  EXPECT_EQ(id_comes(9, kStranger), -1);
  EXPECT_EQ(max_alertid_localserver, 0U);
  EXPECT_TRUE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kMinor, "received message from unknown server: 127.0.1.9"));
}

TEST_F(OwnId, LengthThatLiesIsRefusedAndTheRequestStays) {
  expect_reply_to(kSequence);
  const std::string payload = sync_payload({.alert_id = 9, .sync_svr = "node1"});
  for (const uint32_t length : {145U, 0x80000000U, 0xffffffffU}) {
    const Header lying = {.type = 0x10000008, .sequence = kSequence, .length = length};
    EXPECT_EQ(receive(lying, payload, kNode2[0]), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(max_alertid_localserver, 0U);
  EXPECT_TRUE(waits_for(kSequence));
}

TEST_F(OwnId, AnswerThatIsTooShortIsOfNoServer) {
  const Header cut = {.type = 0x10000008, .sequence = kSequence, .length = 4};
  const std::string payload = sync_payload({.alert_id = 9, .sync_svr = "node1"});
  EXPECT_EQ(receive(cut, payload, kNode2[0]), -1);
  EXPECT_EQ(max_alertid_localserver, 0U);
}

TEST_F(OwnId, NamesWithoutAnEndAreBounded) {
  std::string payload = sync_payload({.alert_id = 9, .sync_svr = "node1"});
  payload.replace(4 + 65, 65, 65, 'y');
  EXPECT_EQ(receive({.type = 0x10000008, .sequence = kSequence}, payload, kNode2[0]), 0);
  EXPECT_EQ(max_alertid_localserver, 9U);
  EXPECT_FALSE(log_.has_part(kTrace, std::string(66, 'y')));
}

TEST_F(OwnId, MissingArgumentIsAnError) {
  expect_reply_to(kSequence);
  Received received(datagram({.type = 0x10000008, .sequence = kSequence},
                             sync_payload({.alert_id = 9, .sync_svr = "node1"})));
  const auto handler = recv_reply_maxalertid_localserver_msg;
  EXPECT_EQ(handler(nullptr, received.buf(), kNode2[0]), -1);
  EXPECT_EQ(handler(received.msg(), nullptr, kNode2[0]), -1);
  EXPECT_EQ(handler(received.msg(), received.buf(), nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_TRUE(waits_for(kSequence));
}

}  // namespace
}  // namespace alt_test
