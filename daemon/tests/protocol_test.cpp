// The daemon's turns: ticks and their flags, datagrams that are counted or refused, and servers
// that change.
#include "cluster/protocol.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "cluster_fixture.h"

namespace qel::daemon_test {
namespace {

using alt_test::kMinor;
using alt_test::kNotable;
using alt_test::kStranger;
using alt_test::kTrace;
using alt_test::names_of;

// ---- flags --------------------------------------------------------------------------------------

struct Flag {
  int* flag;
  const char* turn;  // what is done when it is raised
};

const std::string kReceives = "host receives";
const std::string kAdopts = "alert ids of this server go on after 0";

// While no resynchronisation runs and node2 is to be synchronised with, in the order of the turns.
const Flag kFlags[] = {{&resend_now, "Enter function: re_send_msg"},
                       {&drop_now, "Enter function: dropmsg_from_list"},
                       {&start_heartbeat_now, "Enter function: send_request_heartbeat_msg"},
                       {&start_send_new_server_now, "Enter function: send_new_server_msg"},
                       {&check_newsvr_now, "Enter function: request_single_svrname"},
                       {&get_maxalertid_localserver_now, kAdopts.c_str()},
                       {&check_svrlist_now, "host checks the servers"},
                       {&write_alert_now, "host drains the intake"}};

class AnswersToFlags : public ClusterTest {
 protected:
  AnswersToFlags() {
    put(&new_server_list, {"node2"});
    put(&servers_not_reply, {"node3"});
    log_.clear();
  }
  // What the tick has done, of all that a flag leads to.
  Texts turns() {
    log_.clear();
    protocol_.tick();
    Texts found;
    for (const alt_test::LogLine& line : log_.lines()) {
      const bool is_turn = line.text == kReceives ||
                           std::any_of(std::begin(kFlags), std::end(kFlags),
                                       [&](const Flag& flag) { return line.text == flag.turn; });
      if (is_turn) found.push_back(line.text);
    }
    return found;
  }
};

TEST_F(AnswersToFlags, ComeInTheirOrder) {
  Texts expected;
  for (const Flag& flag : kFlags) {
    *flag.flag = 1;
    expected.emplace_back(flag.turn);
  }
  expected.insert(expected.begin() + 1, kReceives);  // between the repetition and the drop
  EXPECT_EQ(expected, turns());
}

TEST_F(AnswersToFlags, ComeForTheRaisedOnesAloneAndOnce) {
  for (const Flag& flag : kFlags) {
    Texts expected = {kReceives, flag.turn};
    if (flag.flag == &resend_now) std::swap(expected[0], expected[1]);
    g_sync_step = RESYN_END;
    start_write_local_logfile = 0;  // or the library asks for a drain every other tick
    *flag.flag = 1;
    EXPECT_EQ(expected, turns());
    EXPECT_EQ(0, *flag.flag) << flag.turn;
    start_write_local_logfile = 0;
    EXPECT_EQ(Texts{kReceives}, turns()) << flag.turn;
  }
}

TEST_F(AnswersToFlags, EndOfTheWaitForNamesComesBeforeThatForIds) {
  g_sync_step = RCV_NAME;
  alt_test::put_names(single_svrname_list, {"node2"});
  sync_single_svrname_now = sync_single_altid_now = 1;
  protocol_.tick();
  // Ids were asked for, and nobody has answered: the other way round the wait would go on.
  EXPECT_EQ(RESYN_END, g_sync_step);
  EXPECT_EQ(0, sync_single_svrname_now);
  EXPECT_EQ(0, sync_single_altid_now);
}

TEST_F(AnswersToFlags, RequestThatIsAnsweredInTimeIsNotGivenUp) {
  const uint32_t sequence = ask(0x9);
  let_requests_expire();
  host_.on_receive = [&] { receive(kNode2[0], {.type = 0x10000009, .sequence = sequence}); };
  tick_with(&drop_now);
  EXPECT_EQ(Texts{"node3"}, names_of(servers_not_reply));
  EXPECT_EQ(Texts{}, outstanding_requests());
}

TEST_F(AnswersToFlags, RequestThatIsNotAnsweredIsGivenUp) {
  ask(0x9);
  let_requests_expire();
  tick_with(&drop_now);
  EXPECT_EQ((Texts{"node3", "node2"}), names_of(servers_not_reply));
  EXPECT_EQ(Texts{}, outstanding_requests());
}

// ---- heartbeats ---------------------------------------------------------------------------------

class Heartbeats : public ClusterTest {};

TEST_F(Heartbeats, AnswerTakesItsRequestOut) {
  tick_with(&start_heartbeat_now);
  ASSERT_EQ((Texts{"0x9 1", "0x9 2"}), outstanding_requests());
  receive(kNode2[1], {.type = 0x10000009, .sequence = 1});
  EXPECT_EQ(Texts{"0x9 2"}, outstanding_requests());
  receive(kNode3[0], {.type = 0x10000009, .sequence = 2});
  EXPECT_EQ(Texts{}, outstanding_requests());
}

TEST_F(Heartbeats, AnswerOfAnotherServerTakesNothingOut) {
  tick_with(&start_heartbeat_now);
  receive(kNode3[0], {.type = 0x10000009, .sequence = 1});
  EXPECT_EQ((Texts{"0x9 1", "0x9 2"}), outstanding_requests());
}

TEST_F(Heartbeats, OfAnotherServerIsAnswered) {
  receive(kNode3[1], {.type = 0x9, .sequence = 4711, .reserve2 = 2});
  expect_only(
      kOwn[1], kNode3[1],
      alt_test::datagram({.type = 0x10000009, .sequence = 4711, .dst = kNode3[1], .reserve2 = 2}));
}

// ---- what is counted ----------------------------------------------------------------------------

class Counting : public ClusterTest {
 protected:
  using Received = std::map<std::string, uint64_t>;

