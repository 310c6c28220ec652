// What a server answers when a peer that catches up asks for ids and alerts of one server.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 0x01020304;

using Handler = int (*)(al_msg*, const char*, const char*, uint32_t);

// The two handlers that are asked with a sync record.
struct Question {
  Handler handler;
  uint32_t type;
  const char* store_failure;
  const char* send_failure;
};
const Question kIds = {recv_request_alert_id_msg, 5, "get alert id of server: node3 failed",
                       "send reply alert id message failed"};
const Question kOwnIds = {recv_request_alert_id_msg, 8, "get alert id of server: node3 failed",
                          "send reply alert id message failed"};
const Question kData = {recv_request_data_msg, 7, "get alert log of server(node3) failed",
                        "send reply all alert id message failed"};
void PrintTo(const Question& question, std::ostream* out) { *out << "type " << question.type; }

class SyncRequest : public ProtocolTest {
 protected:
  static Header header(const Question& question) {
    return {.type = question.type, .sequence = kSequence, .dst = kOwn[0], .reserve2 = 1};
  }
  static int ask(const Question& question, const Header& header, const std::string& payload,
                 const char* addr = kNode2[0]) {
    Received received(datagram(header, payload));
    return question.handler(received.msg(), received.buf(), addr, question.type + 0x10000000);
  }
  static int ask(const Question& question, const Sync& sync, const char* addr = kNode2[0]) {
    return ask(question, header(question), sync_payload(sync), addr);
  }
  void expect_id_reply(uint32_t type, const Sync& sync) {
    expect_only(kOwn[0], kNode2[0],
                datagram({.type = type, .sequence = kSequence, .dst = kNode2[0], .reserve2 = 1},
                         sync_payload(sync)));
  }
  void expect_data_reply(const std::vector<ALERT_RECORD_INFO>& records) {
    expect_only(kOwn[0], kNode2[0],
                datagram({.type = 0x10000007,
                          .sequence = kSequence,
                          .dst = kNode2[0],
                          .reserve1 = static_cast<uint32_t>(records.size()),
                          .reserve2 = 1},
                         data_payload(records)));
  }
  // What hold("node3", ids) stores.
  static std::vector<ALERT_RECORD_INFO> alerts(std::initializer_list<uint32_t> ids) {
    std::vector<ALERT_RECORD_INFO> records;
    for (const uint32_t id : ids) {
      records.push_back(make_record(id));
      set_text(records.back().szServer, "node3");
    }
    return records;
  }
};

class EachSyncRequest : public SyncRequest, public ::testing::WithParamInterface<Question> {};
INSTANTIATE_TEST_SUITE_P(SyncRequest, EachSyncRequest, ::testing::Values(kIds, kOwnIds, kData));

// ---- the same for both --------------------------------------------------------------------------

TEST_P(EachSyncRequest, IsAnsweredToWhoeverAsks) {
  hold("node3", {1});
  EXPECT_EQ(ask(GetParam(), {.sync_svr = "node3"}, kStranger), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].to, kStranger);
  EXPECT_EQ(new_server_list, nullptr);
}

TEST_P(EachSyncRequest, IsAnsweredEachTimeAndNothingWaits) {
  hold("node3", {1});
  EXPECT_EQ(ask(GetParam(), {.sync_svr = "node3"}), 0);
  EXPECT_EQ(ask(GetParam(), {.sync_svr = "node3"}), 0);
  EXPECT_EQ(arrived().size(), 2U);
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_EQ(sequencenum, 1U);
}

TEST_P(EachSyncRequest, LeavesFromTheAddressOnTheRequestsInterconnect) {
  hold("node3", {1});
  Header second = header(GetParam());
  second.reserve2 = 2;
  EXPECT_EQ(ask(GetParam(), second, sync_payload({.sync_svr = "node3"}), kNode2[1]), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 1U);
  EXPECT_EQ(taken[0].from, kOwn[1]);
  EXPECT_EQ(taken[0].to, kNode2[1]);
  EXPECT_EQ(taken[0].bytes.substr(68, 4), word(2));
}

TEST_P(EachSyncRequest, LongerThanASyncRecordIsRefused) {
  hold("node3", {1});
  for (const uint32_t length : {145U, 4096U, 0x80000000U, 0xffffffffU}) {
    log_.clear();
    Header lying = header(GetParam());
    lying.length = length;
    EXPECT_EQ(ask(GetParam(), lying, sync_payload({.sync_svr = "node3"})), -1);
    EXPECT_TRUE(log_.has(kFailures, "parameter error"));
  }
  EXPECT_EQ(arrived(), Texts{});
}

