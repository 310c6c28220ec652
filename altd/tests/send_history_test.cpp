// The send history: what waits for a reply, is sent again, and is given up.
#include <gtest/gtest.h>

#include "support/messages.h"
#include "support/protocol_test.h"
#include "support/tick_clock.h"

namespace alt_test {
namespace {

constexpr clock_t kStart = 1000000;

class SendHistory : public ProtocolTest {
 protected:
  // A heartbeat, unless it is to be something else, to an address on interconnect 1 or 2.
  static Message request(uint32_t sequence, const char* dst = kNode2[0],
                         uint32_t type = AL_MSGTYPE_SYNC_SEND_SERVER_STATUS) {
    const uint32_t device = std::string(dst).rfind("127.0.2.", 0) == 0 ? 2 : 1;
    return make_message({.type = type, .sequence = sequence, .dst = dst, .reserve2 = device});
  }
  static void file(uint32_t sequence, const char* dst = kNode2[0],
                   uint32_t type = AL_MSGTYPE_SYNC_SEND_SERVER_STATUS) {
    ASSERT_EQ(add_to_send_hist(request(sequence, dst, type).release()), 0);
  }
  // One message to each address, all with the same payload.
  static void file_shared(uint32_t sequence, std::initializer_list<const char*> addresses) {
    void* payload = heap_copy("1\nnode1 7\n");
    for (const char* address : addresses) {
      Message msg = request(sequence, address, AL_MSGTYPE_SYNC_SEND_NEW_SERVER);
      msg->msg_head->data_len = 10;
      msg->msg_data = payload;
      ASSERT_EQ(add_to_send_hist(msg.release()), 0);
    }
  }
  static void take_out(uint32_t sequence) {
    del_from_send_hist(request(sequence, kStranger, AL_MSGTYPE_SYNC_REPLY_ALERT).get());
  }
  // "sequence at tick: addresses" of each node.
  static Texts history() {
    Texts texts;
    for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
      texts.push_back(std::to_string(node->sequence) + " at " +
                      std::to_string(node->startcl - kStart) + ":");
      for (const al_msg* msg = node->msg; msg != nullptr; msg = msg->next) {
        texts.back() += std::string(" ") + msg->msg_head->dst_addr;
      }
    }
    return texts;
  }

