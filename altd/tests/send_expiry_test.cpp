// Requests that nobody answers are given up, and whom they were for is remembered.
#include <gtest/gtest.h>

#include <climits>

#include "support/messages.h"
#include "support/protocol_test.h"
#include "support/tick_clock.h"

namespace alt_test {
namespace {

constexpr clock_t kStart = 1000000;
constexpr uint32_t kHeartbeat = AL_MSGTYPE_SYNC_SEND_SERVER_STATUS;

// A ratio of 1, 3 seconds, 2 retries and 100 ticks a second: given up after 7 seconds.
class SendExpiry : public ProtocolTest {
 protected:
  static constexpr clock_t kTooOld = 700;

  static void file(uint32_t sequence, const std::string& dst = kNode2[0],
                   uint32_t type = kHeartbeat) {
    Message msg = make_message({.type = type, .sequence = sequence, .dst = dst, .reserve2 = 1});
    ASSERT_EQ(add_to_send_hist(msg.release()), 0);
  }
  void drop_at(clock_t ticks) {
    clock_.set(kStart + ticks);
    dropmsg_from_list();
  }
  static std::vector<int> sequences() {
    std::vector<int> all;
    for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
      all.push_back(node->sequence);
    }
    return all;
  }
  using Sequences = std::vector<int>;

