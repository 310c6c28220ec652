// A server that comes back announces itself; both sides learn their own highest ids.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 4711;
constexpr uint32_t kReply = 0x1000000a;

class NewServer : public ProtocolTest {
 protected:
  static std::string text(const std::string& lines) { return lines + '\0'; }
  // A list in which this server's highest id is `id`.
  static std::string list_with(int id) {
    char host[256] = "";
    EXPECT_EQ(get_local_server(host), 0);
    return text("2\nzzz 1000\n" + std::string(host) + " " + std::to_string(id) + "\n");
  }
  static int announced(const std::string& payload, const char* addr = kNode2[0],
                       uint32_t reserve2 = 1) {
    Received received(datagram(
        {.type = 0xa, .sequence = kSequence, .dst = kOwn[0], .reserve2 = reserve2}, payload));
    return recv_send_new_server_msg(received.msg(), received.buf(), addr, kReply);
  }
  static int answered(const std::string& payload, const char* addr = kNode2[0]) {
    Received received(datagram({.type = kReply, .sequence = kSequence, .dst = kOwn[0]}, payload));
    return recv_reply_new_server_msg(received.msg(), received.buf(), addr);
  }
};

// ---- announcing ---------------------------------------------------------------------------------

TEST_F(NewServer, AnnouncementGoesToTheSilentServersAndCarriesTheHighestIds) {
  hold("alpha", {120});
  hold("beta", {7});
  put(&servers_not_reply, {"node3"});
  send_new_server_msg();
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 2U);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(taken[i].from, kOwn[i]);
    EXPECT_EQ(taken[i].to, kNode3[i]);
    EXPECT_EQ(first_difference(taken[i].bytes, datagram({.type = 0xa,
                                                         .sequence = 1,
                                                         .dst = kNode3[i],
                                                         .reserve2 = static_cast<uint32_t>(i + 1)},
                                                        text("2\nalpha 120\nbeta 7\n"))),
              "");
  }
  EXPECT_EQ(sequencenum, 2U);
  EXPECT_EQ(log_.count(kTrace, "the message type is: 0xa"), 2);
}

TEST_F(NewServer, EachSilentServerHasASequenceAndAPayloadOfItsOwn) {
  put(&servers_not_reply, {"node3", "node2"});
  send_new_server_msg();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0xa 2", "127.0.2.1 > 127.0.2.2 0xa 2",
                              "127.0.1.1 > 127.0.1.3 0xa 1", "127.0.2.1 > 127.0.2.3 0xa 1"}));
  ASSERT_EQ(requests_waiting(), 2);
  const al_msg* first = send_hist.next->msg;
  EXPECT_EQ(first->msg_data, first->next->msg_data);
  EXPECT_NE(first->msg_data, send_hist.next->next->msg->msg_data);
  EXPECT_EQ(sequencenum, 3U);
}

TEST_F(NewServer, SilentServersStaySilentUntilTheyAnswer) {
  put(&servers_not_reply, {"node3"});
  send_new_server_msg();
  send_new_server_msg();
  EXPECT_EQ(arrived().size(), 4U);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node3"});
}

TEST_F(NewServer, WithoutSilentServersNothingHappens) {
  send_new_server_msg();
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sequencenum, 1U);
}

TEST_F(NewServer, ThisServerIsNotAnnouncedToItself) {
  put(&servers_not_reply, {"node1", "node3"});
  send_new_server_msg();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0xa 1", "127.0.2.1 > 127.0.2.3 0xa 1"}));
  EXPECT_EQ(sequencenum, 2U);
}

TEST_F(NewServer, AnnouncementSurvivesEachFailedAllocation) {
  put(&servers_not_reply, {"node2", "node3"});
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM,
      [this] {
        init_send_hist();
        wire_.take();
      },
      [] {
        send_new_server_msg();
        for (const auto* node = send_hist.next; node != nullptr; node = node->next) {
          EXPECT_LT(node->sequence, static_cast<int>(sequencenum));
          EXPECT_STREQ(static_cast<char*>(node->msg->msg_data), "0\n");
        }
        re_send_msg();
      });
  EXPECT_GE(runs, 12);
  EXPECT_TRUE(log_.has(kFailures, "create message data failed"));
  EXPECT_GE(log_.count(kFailures, "create message failed"), 4);
}