  void receive_from_a_stranger() { receive(kStranger, {.type = 0x9, .sequence = 1}); }
  // Reports of refused datagrams in so many ticks.
  Texts reports_in(int ticks) {
    log_.clear();
    for (int i = 0; i < ticks; ++i) protocol_.tick();
    Texts reports;
    for (const std::string& text : log_.texts(kMinor)) {
      if (text.find("refused") != std::string::npos) reports.push_back(text);
    }
    return reports;
  }
};

TEST_F(Counting, MessagesAreCountedByTheirNames) {
  receive(kNode2[0], {.type = 0x9, .sequence = 1});
  receive(kNode2[0], {.type = 0x9, .sequence = 2});
  receive(kNode3[0], {.type = 0x3, .sequence = 1});
  receive(kNode3[0], {.type = 0x10000001, .sequence = ask(0x1, {kNode3[0]})});
  EXPECT_EQ((Received{{"heartbeat", 2}, {"names request", 1}, {"alert acknowledged", 1}}),
            protocol_.counters().received);
}

TEST_F(Counting, RefusedDatagramsAreCountedByReasonAndNotAsMessages) {
  receive_from_a_stranger();
  receive_from_a_stranger();
  receive(kNode2[0], {.type = 0x2, .sequence = 1});
  receive(kNode2[0], {.type = 0x10000009, .sequence = 77});
  EXPECT_EQ(2U, refused(daemon::Refusal::kStranger));
  EXPECT_EQ(1U, refused(daemon::Refusal::kUnknownType));
  EXPECT_EQ(1U, refused(daemon::Refusal::kForgedReply));
  EXPECT_EQ(0U, refused(daemon::Refusal::kTooShort));
  EXPECT_EQ(Received{}, protocol_.counters().received);
  EXPECT_EQ(Texts{}, arrived());
}

TEST_F(Counting, LaterAnswersFromOtherPathsAreCountedAsLate) {
  const alt_test::Header header = {.type = 0x10000009, .sequence = ask(0x9)};
  wire_.take();
  receive_together({Arrival(kNode2[0], alt_test::datagram(header)),
                    Arrival(kNode2[1], alt_test::datagram(header))});
  EXPECT_EQ(1U, refused(daemon::Refusal::kLateReply));
  EXPECT_EQ((Received{{"heartbeat answered", 1}}), protocol_.counters().received);
}

TEST_F(Counting, LateAnswersTellThatTheirServerIsThere) {
  receive(kNode2[0], {.type = 0x10000009, .sequence = ask(0x9)});
  receive(kNode2[1], {.type = 0x10000009, .sequence = sequencenum - 1});
  EXPECT_EQ(kNode2[1], protocol_.peers().peer("node2").best_address);
}

TEST_F(Counting, RefusedDatagramsTellNothingOfTheirServer) {
  receive(kNode2[0], {.type = 0x2, .sequence = 1});
  receive(kNode2[0], {.type = 0x10000009, .sequence = 77});
  EXPECT_EQ("", protocol_.peers().peer("node2").last_answer);
}

TEST_F(Counting, FirstRefusalIsReportedWithTheNextTick) {
  EXPECT_EQ(Texts{}, reports_in(1));
  receive_from_a_stranger();
  receive(kNode2[0], {.type = 0x2, .sequence = 1});
  EXPECT_EQ(Texts{"2 datagrams were refused, the last one: unknown type, from 127.0.1.2"},
            reports_in(1));
}

TEST_F(Counting, FurtherRefusalsAreReportedTogetherAfterAMinute) {
  receive_from_a_stranger();
  ASSERT_EQ(1U, reports_in(1).size());
  receive_from_a_stranger();
  EXPECT_EQ(Texts{}, reports_in(30));
  receive_from_a_stranger();
  EXPECT_EQ(Texts{}, reports_in(29));
  EXPECT_EQ(Texts{"2 datagrams were refused, the last one: unknown sender, from 127.0.1.9"},
            reports_in(1));
  EXPECT_EQ(Texts{}, reports_in(100));
}

TEST_F(Counting, LateAnswersAreNotReported) {
  receive(kNode2[0], {.type = 0x10000009, .sequence = ask(0x9)});
  receive(kNode2[1], {.type = 0x10000009, .sequence = sequencenum - 1});
  EXPECT_EQ(Texts{}, reports_in(1));
}

// ---- the watch for a stall ----------------------------------------------------------------------

class StallWatch : public ClusterTest {
 protected:
  StallWatch() {
    g_resync_time_interval = int64_t{10} * tckconf;
    put(&new_server_list, {"node2"});
  }
  // A run with the waits stretched by the ratio.
  void run_with_ratio(int ratio) {
    current_ratio = ratio;
    protocol_.tick();
    tick_with(&check_newsvr_now);
    ASSERT_EQ(REQ_NAME, g_sync_step);
  }
  static int64_t longest_wait(int ratio) {
    return (int64_t{ratio} * kLong * g_alert_retry_count + 1) * tckconf;
  }
};

TEST_F(StallWatch, IsPatientForAsLongAsTheLongestWaitTakesWithALargeRatio) {
  run_with_ratio(500);
  clock_.advance(longest_wait(500) + tckconf);
  protocol_.tick();
  EXPECT_EQ(REQ_NAME, g_sync_step);
}

TEST_F(StallWatch, EndsARunThatTakesMuchLonger) {
  run_with_ratio(500);
  clock_.advance(3 * longest_wait(500));
  protocol_.tick();
  EXPECT_EQ(RESYN_END, g_sync_step);
}

TEST_F(StallWatch, KeepsALongerTimeThatIsConfigured) {
  g_resync_time_interval = int64_t{1} << 40;
  run_with_ratio(500);
  EXPECT_EQ(int64_t{1} << 40, g_resync_time_interval);
}

// ---- servers that change ------------------------------------------------------------------------

class ChangedServers : public ClusterTest {
 protected:
  std::vector<daemon::ServerEntry> servers_ = {
      {"node1", {{kOwn[0], 1}, {kOwn[1], 2}}},
      {"node2", {{kNode2[0], 1}, {kNode2[1], 2}}},
      {"node3", {{kNode3[0], 1}, {kNode3[1], 2}}},
  };
};

TEST_F(ChangedServers, ServerWithOtherAddressesIsGreetedThere) {
  servers_[1].addresses = {{kStranger, 1}};
  EXPECT_EQ(Texts{"node2"}, change_servers(servers_).changed);
  EXPECT_EQ(Texts{"node2"}, names_of(servers_not_reply));
  tick_with(&start_send_new_server_now);
  EXPECT_EQ(Texts{"127.0.1.1 > 127.0.1.9 0xa 1"}, arrived());
}

TEST_F(ChangedServers, ServerThatWasSilentAlreadyIsGreetedOnce) {
  put(&servers_not_reply, {"node3", "node2"});
  servers_[1].addresses = {{kStranger, 1}};
  change_servers(servers_);
  EXPECT_EQ((Texts{"node3", "node2"}), names_of(servers_not_reply));
}

TEST_F(ChangedServers, OthersAreNotGreeted) {
  servers_[0].addresses = {{kOwn[0], 1}};
  servers_.push_back({"node4", {{kStranger, 1}}});
  EXPECT_EQ(Texts{"node4"}, change_servers(servers_).added);
  EXPECT_EQ(nullptr, servers_not_reply);
  EXPECT_EQ(Texts{"node4"}, names_of(new_server_list));
}

TEST_F(ChangedServers, AnswerFromAnAddressThatIsGoneIsRefused) {
  const uint32_t sequence = ask(0x9);
  servers_[1].addresses = {{kStranger, 1}};
  change_servers(servers_);
  receive(kNode2[0], {.type = 0x10000009, .sequence = sequence});
  EXPECT_EQ(1U, refused(daemon::Refusal::kStranger));
  receive(kStranger, {.type = 0x9, .sequence = 1});
  EXPECT_EQ(1U, protocol_.counters().received.count("heartbeat"));
}

TEST_F(ChangedServers, ListWithoutThisServerIsRefusedAndChangesNothing) {
  servers_.erase(servers_.begin());
  daemon::MembershipChange change;
  std::string error;
  EXPECT_FALSE(protocol_.change_servers(servers_, "node1", &change, &error));
  EXPECT_NE(std::string::npos, error.find("\"node1\"")) << error;
  EXPECT_EQ((Texts{"node1", "node2", "node3"}), names_of(server_list_head));
}

}  // namespace
}  // namespace qel::daemon_test
