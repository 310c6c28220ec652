// The highest id that the peer holds of one server after the other.
#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <fstream>
#include <thread>

#include "support/resync_test.h"

namespace alt_test {
namespace {

// ---- the next name ------------------------------------------------------------------------------

char g_all[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];
char g_done[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];

class NextName : public ResyncTest {
 protected:
  NextName() {
    memset(g_all, 0, sizeof(g_all));
    memset(g_done, 0, sizeof(g_done));
  }
  // The next name; nothing when none is left.
  static std::string next(const Texts& all, const Texts& done) {
    put_names(g_all, all);
    put_names(g_done, done);
    char name[ALERT_NAME_SIZE] = "";
    const int result = get_unsync_svrname(g_all, g_done, name);
    EXPECT_EQ(result, name[0] == '\0' ? 1 : 0);
    return name;
  }
};

TEST_F(NextName, IsTheFirstThatIsNotDone) {
  EXPECT_EQ(next({"a", "b", "c"}, {"c", "a"}), "b");
  EXPECT_TRUE(log_.has(kNotable, "server name(a) has been synchronized"));
  EXPECT_TRUE(log_.has(kNotable, "server name(b) is not synchronized"));
  EXPECT_FALSE(log_.has_part(kNotable, "server name(c)"));
}

TEST_F(NextName, IsNoneWhenThereAreNoNames) { EXPECT_EQ(next({}, {"a"}), ""); }

TEST_F(NextName, IsNoneWhenAllAreDone) { EXPECT_EQ(next({"a", "b"}, {"b", "a"}), ""); }

TEST_F(NextName, IsComparedWhole) {
  EXPECT_EQ(next({"node1"}, {"node10", "node", "NODE1"}), "node1");
}

TEST_F(NextName, NamesBehindAnEmptyOneDoNotCount) {
  EXPECT_EQ(next({"a", "", "c"}, {"a"}), "");
  EXPECT_EQ(next({"b"}, {"a", "", "b"}), "b");
}

TEST_F(NextName, FullTablesAreSearchedToTheirEnds) {
  Texts names;
  for (int i = 0; i < AL_SVRNAME_COUNT; ++i) names.push_back("server" + std::to_string(i));
  EXPECT_EQ(next(names, names), "");
  memset(g_done, 0, sizeof(g_done));
  const std::string last = names.back();
  Texts done = names;
  done.pop_back();
  EXPECT_EQ(next(names, done), last);
}

// ---- asking for an id ---------------------------------------------------------------------------

class ResyncIds : public ResyncTest {
 protected:
  static al_sync_data cursor_of(const std::string& server, uint32_t id = 0) {
    al_sync_data cursor = {};
    set_text(cursor.sync_svr, server);
    cursor.alert_id = id;
    return cursor;
  }
};

TEST_F(ResyncIds, NextNameIsAskedForAtEveryAddressUnderOneSequence) {
  lead_to_rcv_name({"node3", "node1"});
  put_names(sync_single_svrname_list, {"node3"});
  sync_single_data = {7, "old", "older", 8, 9};
  EXPECT_EQ(sync_other_single_svrname(), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 2U);
  for (size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(taken[i].to, kNode2[i]);
    EXPECT_EQ(first_difference(taken[i].bytes, datagram({.type = 5,
                                                         .sequence = 2,
                                                         .dst = kNode2[i],
                                                         .reserve2 = static_cast<uint32_t>(i + 1)},
                                                        sync_payload({.sync_svr = "node1"}))),
              "");
  }
  EXPECT_EQ(sequencenum, 3U);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_STREQ(sync_single_data.sync_svr, "node1");
  EXPECT_STREQ(sync_single_data.reply_svr, "");
  EXPECT_EQ(sync_single_data.alert_id, 0U);
  EXPECT_EQ(sync_single_data.max_alert_id, 0U);
  EXPECT_EQ(sync_single_data.sync_flg, 0U);
}

TEST_F(ResyncIds, AddressesOfThePeerShareOnePayload) {
  lead_to_req_altid({"node3"});
  const al_msg* first = send_hist.next->msg;
  ASSERT_EQ(first->msg_head->sequence, 2U);
  ASSERT_NE(first->next, nullptr);
  EXPECT_EQ(first->msg_data, first->next->msg_data);
  EXPECT_NE(first->msg_data, &sync_single_data);
}

TEST_F(ResyncIds, AskingIsLogged) {
  lead_to_req_altid({"node3"});
  EXPECT_TRUE(log_.has(kFailures, "request alertid of node3 from node2"));
  EXPECT_EQ(log_.count(kTrace, "================== send to server ==============="), 2);
  EXPECT_TRUE(log_.has(kTrace, "Server name is: node2"));
  EXPECT_TRUE(log_.has(kTrace, "server ip is: 127.0.2.2"));
  EXPECT_EQ(
      log_.count(kTrace, "send request for the biggest alert id of server(node3) to server(node2)"),
      2);
  EXPECT_TRUE(log_.has(kTrace, "set the sync_single_altid_flag to 1"));
}

struct Wait {
  int ratio;
  int timeout;
  int ticks;
};
void PrintTo(const Wait& wait, std::ostream* out) { *out << wait.ratio << "*" << wait.timeout; }
class IdWait : public ResyncIds, public ::testing::WithParamInterface<Wait> {};
INSTANTIATE_TEST_SUITE_P(ResyncIds, IdWait,
                         ::testing::Values(Wait{1, 7, 7}, Wait{3, 7, 21}, Wait{1, 0, 1},
                                           Wait{1, -1, 1}, Wait{1, 999, 999}, Wait{1, 1000, 999},
                                           Wait{500, 2, 999}));

TEST_P(IdWait, IsArmedByTheRequest) {
  lead_to_rcv_name({"node3"});
  current_ratio = GetParam().ratio;
  g_get_altid_timeout = GetParam().timeout;
  EXPECT_EQ(sync_other_single_svrname(), 0);
  EXPECT_EQ(sync_single_altid_flag, 1);
  EXPECT_EQ(sync_single_altid_time, GetParam().ticks);
}

// True once the thread sleeps in the kernel; false when it ends without.
bool falls_asleep(const std::atomic<pid_t>& thread) {
  for (int look = 0; look < 100000; ++look) {
    usleep(100);
    if (thread == 0) continue;
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string number, name, state;
    if (!(status >> number >> name >> state)) return false;
    if (state == "S") return true;
  }
  return false;
}

TEST_F(ResyncIds, WaitIsNotArmedDuringATick) {
  lead_to_rcv_name({"node3"});
  ASSERT_EQ(pthread_mutex_lock(&timeout_variable_mutex), 0);
  std::atomic<pid_t> id = 0;
  std::thread thread([&] {
    id = gettid();
    sync_other_single_svrname();
  });
  EXPECT_TRUE(falls_asleep(id));
  EXPECT_EQ(sync_single_altid_flag, 0);
  pthread_mutex_unlock(&timeout_variable_mutex);
  thread.join();
  EXPECT_EQ(sync_single_altid_flag, 1);
}

TEST_F(ResyncIds, WaitIsNotArmedWhenNothingWasAsked) {
  lead_to_rcv_name({"node3"});
  cut_off(new_server_list);
  EXPECT_EQ(sync_other_single_svrname(), -1);
  EXPECT_EQ(sync_single_altid_flag, 0);
  EXPECT_TRUE(log_.has(kFailures, "send request single alert id message failed"));
}

TEST_F(ResyncIds, NoNameLeftAsksNothing) {
  lead_to_rcv_name({"node3"});
  put_names(sync_single_svrname_list, {"node3"});
  EXPECT_EQ(sync_other_single_svrname(), 1);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sync_single_altid_flag, 0);
  EXPECT_TRUE(log_.has(kNotable, "there is no unsynchronized server name"));
}

TEST_F(ResyncIds, RequestCarriesIdAndServerOfTheCursorOnly) {
  al_sync_data cursor = {0x01020304, "node3", "node9", 5, 6};
  EXPECT_EQ(request_single_alert_id(&cursor), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 2U);
  EXPECT_EQ(taken[0].bytes.substr(72), sync_payload({.alert_id = 0x01020304, .sync_svr = "node3"}));
  EXPECT_EQ(g_sync_step, REQ_ALTID);
}

TEST_F(ResyncIds, AddressThatCannotBeReachedIsLeftToTheOthers) {
  cut_off(new_server_list, 1);
  al_sync_data cursor = cursor_of("node3");
  EXPECT_EQ(request_single_alert_id(&cursor), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.1.1 > 127.0.1.2 0x5 1"});
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_TRUE(log_.has(kMinor,
                       "send request for the biggest alert id of server(node3) to "
                       "server(node2)IP(127.0.2.2) failed"));
}

TEST_F(ResyncIds, PeerThatCannotBeReachedAtAllEndsTheResynchronisation) {
  cut_off(new_server_list);
  al_sync_data cursor = cursor_of("node3");
  g_sync_step = RCV_NAME;
  EXPECT_EQ(request_single_alert_id(&cursor), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node2"}));
  EXPECT_EQ(sequencenum, 2U);
  EXPECT_EQ(check_newsvr_flag, 1);
}

TEST_F(ResyncIds, NobodyToAskEndsTheResynchronisation) {
  release_svrlist(&new_server_list);
  al_sync_data cursor = cursor_of("node3");
  g_sync_step = RCV_NAME;
  EXPECT_EQ(request_single_alert_id(&cursor), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_TRUE(log_.has(kNotable, "No server need synchronise."));
  EXPECT_EQ(request_single_alert_id(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(ResyncIds, WithoutMemoryNothingIsAsked) {
  al_sync_data cursor = cursor_of("node3");
  const ScarceMemory scarce(144);
  EXPECT_EQ(request_single_alert_id(&cursor), -1);
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

TEST_F(ResyncIds, EachFailedAllocationLeavesWholeRequests) {
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM,
      [this] {
        init_send_hist();
        release_svrlist(&new_server_list);
        put(&new_server_list, {"node2"});
        wire_.take();
      },
      [] {
        al_sync_data cursor = cursor_of("node3");
        static_cast<void>(request_single_alert_id(&cursor));
        re_send_msg();
      });
  EXPECT_GE(runs, 5);
}

// ---- the reply ----------------------------------------------------------------------------------

TEST_F(ResyncIds, HighestIdOfThePeerIsTaken) {
  lead_to_req_altid({"node3"});
  EXPECT_TRUE(notes_progress(
      [] { EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node3", .reply_svr = "node2"}), 0); }));
  EXPECT_EQ(sync_single_data.alert_id, 9U);
  EXPECT_STREQ(sync_single_data.reply_svr, "node2");
  EXPECT_EQ(sync_single_data.max_alert_id, 0U);
  EXPECT_EQ(g_sync_step, RCV_ALTID);
  EXPECT_FALSE(waits_for(2));
  EXPECT_TRUE(
      log_.has(kNotable, "server(node2) has the newest alert of server(node3), max alert id: 9"));
  EXPECT_TRUE(log_.has(kFailures, "receive server node3's alertid from 127.0.1.2"));
  EXPECT_TRUE(log_.has(kNotable, "---------- sync_single_data ------------"));
  EXPECT_TRUE(log_.has(kNotable, "sync_single_data.alert_id: 9"));
  EXPECT_TRUE(log_.has(kNotable, "sync_single_data.sync_svr: node3"));
  EXPECT_TRUE(log_.has(kNotable, "sync_single_data.reply_svr: node2"));
}

TEST_F(ResyncIds, PeerWithoutAlertsOfThatServerIsReceivedButNotTaken) {
  lead_to_req_altid({"node3"});
  EXPECT_EQ(id_comes({.alert_id = 0, .sync_svr = "node3", .reply_svr = "node2"}), 0);
  EXPECT_EQ(g_sync_step, RCV_ALTID);
  EXPECT_STREQ(sync_single_data.reply_svr, "");
  EXPECT_FALSE(log_.has_part(kNotable, "has the newest alert"));
}

TEST_F(ResyncIds, IdThatIsNotAboveTheCursorsIsNotTaken) {
  lead_to_req_altid({"node3"});
  sync_single_data.alert_id = 9;
  EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node3", .reply_svr = "node2"}), 0);
  EXPECT_STREQ(sync_single_data.reply_svr, "");
  EXPECT_EQ(g_sync_step, RCV_ALTID);
}

TEST_F(ResyncIds, IdsAreUnsigned) {
  lead_to_req_altid({"node3"});
  sync_single_data.alert_id = 9;
  EXPECT_EQ(id_comes({.alert_id = 0x80000000, .sync_svr = "node3", .reply_svr = "node2"}), 0);
  EXPECT_EQ(sync_single_data.alert_id, 0x80000000U);
}

TEST_F(ResyncIds, ReplyAboutAnotherServerIsRefusedAndTheRequestStays) {
  lead_to_req_altid({"node3"});
  EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node2", .reply_svr = "node2"}), -1);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_EQ(sync_single_data.alert_id, 0U);
  EXPECT_TRUE(waits_for(2));
  EXPECT_TRUE(log_.has(kFailures, "error occured when getting all alert id"));
}

TEST_F(ResyncIds, ReplyOfAnotherServerChangesNothing) {
  lead_to_req_altid({"node3"});
  EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node3"}, 2, kNode3[0]), 0);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_EQ(sync_single_data.alert_id, 0U);
  EXPECT_FALSE(waits_for(2));
  EXPECT_TRUE(log_.has(kNotable, "receive message from error server: node2 "));
}

TEST_F(ResyncIds, ReplyWithNobodyToSynchroniseWithEndsIt) {
  lead_to_req_altid({"node3"});
  release_svrlist(&new_server_list);
  EXPECT_EQ(id_comes({.alert_id = 9, .sync_svr = "node3"}), -1);
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_FALSE(waits_for(2));
  EXPECT_TRUE(log_.has(kNotable, "No server need synchronise."));
}

TEST_F(ResyncIds, SecondReplyIsIgnored) {
  lead_to_rcv_altid({"node3"}, 9);
  EXPECT_EQ(id_comes({.alert_id = 12, .sync_svr = "node3", .reply_svr = "node2"}), -1);
  EXPECT_EQ(sync_single_data.alert_id, 9U);
}

TEST_F(ResyncIds, LengthThatLiesIsRefusedAndTheRequestStays) {
  lead_to_req_altid({"node3"});
  for (const uint32_t length : {145U, 0x80000000U, 0xffffffffU}) {
    Received received(datagram({.type = 0x10000005, .sequence = 2, .length = length},
                               sync_payload({.alert_id = 9, .sync_svr = "node3"})));
    EXPECT_EQ(recv_reply_single_alert_id_msg(received.msg(), received.buf(), kNode2[0]), -1);
  }
  EXPECT_EQ(g_sync_step, REQ_ALTID);
  EXPECT_TRUE(waits_for(2));
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
}

TEST_F(ResyncIds, NamesWithoutAnEndAreBounded) {
  const std::string longest(64, 'x');
  lead_to_req_altid({longest});
  std::string payload = sync_payload({.alert_id = 9, .sync_svr = longest});
  payload.replace(4 + 65, 65, 65, 'y');
  Received received(datagram({.type = 0x10000005, .sequence = 2}, payload));
  EXPECT_EQ(recv_reply_single_alert_id_msg(received.msg(), received.buf(), kNode2[0]), 0);
  EXPECT_EQ(std::string(sync_single_data.reply_svr), std::string(64, 'y'));
  EXPECT_FALSE(log_.has_part(kNotable, std::string(66, 'y')));
}

TEST_F(ResyncIds, MissingArgumentIsAnErrorAndTheRequestStays) {
  lead_to_req_altid({"node3"});
  Received received(datagram({.type = 0x10000005, .sequence = 2},
                             sync_payload({.alert_id = 9, .sync_svr = "node3"})));
  const auto handler = recv_reply_single_alert_id_msg;
  EXPECT_TRUE(notes_progress([&] { EXPECT_EQ(handler(nullptr, received.buf(), kNode2[0]), -1); }));
  EXPECT_EQ(handler(received.msg(), nullptr, kNode2[0]), -1);
  EXPECT_EQ(handler(received.msg(), received.buf(), nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_TRUE(waits_for(2));
  EXPECT_EQ(g_sync_step, REQ_ALTID);
}

}  // namespace
}  // namespace alt_test