TEST_P(EachSyncRequest, WithoutAPayloadIsAnsweredForNoServer) {
  hold("node3", {1});
  EXPECT_EQ(ask(GetParam(), header(GetParam()), ""), 0);
  EXPECT_EQ(arrived().size(), 1U);
}

TEST_P(EachSyncRequest, NameWithoutAnEndIsBounded) {
  hold("node3", {1});
  std::string payload = sync_payload({});
  payload.replace(4, 132, 132, 'x');
  EXPECT_EQ(ask(GetParam(), header(GetParam()), payload), 0);
  EXPECT_EQ(arrived().size(), 1U);
  EXPECT_FALSE(log_.has_part(kTrace, std::string(66, 'x')));
}

TEST_P(EachSyncRequest, LogThatCannotBeReadIsNoAnswer) {
  hold("node3", {1});
  spoil("srv_alt_id.idx");
  EXPECT_EQ(ask(GetParam(), {.sync_svr = "node3"}), -1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, GetParam().store_failure));
}

TEST_P(EachSyncRequest, AnswerThatCannotBeSentIsAFailure) {
  hold("node3", {1});
  Header nowhere = header(GetParam());
  nowhere.reserve2 = kNoInterconnect;
  EXPECT_EQ(ask(GetParam(), nowhere, sync_payload({.sync_svr = "node3"})), -1);
  EXPECT_TRUE(log_.has(kFailures, GetParam().send_failure));
}

TEST_P(EachSyncRequest, MissingArgumentIsAnError) {
  Received received(datagram(header(GetParam()), sync_payload({.sync_svr = "node3"})));
  const Handler handler = GetParam().handler;
  EXPECT_EQ(handler(nullptr, received.buf(), kNode2[0], 0x10000005), -1);
  EXPECT_EQ(handler(received.msg(), nullptr, kNode2[0], 0x10000005), -1);
  EXPECT_EQ(handler(received.msg(), received.buf(), nullptr, 0x10000005), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(arrived(), Texts{});
}

TEST_P(EachSyncRequest, WithoutMemoryThereIsNoAnswer) {
  hold("node3", {1});
  Received received(datagram(header(GetParam()), sync_payload({.sync_svr = "node3"})));
  int answered = 0;
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [this] { wire_.take(); },
      [&] {
        const int result =
            GetParam().handler(received.msg(), received.buf(), kNode2[0], 0x10000005);
        EXPECT_EQ(arrived().size(), result == 0 ? 1U : 0U);
        if (result == 0) ++answered;
      });
  EXPECT_GE(runs, 3);
  EXPECT_EQ(answered, 1);
  EXPECT_TRUE(log_.has(kFailures, "create reply message failed"));
  EXPECT_TRUE(log_.has(kFailures, "malloc failed."));
}

// ---- ids ----------------------------------------------------------------------------------------

class IdRequest : public SyncRequest, public ::testing::WithParamInterface<Question> {};
INSTANTIATE_TEST_SUITE_P(SyncRequest, IdRequest, ::testing::Values(kIds, kOwnIds));

TEST_P(IdRequest, FromZeroIsAnsweredWithTheHighestIdHeld) {
  hold("node3", {5, 0x01020304, 7});
  EXPECT_EQ(ask(GetParam(), {0, "node3", "", 0x51525354, 0x61626364}), 0);
  expect_id_reply(GetParam().type + 0x10000000,
                  {0x01020304, "node3", "node1", 0x51525354, 0x61626364});
  EXPECT_TRUE(log_.has(kTrace, "the server name of the alert log is: node3"));
  EXPECT_TRUE(log_.has(kTrace, "-------------- get_alert_id() OK -------------"));
  EXPECT_TRUE(log_.has(kTrace, "alert id: 16909060"));
  EXPECT_TRUE(log_.has(kTrace, "sync server name: node3"));
  EXPECT_TRUE(log_.has(kTrace, "reply server name: node1"));
  EXPECT_TRUE(traced("recv_request_alert_id_msg"));
}

TEST_P(IdRequest, FromAnIdThatIsHeldIsAnsweredWithIt) {
  hold("node3", {5, 7});
  EXPECT_EQ(ask(GetParam(), {5, "node3"}), 0);
  expect_id_reply(GetParam().type + 0x10000000, {5, "node3", "node1"});
}