// ---- receiving an announcement ------------------------------------------------------------------

TEST_F(NewServer, AnnouncementIsAnsweredWithTheHighestIdsHeldHere) {
  hold("alpha", {120});
  EXPECT_EQ(announced(text("0\n")), 0);
  expect_only(kOwn[0], kNode2[0],
              datagram({.type = kReply, .sequence = kSequence, .dst = kNode2[0], .reserve2 = 1},
                       text("1\nalpha 120\n")));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_TRUE(log_.has(kTrace, "the type of the reply message is: 0x1000000a"));
}

TEST_F(NewServer, AnnouncementFromASecondAddressIsAnsweredThere) {
  EXPECT_EQ(announced(text("0\n"), kNode3[1], 2), 0);
  expect_only(kOwn[1], kNode3[1],
              datagram({.type = kReply, .sequence = kSequence, .dst = kNode3[1], .reserve2 = 2},
                       text("0\n")));
  EXPECT_EQ(names_of(new_server_list), Texts{"node3"});
}

TEST_F(NewServer, AnnouncementWithoutAListIsAnsweredToo) {
  EXPECT_EQ(announced(""), 0);
  EXPECT_EQ(arrived().size(), 1U);
  EXPECT_EQ(max_alertid_localserver, 0U);
  EXPECT_EQ(get_maxalertid_localserver_now, 0);
}

