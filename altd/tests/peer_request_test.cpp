// What a server answers when a peer that catches up asks whose alerts it holds.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 0x01020304;
constexpr uint32_t kReply = 0x10000003;
constexpr const char* kHere = "The server(node2) has been already added to new server list";

class NamesRequest : public ProtocolTest {
 protected:
  static std::string request(uint32_t reserve2 = 1) {
    return datagram(
        {.type = 3, .sequence = kSequence, .dst = kOwn[0], .reserve1 = 5, .reserve2 = reserve2});
  }
  static std::string reply(const Texts& names, const char* to = kNode2[0], uint32_t reserve2 = 1) {
    return datagram({.type = kReply, .sequence = kSequence, .dst = to, .reserve2 = reserve2},
                    names_payload(names));
  }
  static int ask(const char* addr = kNode2[0], uint32_t reserve2 = 1) {
    const Received received(request(reserve2));
    return recv_request_server_name_msg(received.msg(), addr, kReply);
  }
  static Texts numbered_names(int count) {
    Texts names;
    for (int i = 0; i < count; ++i) names.push_back("server" + std::to_string(100 + i));
    return names;
  }
  static void hold_one_of_each(const Texts& servers) {
    make_log(200);
    for (const std::string& name : servers) hold(name, {1});
  }
};

TEST_F(NamesRequest, NamesInTheLogAreAnsweredInTheirOrder) {
  hold("node3", {1, 2});
  hold("alpha", {1});
  hold("node3", {3});
  EXPECT_EQ(ask(), 0);
  expect_only(kOwn[0], kNode2[0], reply({"alpha", "node3"}));
  EXPECT_TRUE(log_.has(kTrace, "the server number in local alert file is: 2"));
  EXPECT_TRUE(traced("recv_request_server_name_msg"));
}

TEST_F(NamesRequest, RequestFromASecondAddressIsAnsweredThere) {
  hold("node3", {1});
  EXPECT_EQ(ask(kNode2[1], 2), 0);
  expect_only(kOwn[1], kNode2[1], reply({"node3"}, kNode2[1], 2));
}

TEST_F(NamesRequest, EmptyLogIsAnsweredWithOneByte) {
  EXPECT_EQ(ask(), 0);
  expect_only(kOwn[0], kNode2[0], reply({}));
  EXPECT_TRUE(log_.has(kNotable, "there is no alert log now"));
}

TEST_F(NamesRequest, EarlierNamesAreForgotten) {
  put_names(local_svrname_list, {"old1", "old2", "old3"});
  EXPECT_EQ(ask(), 0);
  expect_only(kOwn[0], kNode2[0], reply({}));
}

TEST_F(NamesRequest, HundredNamesAreAllAnswered) {
  hold_one_of_each(numbered_names(100));
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(names_payload(numbered_names(100)).size(), 6501U);
  expect_only(kOwn[0], kNode2[0], reply(numbered_names(100)));
}

TEST_F(NamesRequest, OfMoreThanAHundredNamesTheFirstAreAnswered) {
  hold_one_of_each(numbered_names(103));
  EXPECT_EQ(ask(), 0);
  expect_only(kOwn[0], kNode2[0], reply(numbered_names(100)));
}

TEST_F(NamesRequest, LongestNameIsAnsweredWhole) {
  const std::string longest(64, 'n');
  hold(longest, {1});
  EXPECT_EQ(ask(), 0);
  expect_only(kOwn[0], kNode2[0], reply({longest}));
}