  StoppedClock clock_{kStart};
};

// ---- when ---------------------------------------------------------------------------------------

TEST_F(SendExpiry, NodeIsGivenUpAtItsLastTickAndNotBefore) {
  file(5);
  drop_at(kTooOld - 1);
  EXPECT_EQ(sequences(), Sequences{5});
  EXPECT_EQ(servers_not_reply, nullptr);
  drop_at(kTooOld);
  EXPECT_EQ(sequences(), Sequences{});
  EXPECT_TRUE(
      log_.has(kDetails, "send history node expired, drop it, seq = 5, dst_addr = 127.0.1.2"));
}

TEST_F(SendExpiry, FurtherMessageGivesItsNodeNewLife) {
  file(5);
  clock_.advance(300);
  file(5, kNode2[1]);
  drop_at(kTooOld + 299);
  EXPECT_EQ(sequences(), Sequences{5});
  drop_at(kTooOld + 300);
  EXPECT_EQ(sequences(), Sequences{});
}

TEST_F(SendExpiry, OnlyExpiredNodesGo) {
  for (const int sequence : {1, 2, 3, 4, 5}) {
    clock_.set(kStart + (sequence % 2 == 1 ? 0 : 500));
    file(static_cast<uint32_t>(sequence));
  }
  drop_at(kTooOld);
  EXPECT_EQ(sequences(), (Sequences{2, 4}));
  file(6);
  EXPECT_EQ(sequences(), (Sequences{2, 4, 6}));
}

TEST_F(SendExpiry, EmptyHistoryHasNothingToGiveUp) {
  drop_at(kTooOld);
  EXPECT_EQ(sequences(), Sequences{});
  EXPECT_GE(log_.texts(kTrace).size(), 2U);
}

struct Age {
  const char* name;
  int ratio;
  int timeout;
  int retries;
  int64_t ticks_a_second;
  clock_t too_old;
};
void PrintTo(const Age& row, std::ostream* out) { *out << row.name; }
class AgeTable : public SendExpiry, public ::testing::WithParamInterface<Age> {};
// The number of seconds is a 32-bit number, and wraps as one.
INSTANTIATE_TEST_SUITE_P(
    SendExpiry, AgeTable,
    ::testing::Values(Age{"ratio", 4, 3, 2, 100, 2500}, Age{"ticks", 1, 3, 2, 1000, 7000},
                      Age{"no time", 1, 0, 2, 100, 100}, Age{"no retry", 5, 3, 0, 100, 100},
                      Age{"days", 1000, 86400, 20, 1000, 1728000001000},
                      Age{"product of 2 to the 32", 65536, 65536, 1, 100, 100},
                      Age{"product of 2 to the 33 and some", 65536, 131073, 1, 100, 6553700}));

TEST_P(AgeTable, IsWhenANodeIsGivenUp) {
  const Age& age = GetParam();
  current_ratio = age.ratio;
  g_resend_timeout = age.timeout;
  g_alert_retry_count = age.retries;
  tckconf = age.ticks_a_second;
  file(5);
  drop_at(age.too_old - 1);
  EXPECT_EQ(sequences(), Sequences{5});
  drop_at(age.too_old);
  EXPECT_EQ(sequences(), Sequences{});
}

TEST_F(SendExpiry, NumberOfSecondsThatWrapsBelowZeroGivesUpAtOnce) {
  g_resend_timeout = INT_MAX;
  g_alert_retry_count = 1;
  file(5);
  drop_at(0);
  EXPECT_EQ(sequences(), Sequences{});
}

// ---- for whom -----------------------------------------------------------------------------------

TEST_F(SendExpiry, ServerThatDoesNotAnswerIsRemembered) {
  file(5, kNode3[1]);
  drop_at(kTooOld);
  ASSERT_EQ(names_of(servers_not_reply), Texts{"node3"});
  EXPECT_NE(servers_not_reply, server("node3"));
  ASSERT_EQ(servers_not_reply->ip_num, 2);
  EXPECT_STREQ(servers_not_reply->ip_addr[1].ip, kNode3[1]);
  EXPECT_EQ(servers_not_reply->ip_addr[1].device_id, 2);
}

TEST_F(SendExpiry, ServerIsRememberedOnce) {
  file(5, kNode3[1]);
  file(6, kNode2[0]);
  file(7, kNode3[0]);
  drop_at(kTooOld);
  EXPECT_EQ(names_of(servers_not_reply), (Texts{"node3", "node2"}));
  file(8, kNode2[1]);
  file(9, kNode3[1]);
  drop_at(3 * kTooOld);
  EXPECT_EQ(sequences(), Sequences{});
  EXPECT_EQ(names_of(servers_not_reply), (Texts{"node3", "node2"}));
}

TEST_F(SendExpiry, ServerIsFoundByTheAddressOfTheFirstMessage) {
  file(5, kNode2[0]);
  file(5, kNode3[0]);
  drop_at(kTooOld);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node2"});
}

TEST_F(SendExpiry, AddressMayBeWrittenInAnotherForm) {
  file(5, std::string("::FFFF:") + kNode2[1]);
  drop_at(kTooOld);
  EXPECT_EQ(names_of(servers_not_reply), Texts{"node2"});
}

TEST_F(SendExpiry, RequestToAnUnknownServerIsDroppedAndNobodyRemembered) {
  file(5, kStranger);
  file(6, "");
  drop_at(kTooOld);
  EXPECT_EQ(sequences(), Sequences{});
  EXPECT_TRUE(log_.has(kMinor, "addr is from unknown server: 127.0.1.9"));
  EXPECT_TRUE(log_.has(kMinor, "addr is from unknown server: "));
  EXPECT_EQ(servers_not_reply, nullptr);
  EXPECT_EQ(new_server_list, nullptr);
}

TEST_F(SendExpiry, AddressWithoutItsEndIsPrintedToItsWidth) {
  const std::string endless(48, '1');
  Message msg = make_message({.type = kHeartbeat,
                              .sequence = 5,
                              .dst = endless,
                              .reserve1 = 0x41414141,
                              .reserve2 = 0x41414141});
  add_to_send_hist(msg.release());
  drop_at(kTooOld);
  EXPECT_FALSE(log_.has_part(kDetails, "A"));
  EXPECT_FALSE(log_.has_part(kMinor, "A"));
  EXPECT_TRUE(log_.has_part(kDetails, "seq = 5, dst_addr = 1111"));
}

TEST_F(SendExpiry, ServerThatCannotBeRememberedIsLoggedAndTheNodeGoes) {
  file(5);
  clock_.advance(kTooOld);
  const Fault fault(Site::kAllocate, ENOMEM);
  dropmsg_from_list();
  EXPECT_TRUE(log_.has(kFailures, "add server(node2) to new server list failed"));
  EXPECT_EQ(sequences(), Sequences{});
  EXPECT_EQ(servers_not_reply, nullptr);
}

// A double or missing free is the sanitizer's to report.
TEST_F(SendExpiry, SharedPayloadIsFreedOnceWhenItsNodeExpires) {
  void* payload = heap_copy("text");
  for (const char* address : {kNode2[0], kNode2[1], kNode3[0]}) {
    Message msg = make_message({.type = 0xa, .sequence = 5, .dst = address, .length = 4});
    msg->msg_data = payload;
    ASSERT_EQ(add_to_send_hist(msg.release()), 0);
  }
  drop_at(kTooOld);
  EXPECT_EQ(sequences(), Sequences{});
}

// ---- the resynchronisation ----------------------------------------------------------------------

struct Ending {
  const char* name;
  uint32_t type;
  const char* dst;
  int step;
};
void PrintTo(const Ending& row, std::ostream* out) { *out << row.name; }
class EndingTable : public SendExpiry, public ::testing::WithParamInterface<Ending> {};
INSTANTIATE_TEST_SUITE_P(SendExpiry, EndingTable,
                         ::testing::Values(Ending{"data request", 7, kNode2[0], RESYN_END},
                                           Ending{"data request to a stranger", 7, kStranger,
                                                  RESYN_END},
                                           Ending{"name request", 3, kNode2[0], REQ_DATA},
                                           Ending{"id request", 5, kNode2[0], REQ_DATA},
                                           Ending{"alert", 1, kNode2[0], REQ_DATA},
                                           Ending{"own id request", 8, kNode2[0], REQ_DATA},
                                           Ending{"heartbeat", 9, kNode2[0], REQ_DATA},
                                           Ending{"announcement", 0xa, kNode2[0], REQ_DATA}));

TEST_P(EndingTable, EndsTheResynchronisationOnlyAsAnExpiredDataRequest) {
  g_sync_step = REQ_DATA;
  file(5, GetParam().dst, GetParam().type);
  drop_at(kTooOld - 1);
  EXPECT_EQ(g_sync_step, REQ_DATA);
  drop_at(kTooOld);
  EXPECT_EQ(g_sync_step, GetParam().step);
}

TEST_F(SendExpiry, OnlyTheFirstMessageOfANodeSaysWhatItIs) {
  g_sync_step = REQ_ALTID;
  file(5, kNode2[0], AL_MSGTYPE_SYNC_REQUEST_ALERT_ID);
  file(5, kNode2[1], AL_MSGTYPE_SYNC_REQUEST_DATA);
  drop_at(kTooOld);
  EXPECT_EQ(g_sync_step, REQ_ALTID);
}

}  // namespace
}  // namespace alt_test