TEST_F(NewServer, SecondAnnouncementAddsNoSecondEntryAndIsAnswered) {
  EXPECT_EQ(announced(text("0\n")), 0);
  EXPECT_EQ(announced(text("0\n"), kNode2[1], 2), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
  EXPECT_EQ(arrived().size(), 2U);
}

TEST_F(NewServer, ServerOfThatNameWaitsAlreadyWhateverItsAddresses) {
  put(&new_server_list, {"node3"});
  new_server_list->next = new_server("node2", {"10.0.0.9"});
  EXPECT_EQ(announced(text("0\n")), 0);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node3", "node2"}));
}

struct Told {
  uint32_t known;
  int told;
  uint32_t afterwards;
};
void PrintTo(const Told& row, std::ostream* out) { *out << row.known << " told " << row.told; }
class ToldId : public NewServer, public ::testing::WithParamInterface<Told> {};
// Numbers of a list are signed, and so is the comparison.
INSTANTIATE_TEST_SUITE_P(NewServer, ToldId,
                         ::testing::Values(Told{0, 9, 9}, Told{8, 9, 9}, Told{9, 9, 9},
                                           Told{10, 9, 10}, Told{0, 0, 0}, Told{0, -1, 0},
                                           Told{9, -2147483647, 9}, Told{0, 2147483647, 2147483647},
                                           Told{0x80000000, 9, 9}));

TEST_P(ToldId, OfThisServerInAnAnnouncementIsTakenWhenItIsHigher) {
  max_alertid_localserver = GetParam().known;
  EXPECT_EQ(announced(list_with(GetParam().told)), 0);
  EXPECT_EQ(max_alertid_localserver, GetParam().afterwards);
  EXPECT_EQ(get_maxalertid_localserver_now, GetParam().afterwards != GetParam().known ? 1 : 0);
}

TEST_P(ToldId, OfThisServerInAnAnswerIsTakenWhenItIsHigher) {
  max_alertid_localserver = GetParam().known;
  EXPECT_EQ(answered(list_with(GetParam().told)), 0);
  EXPECT_EQ(max_alertid_localserver, GetParam().afterwards);
  EXPECT_EQ(get_maxalertid_localserver_now, GetParam().afterwards != GetParam().known ? 1 : 0);
}

TEST_F(NewServer, ListWithoutANulEndsWithTheDatagram) {
  std::string list = list_with(9);
  list.pop_back();
  list.pop_back();
  EXPECT_EQ(announced(list), 0);
  EXPECT_EQ(max_alertid_localserver, 9U);
}

TEST_F(NewServer, StrangersAnnouncementIsNoErrorAndGetsNoAnswer) {
  EXPECT_EQ(announced(list_with(9), kStranger), 0);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(max_alertid_localserver, 0U);
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_TRUE(log_.has(kMinor, "received message from unknown server: 127.0.1.9"));
}

TEST_F(NewServer, MissingArgumentOfAnAnnouncementIsLoggedOnly) {
  Received received(datagram({.type = 0xa, .sequence = kSequence}, list_with(9)));
  EXPECT_EQ(recv_send_new_server_msg(nullptr, received.buf(), kNode2[0], kReply), 0);
  EXPECT_EQ(recv_send_new_server_msg(received.msg(), received.buf(), nullptr, kReply), 0);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(NewServer, ServerThatCannotBeAddedIsAFailureButGetsItsAnswer) {
  const Fault fault(Site::kCopyText, ENOMEM);
  EXPECT_EQ(announced(text("0\n")), -1);
  EXPECT_EQ(arrived().size(), 1U);
  EXPECT_TRUE(log_.has(kFailures, "add server(node2) to new server list failed"));
}

TEST_F(NewServer, AnswerThatCannotBeSentIsLoggedOnly) {
  EXPECT_EQ(announced(text("0\n"), kNode2[0], kNoInterconnect), 0);
  EXPECT_TRUE(log_.has(kFailures, "send reply server name message failed"));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
}

// A list without its entries is still a list.
TEST_F(NewServer, WithoutMemoryThereIsAnEmptyListOrNoAnswerButNoFailure) {
  hold("alpha", {120});
  put(&new_server_list, {"node2"});
  Received received(datagram({.type = 0xa, .sequence = kSequence, .reserve2 = 1}));
  int silent = 0;
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [this] { wire_.take(); },
      [&] {
        const int result =
            recv_send_new_server_msg(received.msg(), received.buf(), kNode2[0], kReply);
        EXPECT_EQ(result, 0);
        if (arrived().empty()) ++silent;
      });
  EXPECT_GT(runs, silent);
  EXPECT_GE(silent, 4);
  for (const char* message :
       {"create message data failed", "create reply message failed", "create message date failed",
        "send reply server name message failed"}) {
    EXPECT_TRUE(log_.has(kFailures, message)) << message;
  }
}

// ---- receiving the answer -----------------------------------------------------------------------

TEST_F(NewServer, AnswerTakesTheServerOffTheSilentOnesAndSettlesTheAnnouncement) {
  put(&servers_not_reply, {"node3", "node2"});
  expect_reply_to(kSequence);
  EXPECT_EQ(answered(text("0\n"), kNode2[1]), 0);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node3"});
  EXPECT_FALSE(waits_for(kSequence));
}

TEST_F(NewServer, AnswerOfTheOnlySilentServerLeavesNone) {
  put(&servers_not_reply, {"node2"});
  EXPECT_EQ(answered(""), 0);
  EXPECT_EQ(servers_not_reply, nullptr);
}

TEST_F(NewServer, AnswerOfAServerThatIsNotSilentIsUsedAndSettlesTheAnnouncement) {
  put(&servers_not_reply, {"node3"});
  expect_reply_to(kSequence);
  EXPECT_EQ(answered(list_with(9)), 0);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node3"});
  EXPECT_EQ(max_alertid_localserver, 9U);
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kMinor, "addr is not found in the servers_not_reply: 127.0.1.2"));
}

TEST_F(NewServer, MissingArgumentOfAnAnswerIsAnErrorThatSettlesTheAnnouncement) {
  put(&servers_not_reply, {"node2"});
  Received received(datagram({.type = kReply, .sequence = kSequence}, list_with(9)));
  expect_reply_to(kSequence);
  EXPECT_EQ(recv_reply_new_server_msg(nullptr, received.buf(), kNode2[0]), -1);
  EXPECT_TRUE(waits_for(kSequence));
  EXPECT_EQ(recv_reply_new_server_msg(received.msg(), nullptr, kNode2[0]), -1);
  EXPECT_FALSE(waits_for(kSequence));
  expect_reply_to(kSequence);
  EXPECT_EQ(recv_reply_new_server_msg(received.msg(), received.buf(), nullptr), -1);
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node2"});
  EXPECT_EQ(max_alertid_localserver, 0U);
}

}  // namespace
}  // namespace alt_test
