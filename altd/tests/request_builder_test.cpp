// Requests to peers: one message to one address, filed until its reply comes.
#include <gtest/gtest.h>

#include <cstdlib>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

class RequestBuilder : public ProtocolTest {
 protected:
  RequestBuilder() { sequencenum = 77; }

  // Numbers in host order, as a caller has them.
  static al_sync_data* new_sync_data() {
    auto* data = static_cast<al_sync_data*>(calloc(1, sizeof(al_sync_data)));
    data->alert_id = 0x01020304;
    set_text(data->sync_svr, "node3");
    set_text(data->reply_svr, "node2");
    data->max_alert_id = 0x11121314;
    data->sync_flg = 0x21222324;
    return data;
  }
  static std::string wire_sync_data() {
    return sync_payload({0x01020304, "node3", "node2", 0x11121314, 0x21222324});
  }
};

TEST_F(RequestBuilder, RequestForServerNamesIsAHeaderOnly) {
  EXPECT_EQ(send_request_server_name_msg(kNode2[1], 3, 2), 0);
  expect_only(kOwn[1], kNode2[1],
              datagram({.type = 3, .sequence = 77, .dst = kNode2[1], .reserve2 = 2}));
  EXPECT_TRUE(waits_for(77));
  EXPECT_TRUE(log_.has(kTrace, "the message type is: 0x3"));
  EXPECT_TRUE(traced("send_request_server_name_msg"));
}

class IdRequest : public RequestBuilder, public ::testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(RequestBuilder, IdRequest, ::testing::Values(5U, 8U));

TEST_P(IdRequest, CarriesTheSyncRecordInNetworkOrder) {
  EXPECT_EQ(send_request_alert_id_msg(new_sync_data(), kNode2[0], GetParam(), 1), 0);
  expect_only(kOwn[0], kNode2[0],
              datagram({.type = GetParam(), .sequence = 77, .dst = kNode2[0], .reserve2 = 1},
                       wire_sync_data()));
  EXPECT_TRUE(waits_for(77));
  EXPECT_TRUE(log_.has(kTrace, "the message type is: 0x" + std::to_string(GetParam())));
  EXPECT_TRUE(traced("send_request_alert_id_msg"));
}

TEST_F(RequestBuilder, RequestForDataLeavesWithTheNextRetransmission) {
  EXPECT_EQ(send_request_data_msg(new_sync_data(), kNode2[0], 7, 1), 0);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(waits_for(77));
  re_send_msg();
  expect_only(
      kOwn[0], kNode2[0],
      datagram({.type = 7, .sequence = 77, .dst = kNode2[0], .reserve2 = 1}, wire_sync_data()));
  EXPECT_TRUE(log_.has(kTrace, "the message type is: 0x7"));
  EXPECT_TRUE(traced("send_request_data_msg"));
}

TEST_F(RequestBuilder, PayloadIsTheCallersBlockAndGoesWithItsMessage) {
  al_sync_data* data = new_sync_data();
  EXPECT_EQ(send_request_alert_id_msg(data, kNode2[0], 5, 1), 0);
  EXPECT_EQ(send_request_alert_id_msg(data, kNode2[1], 5, 2), 0);
  ASSERT_EQ(requests_waiting(), 1);
  const al_msg* first = send_hist.next->msg;
  EXPECT_EQ(first->msg_data, data);
  EXPECT_EQ(first->next->msg_data, data);
  EXPECT_EQ(data->alert_id, 0x01020304U);
}

TEST_F(RequestBuilder, SequenceIsMovedOnByTheCaller) {
  EXPECT_EQ(send_request_server_name_msg(kNode2[0], 3, 1), 0);
  EXPECT_EQ(send_request_alert_id_msg(new_sync_data(), kNode2[0], 5, 1), 0);
  EXPECT_EQ(send_request_data_msg(new_sync_data(), kNode2[0], 7, 1), 0);
  EXPECT_EQ(sequencenum, 77U);
}

TEST_F(RequestBuilder, RequestThatCannotBeSentFailsAndIsTriedAgain) {
  EXPECT_EQ(send_request_server_name_msg(kNode2[0], 3, kNoInterconnect), -1);
  EXPECT_TRUE(waits_for(77));
  sequencenum = 78;
  EXPECT_EQ(send_request_alert_id_msg(new_sync_data(), kNode2[0], 5, kNoInterconnect), -1);
  EXPECT_TRUE(waits_for(78));
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(RequestBuilder, MissingArgumentIsAnError) {
  al_sync_data* data = new_sync_data();
  EXPECT_EQ(send_request_server_name_msg(nullptr, 3, 1), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error, dst_ip is NULL"));
  EXPECT_EQ(send_request_alert_id_msg(data, nullptr, 5, 1), -1);
  EXPECT_EQ(send_request_alert_id_msg(nullptr, kNode2[0], 5, 1), -1);
  EXPECT_EQ(send_request_data_msg(data, nullptr, 7, 1), -1);
  EXPECT_EQ(send_request_data_msg(nullptr, kNode2[0], 7, 1), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 4);
  EXPECT_EQ(requests_waiting(), 0);
  free(data);
}

TEST_F(RequestBuilder, WithoutMemoryThePayloadStaysTheCallers) {
  al_sync_data* data = new_sync_data();
  {
    const Fault fault(Site::kAllocate, ENOMEM);
    EXPECT_EQ(send_request_server_name_msg(kNode2[0], 3, 1), -1);
    EXPECT_EQ(send_request_alert_id_msg(data, kNode2[0], 5, 1), -1);
    EXPECT_EQ(send_request_data_msg(data, kNode2[0], 7, 1), -1);
  }
  EXPECT_EQ(log_.count(kFailures, "create message failed"), 3);
  EXPECT_EQ(requests_waiting(), 0);
  free(data);
}

}  // namespace
}  // namespace alt_test
