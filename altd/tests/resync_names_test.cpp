// A resynchronisation begins, learns whose alerts the peer holds, and ends.
#include <gtest/gtest.h>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 4711;
constexpr uint32_t kReply = 0x10000003;

class ResyncNames : public ProtocolTest {
 protected:
  static int receive(const std::string& payload, const char* addr = kNode2[0]) {
    return receive({.type = kReply, .sequence = kSequence}, payload, addr);
  }
  static int receive(const Header& header, const std::string& payload, const char* addr) {
    Received received(datagram(header, payload));
    return recv_reply_single_server_name_msg(received.msg(), received.buf(), addr);
  }
  // The peer "node2" has been asked for its names.
  static void ask_node2() {
    put(&new_server_list, {"node2", "node3"});
    expect_reply_to(kSequence);
    g_sync_step = REQ_NAME;
  }
};

// ---- start and end ------------------------------------------------------------------------------

TEST_F(ResyncNames, StartForgetsTheResynchronisationBefore) {
  check_newsvr_flag = check_newsvr_now = sync_single_altid_flag = sync_single_altid_now = 1;
  put_names(single_svrname_list, {"a", "b"});
  put_names(sync_single_svrname_list, {"a"});
  single_svrname_list[99][0] = 'z';
  start_resynchronize("node2");
  EXPECT_EQ(g_sync_step, RESYN_START);
  EXPECT_EQ(check_newsvr_flag, 0);
  EXPECT_EQ(check_newsvr_now, 0);
  EXPECT_EQ(sync_single_altid_flag, 0);
  EXPECT_EQ(sync_single_altid_now, 0);
  EXPECT_EQ(names_in(single_svrname_list), Texts{});
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{});
  EXPECT_EQ(single_svrname_list[99][0], '\0');
  EXPECT_TRUE(log_.has(kFailures, "==== Start resynchronize width server node2 ===="));
}

struct Wait {
  int ratio;
  int timeout;
  int ticks;
};
void PrintTo(const Wait& wait, std::ostream* out) { *out << wait.ratio << "*" << wait.timeout; }
class NameWait : public ResyncNames, public ::testing::WithParamInterface<Wait> {};
INSTANTIATE_TEST_SUITE_P(ResyncNames, NameWait,
                         ::testing::Values(Wait{1, 5, 5}, Wait{3, 5, 15}, Wait{1, 0, 1},
                                           Wait{1, -4, 1}, Wait{1, 1, 1}, Wait{1, 999, 999},
                                           Wait{1, 1000, 999}, Wait{500, 2, 999}, Wait{333, 3, 999},
                                           Wait{998, 1, 998}));

TEST_P(NameWait, IsArmedByTheStart) {
  current_ratio = GetParam().ratio;
  g_get_srvname_timeout = GetParam().timeout;
  start_resynchronize("node2");
  EXPECT_EQ(sync_single_svrname_time, GetParam().ticks);
  EXPECT_EQ(sync_single_svrname_flag, 1);
}

TEST_F(ResyncNames, EndClearsTheWaitsAndArmsTheCheckForNewServers) {
  g_sync_step = REQ_DATA;
  check_newsvr_now = sync_single_svrname_flag = sync_single_svrname_now = 1;
  sync_single_altid_flag = sync_single_altid_now = 1;
  end_resynchronize(0);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_time, 11);
  EXPECT_EQ(check_newsvr_flag, 1);
  for (const int flag : {check_newsvr_now, sync_single_svrname_flag, sync_single_svrname_now,
                         sync_single_altid_flag, sync_single_altid_now}) {
    EXPECT_EQ(flag, 0);
  }
}