  StoppedClock clock_{kStart};
};

// ---- filing -------------------------------------------------------------------------------------

TEST_F(SendHistory, NodesStandInTheOrderOfTheirCreation) {
  EXPECT_EQ(history(), Texts{});
  for (const uint32_t sequence : {5U, 3U, 9U}) file(sequence);
  EXPECT_EQ(history(), (Texts{"5 at 0: 127.0.1.2", "3 at 0: 127.0.1.2", "9 at 0: 127.0.1.2"}));
  EXPECT_TRUE(log_.has(kTrace, "create a new send history node, sequence = 9"));
}

TEST_F(SendHistory, MessageOfAKnownSequenceJoinsItsNodeAndRefreshesItsAge) {
  file(5);
  file(6);
  clock_.advance(40);
  file(5, kNode2[1]);
  clock_.advance(2);
  file(5, kNode3[0]);
  EXPECT_EQ(history(), (Texts{"5 at 42: 127.0.1.2 127.0.2.2 127.0.1.3", "6 at 0: 127.0.1.2"}));
  EXPECT_EQ(log_.count(kTrace, "add message to old send history node, sequence = 5"), 2);
  EXPECT_EQ(log_.count(kTrace, "create a new send history node, sequence = 5"), 1);
}

TEST_F(SendHistory, SequenceIsASignedNumberInTheHistory) {
  file(0xffffffff);
  EXPECT_EQ(history(), Texts{"-1 at 0: 127.0.1.2"});
  EXPECT_EQ(find_seq(-1), 0);
}

TEST_F(SendHistory, MessageOfSequenceZeroIsFreedAndNotKept) {
  file(5);
  Message local = request(0);
  local->msg_data = heap_copy("payload");
  EXPECT_EQ(add_to_send_hist(local.release()), -1);
  EXPECT_EQ(history(), Texts{"5 at 0: 127.0.1.2"});
  EXPECT_TRUE(log_.has(kTrace, "the message is sent to local"));
}

TEST_F(SendHistory, WithoutMemoryNothingIsKeptAndNothingLogged) {
  const Message msg = request(5);
  file(4);
  log_.clear();
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(add_to_send_hist(msg.get()), -1);
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_EQ(history(), Texts{"4 at 0: 127.0.1.2"});
  EXPECT_EQ(log_.texts(kFailures), Texts{});
}

TEST_F(SendHistory, MessageOfAKnownSequenceNeedsNoMemory) {
  file(5);
  Message msg = request(5, kNode2[1]);
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(add_to_send_hist(msg.release()), 0);
  EXPECT_EQ(history(), Texts{"5 at 0: 127.0.1.2 127.0.2.2"});
}

// ---- finding and taking out ---------------------------------------------------------------------

TEST_F(SendHistory, SequenceIsFoundWhileItsNodeIsThere) {
  EXPECT_EQ(find_seq(5), -1);
  file(5);
  file(6);
  log_.clear();
  EXPECT_EQ(find_seq(6), 0);
  EXPECT_EQ(find_seq(7), -1);
  EXPECT_EQ(find_seq(0), -1);
  EXPECT_EQ(log_.texts(kDump), Texts{"found sequence: 6 in the send history"});
}

TEST_F(SendHistory, CursorIsAtTheNodeThatWasFound) {
  for (const uint32_t sequence : {5U, 6U, 7U}) file(sequence);
  find_seq(6);
  ASSERT_NE(currecord_send, nullptr);
  EXPECT_EQ(currecord_send->sequence, 6);
  EXPECT_EQ(currecord_send, send_hist.next->next);
}

class Removal : public SendHistory, public ::testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(SendHistory, Removal, ::testing::Values(5, 6, 7));

TEST_P(Removal, LeavesTheOtherNodesInTheirOrder) {
  Texts left;
  for (const uint32_t sequence : {5U, 6U, 7U}) {
    file(sequence);
    if (sequence != GetParam()) left.push_back(std::to_string(sequence) + " at 0: 127.0.1.2");
  }
  take_out(GetParam());
  EXPECT_EQ(history(), left);
  EXPECT_TRUE(log_.has(
      kTrace, "delete message from send history, sequence = " + std::to_string(GetParam())));
  file(8);
  EXPECT_EQ(history().back(), "8 at 0: 127.0.1.2");
}

TEST_F(SendHistory, TakingOutAnUnknownSequenceDoesNothing) {
  take_out(5);
  file(5);
  log_.clear();
  take_out(6);
  take_out(0);
  EXPECT_EQ(history(), Texts{"5 at 0: 127.0.1.2"});
  EXPECT_FALSE(log_.has_part(kTrace, "delete message from send history"));
}

// That it is freed, and once, is the sanitizer's to judge; so in all tests with a shared payload.
TEST_F(SendHistory, SharedPayloadIsFreedOnceWithItsNode) {
  file_shared(5, {kNode2[0], kNode2[1], kNode3[0]});
  file_shared(6, {kNode3[0], kNode3[1]});
  take_out(5);
  EXPECT_EQ(history(), Texts{"6 at 0: 127.0.1.3 127.0.2.3"});
  const auto* payload = static_cast<const char*>(send_hist.next->msg->msg_data);
  EXPECT_EQ(std::string(payload, 10), "1\nnode1 7\n");
}

TEST_F(SendHistory, NodeWhoseFirstMessageHasNoPayloadIsFreedWhole) {
  file(5);
  Message second = request(5, kNode2[1]);
  second->msg_data = heap_copy("its own");
  add_to_send_hist(second.release());
  take_out(5);
  EXPECT_EQ(history(), Texts{});
}

TEST_F(SendHistory, EmptiedHistoryCanBeUsedAgain) {
  init_send_hist();
  file_shared(5, {kNode2[0], kNode2[1]});
  file(6);
  init_send_hist();
  EXPECT_EQ(history(), Texts{});
  EXPECT_EQ(find_seq(5), -1);
  file(7);
  EXPECT_EQ(history(), Texts{"7 at 0: 127.0.1.2"});
}

TEST_F(SendHistory, ThousandsOfNodesAreKeptAndFound) {
  constexpr uint32_t kNodes = 3000;
  log_.set_levels(kFailures);
  for (uint32_t sequence = 1; sequence <= kNodes; ++sequence) file(sequence);
  for (uint32_t sequence = 2; sequence <= kNodes; sequence += 2) take_out(sequence);
  EXPECT_EQ(requests_waiting(), static_cast<int>(kNodes / 2));
  for (uint32_t sequence = 1; sequence <= kNodes; ++sequence) {
    ASSERT_EQ(waits_for(sequence), sequence % 2 == 1) << sequence;
  }
  clock_.advance(1000000);
  dropmsg_from_list();
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node2"});
  log_.set_levels(~0);
}

// ---- acknowledgements ---------------------------------------------------------------------------

TEST_F(SendHistory, AcknowledgementFromOneAddressRemovesTheMessagesToAll) {
  file_shared(5, {kNode2[0], kNode2[1]});
  file(6);
  const Received reply(datagram({.type = 0x10000001, .sequence = 5}));
  EXPECT_EQ(should_drop_message(reply.msg()), 0);
  EXPECT_EQ(history(), Texts{"6 at 0: 127.0.1.2"});
}

TEST_F(SendHistory, LateAcknowledgementChangesNothing) {
  file(6);
  const Received reply(datagram({.type = 0x10000001, .sequence = 5}));
  EXPECT_EQ(should_drop_message(reply.msg()), 0);
  EXPECT_EQ(history(), Texts{"6 at 0: 127.0.1.2"});
}

TEST_F(SendHistory, AcknowledgementOfSequenceZeroChangesNothing) {
  file(6);
  const Received reply(datagram({.type = 0x10000001}));
  EXPECT_EQ(should_drop_message(reply.msg()), 0);
  EXPECT_EQ(history(), Texts{"6 at 0: 127.0.1.2"});
}

TEST_F(SendHistory, OtherMessagesAreNotAcknowledgements) {
  file(6);
  for (const uint32_t type : {1U, 3U, 0x10000003U, 0x10000007U, 0x10000009U, 0x1000000aU}) {
    const Received other(datagram({.type = type, .sequence = 6}));
    EXPECT_EQ(should_drop_message(other.msg()), -1) << type;
  }
  EXPECT_EQ(history(), Texts{"6 at 0: 127.0.1.2"});
}

// ---- sending again ------------------------------------------------------------------------------

TEST_F(SendHistory, EverythingIsSentAgainInItsOrder) {
  file_shared(7, {kNode2[0], kNode2[1]});
  file(5, kNode2[0]);
  file(6, kNode2[0], AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME);
  re_send_msg();
  const Texts once = {"127.0.1.1 > 127.0.1.2 0xa 7", "127.0.1.1 > 127.0.1.2 0x9 5",
                      "127.0.1.1 > 127.0.1.2 0x3 6", "127.0.2.1 > 127.0.2.2 0xa 7"};
  EXPECT_EQ(arrived(), once);
  re_send_msg();
  EXPECT_EQ(arrived(), once);
}

TEST_F(SendHistory, MessagesOfANodeAreSentInTheOrderOfTheirFiling) {
  for (const char* text : {"first", "second", "third"}) {
    Message msg = request(5, kNode2[0], AL_MSGTYPE_SYNC_SEND_NEW_SERVER);
    msg->msg_head->reserve1 = static_cast<uint32_t>(text[0]);
    add_to_send_hist(msg.release());
  }
  re_send_msg();
  std::string order;
  for (const Datagram& datagram : wire_.take()) order += datagram.bytes.at(67);
  EXPECT_EQ(order, "fst");
}

TEST_F(SendHistory, SendingAgainChangesNeitherAgeNorOrder) {
  file(5);
  file(6);
  const Texts before = history();
  clock_.advance(1000000);
  re_send_msg();
  EXPECT_EQ(history(), before);
}

TEST_F(SendHistory, OneThatCannotBeSentDoesNotStopTheOthers) {
  file(5);
  file(6);
  file(7);
  const Fault fault(Site::kSendTo, EPERM, 1, 1);
  re_send_msg();
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x9 5", "127.0.1.1 > 127.0.1.2 0x9 7"}));
  EXPECT_EQ(requests_waiting(), 3);
}

TEST_F(SendHistory, EmptyHistorySendsNothing) {
  re_send_msg();
  EXPECT_EQ(arrived(), Texts{});
}

}  // namespace
}  // namespace alt_test
