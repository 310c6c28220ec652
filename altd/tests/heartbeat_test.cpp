// Heartbeats: who is asked, who answers, and what becomes of those that stay silent.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 4711;
constexpr uint32_t kReply = 0x10000009;

class Heartbeat : public ProtocolTest {
 protected:
  static int receive(const char* addr = kNode2[0], uint32_t reserve2 = 1) {
    const Received received(datagram(
        {.type = 9, .sequence = kSequence, .dst = kOwn[0], .reserve1 = 5, .reserve2 = reserve2}));
    return recv_send_heartbeat_msg(received.msg(), addr, kReply);
  }
};

// ---- asking -------------------------------------------------------------------------------------

TEST_F(Heartbeat, GoesToEveryAddressOfTheOthersUnderOneSequenceAServer) {
  sequencenum = 40;
  send_request_heartbeat_msg();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x9 40", "127.0.2.1 > 127.0.2.2 0x9 40",
                              "127.0.1.1 > 127.0.1.3 0x9 41", "127.0.2.1 > 127.0.2.3 0x9 41"}));
  EXPECT_EQ(sequencenum, 42U);
  EXPECT_EQ(requests_waiting(), 2);
  EXPECT_EQ(
      log_.count(kTrace, "the message type is: AL_MSGTYPE_SYNC_SEND_SERVER_STATUS, to: node3"), 2);
}

TEST_F(Heartbeat, IsAHeaderOnly) {
  release_svrlist(&server_list_head->next->next);
  server("node2")->ip_num = 1;
  send_request_heartbeat_msg();
  expect_only(kOwn[0], kNode2[0],
              datagram({.type = 9, .sequence = 1, .dst = kNode2[0], .reserve2 = 1}));
}

TEST_F(Heartbeat, ServerAloneAsksNobody) {
  keep_only_the_local_server();
  send_request_heartbeat_msg();
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sequencenum, 1U);
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Heartbeat, ServerOutOfReachIsPassedOver) {
  cut_off(server("node2"));
  send_request_heartbeat_msg();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x9 2", "127.0.2.1 > 127.0.2.3 0x9 2"}));
  EXPECT_TRUE(waits_for(1));
}

TEST_F(Heartbeat, SequenceZeroIsLeftOutWhenTheCounterStartsAnew) {
  sequencenum = 0xffffffff;
  send_request_heartbeat_msg();
  EXPECT_EQ(arrived(),
            (Texts{"127.0.1.1 > 127.0.1.2 0x9 4294967295", "127.0.2.1 > 127.0.2.2 0x9 4294967295",
                   "127.0.1.1 > 127.0.1.3 0x9 1", "127.0.2.1 > 127.0.2.3 0x9 1"}));
}

TEST_F(Heartbeat, WithoutMemoryThePassEndsThere) {
  const Fault fault(Site::kAllocate, ENOMEM);
  send_request_heartbeat_msg();
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(log_.count(kFailures, "create message failed"), 1);
}

// What was filed before has a sequence that nobody else gets.
TEST_F(Heartbeat, EachFailedAllocationLeavesWholeRequests) {
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM,
      [this] {
        init_send_hist();
        wire_.take();
      },
      [] {
        send_request_heartbeat_msg();
        for (const auto* node = send_hist.next; node != nullptr; node = node->next) {
          EXPECT_LT(node->sequence, static_cast<int>(sequencenum));
        }
      });
  EXPECT_GE(runs, 10);
  EXPECT_GE(log_.count(kFailures, "create message failed"), 4);
}

TEST_F(Heartbeat, ServerThatStaysSilentIsToldOfThisServerLater) {
  send_request_heartbeat_msg();
  Received answer(datagram({.type = kReply, .sequence = 1}));
  del_from_send_hist(answer.msg());
  tckconf = 0;  // whatever has been filed has expired
  dropmsg_from_list();
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node3"});
  EXPECT_EQ(requests_waiting(), 0);
}

// ---- answering ----------------------------------------------------------------------------------

TEST_F(Heartbeat, IsAnsweredWithAHeader) {
  EXPECT_EQ(receive(), 0);
  expect_only(kOwn[0], kNode2[0],
              datagram({.type = kReply, .sequence = kSequence, .dst = kNode2[0], .reserve2 = 1}));
  EXPECT_TRUE(log_.has(kTrace, "the type of the reply message is: 0x10000009"));
}

TEST_F(Heartbeat, FromASecondAddressIsAnsweredThere) {
  EXPECT_EQ(receive(kNode3[1], 2), 0);
  expect_only(kOwn[1], kNode3[1],
              datagram({.type = kReply, .sequence = kSequence, .dst = kNode3[1], .reserve2 = 2}));
}

TEST_F(Heartbeat, AnswerIsSentOnceAndNotKept) {
  EXPECT_EQ(receive(), 0);
  wire_.take();
  re_send_msg();
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sequencenum, 1U);
}

TEST_F(Heartbeat, OfAStrangerIsNotAnswered) {
  EXPECT_EQ(receive(kStranger), -1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kMinor, "received message from unknown server: 127.0.1.9"));
}

TEST_F(Heartbeat, AnswerThatCannotBeSentIsAFailure) {
  EXPECT_EQ(receive(kNode2[0], kNoInterconnect), -1);
  EXPECT_TRUE(log_.has(kFailures, "send reply server name message failed"));
}

TEST_F(Heartbeat, WithoutMemoryIsNotAnswered) {
  const Received received(datagram({.type = 9, .sequence = kSequence, .reserve2 = 1}));
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(recv_send_heartbeat_msg(received.msg(), kNode2[0], kReply), -1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "create reply message failed"));
}

TEST_F(Heartbeat, MissingArgumentIsAnError) {
  const Received received(datagram({.type = 9, .sequence = kSequence, .reserve2 = 1}));
  EXPECT_EQ(recv_send_heartbeat_msg(nullptr, kNode2[0], kReply), -1);
  EXPECT_EQ(recv_send_heartbeat_msg(received.msg(), nullptr, kReply), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
  EXPECT_EQ(arrived(), Texts{});
}

}  // namespace
}  // namespace alt_test