TEST_F(ResyncNames, EndThatKeepsThePeerPutsItBehindTheOthers) {
  put(&new_server_list, {"node2", "node3"});
  const ty_svrlist* first = new_server_list;
  end_resynchronize(1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node2"}));
  EXPECT_EQ(new_server_list, first);
}

TEST_F(ResyncNames, EndThatKeepsTheOnlyPeerPutsItBehindItself) {
  put(&new_server_list, {"node2"});
  end_resynchronize(1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
}

TEST_F(ResyncNames, PeerThatWaitsOnceMoreAlreadyIsNotAddedAgain) {
  put(&new_server_list, {"node2", "node3"});
  end_resynchronize(1);
  end_resynchronize(1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node2"}));
}

TEST_F(ResyncNames, PeerThatWaitsUnderAnotherNameIsNotAddedAgain) {
  new_server_list = new_server("node2", {kNode2[0], kNode2[1]});
  new_server_list->next = new_server("renamed", {"10.0.0.9", kNode2[1]});
  end_resynchronize(1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "renamed"}));
}

class OtherArgument : public ResyncNames, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(ResyncNames, OtherArgument, ::testing::Values(0, 2, -1));

TEST_P(OtherArgument, OfTheEndDoesNotKeepThePeer) {
  put(&new_server_list, {"node2", "node3"});
  end_resynchronize(GetParam());
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
}

TEST_F(ResyncNames, EndWithNobodyToKeepIsAnEnd) {
  g_sync_step = REQ_DATA;
  end_resynchronize(1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(new_server_list, nullptr);
}

TEST_F(ResyncNames, PeerThatCannotBeKeptIsLogged) {
  put(&new_server_list, {"node2", "node3"});
  const Fault fault(Site::kCopyText, ENOMEM);
  end_resynchronize(1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3"}));
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_TRUE(log_.has(kFailures, "add server(node2) to new server list failed"));
}

// ---- asking for names ---------------------------------------------------------------------------

TEST_F(ResyncNames, EveryAddressOfThePeerIsAskedUnderOneSequence) {
  put(&new_server_list, {"node3", "node2"});
  EXPECT_EQ(request_single_svrname(), 0);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x3 1", "127.0.2.1 > 127.0.2.3 0x3 1"}));
  EXPECT_EQ(sequencenum, 2U);
  EXPECT_EQ(requests_waiting(), 1);
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(sync_single_svrname_flag, 1);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node3", "node2"}));
}

TEST_F(ResyncNames, AskingIsLogged) {
  put(&new_server_list, {"node2"});
  EXPECT_EQ(request_single_svrname(), 0);
  EXPECT_TRUE(log_.has(kFailures, "==== Start resynchronize width server node2 ===="));
  EXPECT_TRUE(log_.has(kFailures, "request server names from node2"));
  EXPECT_TRUE(log_.has(kTrace, "================ server IP(0) ==============="));
  EXPECT_TRUE(log_.has(kTrace, "================ server IP(1) ==============="));
  EXPECT_EQ(log_.count(kNotable, "Server name is: node2"), 2);
  EXPECT_TRUE(log_.has(kTrace, "server ip is: 127.0.2.2"));
  EXPECT_EQ(log_.count(kTrace, "send request for single server name message to server: node2"), 2);
  EXPECT_TRUE(traced("request_single_svrname"));
}

TEST_F(ResyncNames, AddressThatCannotBeReachedIsLeftToTheOthers) {
  put(&new_server_list, {"node2"});
  cut_off(new_server_list, 0);
  EXPECT_EQ(request_single_svrname(), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.2.1 > 127.0.2.2 0x3 1"});
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_TRUE(log_.has(
      kMinor, "send request single server name message to server: node2IP: 127.0.1.2 failed"));
}

TEST_F(ResyncNames, PeerThatCannotBeReachedAtAllWaitsForALaterTry) {
  put(&new_server_list, {"node2", "node3"});
  cut_off(new_server_list);
  EXPECT_EQ(request_single_svrname(), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_EQ(sequencenum, 2U);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node2"}));
  EXPECT_TRUE(log_.has(kFailures, "==== End synchronize width server node2 ===="));
  EXPECT_FALSE(log_.has(kFailures, "request server names from node2"));
}

TEST_F(ResyncNames, NobodyToAskEndsTheResynchronisation) {
  g_sync_step = REQ_DATA;
  EXPECT_EQ(request_single_svrname(), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_EQ(sequencenum, 1U);
}

// ---- the reply ----------------------------------------------------------------------------------

TEST_F(ResyncNames, NamesOfThePeerAreKept) {
  ask_node2();
  put_names(single_svrname_list, {"old", "old2", "old3"});
  put_names(sync_single_svrname_list, {"old"});
  EXPECT_TRUE(notes_progress([] { EXPECT_EQ(receive(names_payload({"a", "b"})), 0); }));
  EXPECT_EQ(names_in(single_svrname_list), (Texts{"a", "b"}));
  EXPECT_EQ(names_in(sync_single_svrname_list), Texts{});
  EXPECT_EQ(g_sync_step, RCV_NAME);
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kFailures, "receive server names from 127.0.1.2"));
  EXPECT_TRUE(log_.has(kNotable, "--------------- single server names ------------------"));
  EXPECT_TRUE(log_.has(kNotable, "server name 0: a"));
  EXPECT_TRUE(log_.has(kNotable, "server name 1: b"));
  EXPECT_TRUE(traced("recv_reply_single_server_name_msg"));
}

TEST_F(ResyncNames, ReplyFromASecondAddressCounts) {
  ask_node2();
  EXPECT_EQ(receive(names_payload({"a"}), kNode2[1]), 0);
  EXPECT_EQ(g_sync_step, RCV_NAME);
}

TEST_F(ResyncNames, RepeatedNameIsKeptOnce) {
  ask_node2();
  EXPECT_EQ(receive(names_payload({"A", "B", "A"})), 0);
  EXPECT_EQ(names_in(single_svrname_list), (Texts{"A", "B"}));
}

TEST_F(ResyncNames, NamesThatDifferInCaseAreTwo) {
  ask_node2();
  EXPECT_EQ(receive(names_payload({"A", "a"})), 0);
  EXPECT_EQ(names_in(single_svrname_list), (Texts{"A", "a"}));
}

TEST_F(ResyncNames, PeerWithoutAlertsHasNoNames) {
  ask_node2();
  EXPECT_EQ(receive(names_payload({})), 0);
  EXPECT_EQ(names_in(single_svrname_list), Texts{});
  EXPECT_EQ(g_sync_step, RCV_NAME);
}

Texts many_names(int count) {
  Texts names;
  for (int i = 0; i < count; ++i) names.push_back("server" + std::to_string(i));
  return names;
}

TEST_F(ResyncNames, SixtyThreeNamesAreTheMostThatIsAccepted) {
  ask_node2();
  EXPECT_EQ(receive(names_payload(many_names(63))), 0);
  EXPECT_EQ(names_in(single_svrname_list), many_names(63));
}

TEST_F(ResyncNames, SixtyFourNamesAreRefusedAndTheRequestStays) {
  ask_node2();
  EXPECT_EQ(receive(names_payload(many_names(64))), -1);
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_TRUE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(ResyncNames, LengthThatLiesIsRefused) {
  ask_node2();
  for (const uint32_t length : {4097U, 0x80000000U, 0xffffffffU}) {
    EXPECT_EQ(receive({.type = kReply, .sequence = kSequence, .length = length},
                      names_payload({"a"}), kNode2[0]),
              -1);
  }
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_TRUE(waits_for(kSequence));
}

TEST_F(ResyncNames, WhatLiesBehindTheLengthIsNotRead) {
  ask_node2();
  EXPECT_EQ(receive({.type = kReply, .sequence = kSequence, .length = 65},
                    names_payload({"a", "hidden"}), kNode2[0]),
            0);
  EXPECT_EQ(names_in(single_svrname_list), Texts{"a"});
}

TEST_F(ResyncNames, NamesEndAtTheFirstEmptyOne) {
  ask_node2();
  EXPECT_EQ(receive(names_payload({"a", "", "b"})), 0);
  EXPECT_EQ(names_in(single_svrname_list), Texts{"a"});
}

TEST_F(ResyncNames, NameThatIsCutOffIsKeptAsFarAsItGoes) {
  ask_node2();
  EXPECT_EQ(receive(field("a", 65) + "bcd"), 0);
  EXPECT_EQ(names_in(single_svrname_list), (Texts{"a", "bcd"}));
}

TEST_F(ResyncNames, NamesWithoutAnEndStayInTheirEntries) {
  ask_node2();
  EXPECT_EQ(receive(std::string(65, 'x') + field("next", 65) + '\0'), 0);
  EXPECT_EQ(names_in(single_svrname_list), (Texts{std::string(64, 'x'), "next"}));
}

TEST_F(ResyncNames, PayloadWithoutAnyEndIsBounded) {
  ask_node2();
  std::string payload;
  for (int i = 0; i < 63; ++i) payload += std::string(65, static_cast<char>('0' + i));
  EXPECT_EQ(receive(payload + '!'), 0);
  EXPECT_EQ(g_sync_step, RCV_NAME);
  for (const std::string& name : names_in(single_svrname_list)) EXPECT_LE(name.size(), 64U);
}

TEST_F(ResyncNames, ReplyOfAnotherServerChangesNothing) {
  ask_node2();
  EXPECT_TRUE(notes_progress([] { EXPECT_EQ(receive(names_payload({"a"}), kNode3[0]), 0); }));
  EXPECT_EQ(g_sync_step, REQ_NAME);
  EXPECT_EQ(names_in(single_svrname_list), Texts{});
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kNotable, "receive message from error server: 127.0.1.3 "));
}

TEST_F(ResyncNames, ReplyWithNobodyToSynchroniseWithEndsIt) {
  expect_reply_to(kSequence);
  g_sync_step = REQ_NAME;
  EXPECT_EQ(receive(names_payload({"a"})), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_FALSE(waits_for(kSequence));
  EXPECT_TRUE(log_.has(kNotable, "No server need synchronise."));
}

class OtherStep : public ResyncNames, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(ResyncNames, OtherStep,
                         ::testing::Values(RESYN_START, RCV_NAME, REQ_ALTID, RCV_ALTID, REQ_DATA,
                                           RESYN_END));

TEST_P(OtherStep, IgnoresNamesButSettlesTheRequest) {
  ask_node2();
  put_names(single_svrname_list, {"kept"});
  g_sync_step = GetParam();
  EXPECT_TRUE(notes_progress([] { EXPECT_EQ(receive(names_payload({"a"})), -1); }));
  EXPECT_EQ(g_sync_step, GetParam());
  EXPECT_EQ(names_in(single_svrname_list), Texts{"kept"});
  EXPECT_FALSE(waits_for(kSequence));
}

TEST_F(ResyncNames, MissingArgumentIsAnErrorAndTheRequestStays) {
  ask_node2();
  Received received(datagram({.type = kReply, .sequence = kSequence}, names_payload({"a"})));
  const auto handler = recv_reply_single_server_name_msg;
  EXPECT_TRUE(notes_progress([&] { EXPECT_EQ(handler(nullptr, received.buf(), kNode2[0]), -1); }));
  EXPECT_TRUE(notes_progress([&] { EXPECT_EQ(handler(received.msg(), nullptr, kNode2[0]), -1); }));
  EXPECT_TRUE(
      notes_progress([&] { EXPECT_EQ(handler(received.msg(), received.buf(), nullptr), -1); }));
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_TRUE(waits_for(kSequence));
  EXPECT_EQ(g_sync_step, REQ_NAME);
}

}  // namespace
}  // namespace alt_test