TEST_P(IdRequest, FromAnIdThatIsMissingIsAnsweredWithThePositionBelow) {
  hold("alpha", {1, 2, 3});
  hold("node3", {5, 7});
  EXPECT_EQ(ask(GetParam(), {6, "node3"}), 0);
  expect_id_reply(GetParam().type + 0x10000000, {3, "node3", "node1"});
}

TEST_P(IdRequest, ForAServerWithoutAlertsIsAnsweredWithZero) {
  hold("node2", {5});
  EXPECT_EQ(ask(GetParam(), {9, "node3", "", 3, 4}), 0);
  expect_id_reply(GetParam().type + 0x10000000, {0, "node3", "node1", 3, 4});
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log of server node3 now"));
}

TEST_P(IdRequest, ToAnEmptyLogIsAnsweredWithZero) {
  EXPECT_EQ(ask(GetParam(), {9, "node3"}), 0);
  expect_id_reply(GetParam().type + 0x10000000, {0, "node3", "node1"});
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log of server node3 now"));
}

// What lies behind the told length is not part of the question.
TEST_P(IdRequest, ThatIsShorterCountsAsZeroBehindItsEnd) {
  hold("node3", {5});
  Header shorter = header(GetParam());
  shorter.length = 69;
  EXPECT_EQ(ask(GetParam(), shorter, sync_payload({0, "node3", "gone", 0x51525354, 0x61626364})),
            0);
  expect_id_reply(GetParam().type + 0x10000000, {5, "node3", "node1"});
}

TEST_P(IdRequest, ThatEndsInsideItsFirstNumberIsAnswered) {
  hold("node3", {5});
  Header shorter = header(GetParam());
  shorter.length = 2;
  EXPECT_EQ(ask(GetParam(), shorter, sync_payload({0, "node3"})), 0);
  expect_id_reply(GetParam().type + 0x10000000, {0, "", "node1"});
}

// ---- alerts -------------------------------------------------------------------------------------

TEST_F(SyncRequest, AlertsFromAnIdOnAreAnsweredFourAtMost) {
  hold("node3", {1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(ask(kData, {2, "node3"}), 0);
  expect_data_reply(alerts({2, 3, 4, 5}));
  EXPECT_TRUE(log_.has(kTrace, "-------------- al_sync_data -------------"));
  EXPECT_TRUE(log_.has(kTrace, "alert_id: 2"));
  EXPECT_TRUE(log_.has(kTrace, "sync_svr: node3"));
  EXPECT_TRUE(log_.has(kTrace, "reply_svr: "));
  EXPECT_TRUE(log_.has(kTrace, "the server name of the alert log is: node3"));
  EXPECT_TRUE(log_.has(kTrace, "-------------- get_alert_log() OK -------------"));
  EXPECT_TRUE(log_.has(kTrace, "server name: node3"));
  EXPECT_TRUE(log_.has(kTrace, "alert num: 4"));
  EXPECT_TRUE(traced("recv_request_data_msg"));
}

TEST_F(SyncRequest, EachDeliveredAlertIsTraced) {
  hold("node3", {5});
  EXPECT_EQ(ask(kData, {5, "node3"}), 0);
  for (const char* text : {"alert-- 0", "alert id: 5", "alert sv: node3", "alert msg: alert 5"}) {
    EXPECT_TRUE(log_.has(kTrace, text)) << text;
  }
}

TEST_F(SyncRequest, AlertsOfOtherServersStayOut) {
  hold("node3", {5, 6});
  hold("zeta", {7, 8});
  EXPECT_EQ(ask(kData, {4, "node3"}), 0);
  expect_data_reply(alerts({5, 6}));
}

TEST_F(SyncRequest, NothingFromThatIdOnIsAnsweredWithoutAnAlert) {
  hold("node3", {5});
  EXPECT_EQ(ask(kData, {6, "node3"}), 0);
  expect_data_reply({});
}

TEST_F(SyncRequest, ServerThatIsNotInTheLogIsAnsweredWithoutAnAlert) {
  hold("node2", {5});
  EXPECT_EQ(ask(kData, {1, "node3"}), 0);
  expect_data_reply({});
}

TEST_F(SyncRequest, EmptyLogIsAnsweredWithoutAnAlert) {
  EXPECT_EQ(ask(kData, {1, "node3"}), 0);
  expect_data_reply({});
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log of server(node3) now"));
}

}  // namespace
}  // namespace alt_test