TEST_F(NamesRequest, TypeOfTheReplyIsTheCallersChoice) {
  const Received received(request());
  EXPECT_EQ(recv_request_server_name_msg(received.msg(), kNode2[0], 0x10000009), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.1.1 > 127.0.1.2 0x10000009 16909060"});
}

TEST_F(NamesRequest, AskedTwiceIsAnsweredTwiceAndNothingWaits) {
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(arrived().size(), 2U);
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_EQ(sequencenum, 1U);
}

TEST_F(NamesRequest, StrangerGetsNoAnswerAndIsNotSynchronisedWith) {
  EXPECT_EQ(ask(kStranger), -1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_TRUE(log_.has(kMinor, "received message from unknown server: 127.0.1.9"));
}

TEST_F(NamesRequest, MissingArgumentIsAnError) {
  const Received received(request());
  EXPECT_EQ(recv_request_server_name_msg(nullptr, kNode2[0], kReply), -1);
  EXPECT_EQ(recv_request_server_name_msg(received.msg(), nullptr, kReply), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(new_server_list, nullptr);
}

// ---- the asking server is behind, too -----------------------------------------------------------

TEST_F(NamesRequest, AskingServerIsToBeSynchronisedWith) {
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(ask(kNode3[1], 2), 0);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
  EXPECT_NE(new_server_list, server("node2"));
}

TEST_F(NamesRequest, ServerThatWaitsAlreadyIsNotAddedAgain) {
  put(&new_server_list, {"node2", "node3"});
  EXPECT_EQ(ask(kNode2[1], 2), 0);
  EXPECT_EQ(ask(kNode3[0]), 0);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
  EXPECT_TRUE(log_.has(kTrace, kHere));
  EXPECT_EQ(arrived().size(), 2U);
}

// Addresses tell who a server is, in whatever case they are written.
TEST_F(NamesRequest, ServerThatWaitsUnderOneOfItsAddressesIsNotAddedAgain) {
  release_svrlist(&server_list_head->next);
  add_server("node2", {kNode2[0], "fe80::ab"});
  new_server_list = new_server("renamed", {"10.0.0.9", "FE80::AB"});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(names_of(new_server_list), Texts{"renamed"});
  EXPECT_TRUE(log_.has(kTrace, kHere));
}

TEST_F(NamesRequest, ServerOfTheSameNameAtOtherAddressesIsAdded) {
  new_server_list = new_server("node2", {"10.0.0.9"});
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
}

TEST_F(NamesRequest, ServerThatCannotBeAddedGetsItsAnswer) {
  const Fault fault(Site::kCopyText, ENOMEM);
  EXPECT_EQ(ask(), 0);
  EXPECT_EQ(new_server_list, nullptr);
  EXPECT_TRUE(log_.has(kFailures, "add server(node2) to new server list failed"));
  EXPECT_EQ(arrived().size(), 1U);
}

// ---- failures -----------------------------------------------------------------------------------

TEST_F(NamesRequest, LogThatCannotBeReadIsNoAnswerButTheServerIsNoted) {
  hold("node3", {1});
  spoil("server.idx");
  EXPECT_EQ(ask(), -1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "get server name in the alert log file failed"));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
  EXPECT_TRUE(traced("recv_request_server_name_msg"));
}

TEST_F(NamesRequest, AnswerThatCannotBeSentIsAFailureButTheServerIsNoted) {
  EXPECT_EQ(ask(kNode2[0], kNoInterconnect), -1);
  EXPECT_TRUE(log_.has(kFailures, "send reply server name message failed"));
  EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
}

TEST_F(NamesRequest, WithoutMemoryThereIsNoAnswer) {
  hold("node3", {1});
  put(&new_server_list, {"node2"});
  const Received received(request());
  int answered = 0;
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [this] { wire_.take(); },
      [&] {
        const int result = recv_request_server_name_msg(received.msg(), kNode2[0], kReply);
        const size_t sent = arrived().size();
        EXPECT_EQ(sent, result == 0 ? 1U : 0U);
        if (result == 0) ++answered;
      });
  EXPECT_GE(runs, 3);
  EXPECT_EQ(answered, 1);
  EXPECT_TRUE(log_.has(kFailures, "create reply message failed"));
  EXPECT_TRUE(log_.has(kFailures, "malloc failed."));
}

}  // namespace
}  // namespace alt_test
