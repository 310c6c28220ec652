// Replies with alerts that are not what they should be.
#include <gtest/gtest.h>

#include "support/resync_test.h"

namespace alt_test {
namespace {

class HostileData : public ResyncTest {
 protected:
  // Ids 1 to 9 of "node3" are asked for, under the sequence 3.
  HostileData() { lead_to_req_data({"node3"}, 1, 9); }

  static int receive(const Header& header, const std::string& payload,
                     const char* addr = kNode2[0]) {
    Received received(datagram(header, payload));
    return recv_reply_single_data_msg(received.msg(), received.buf(), addr);
  }
  static Header header(uint32_t count) {
    return {.type = 0x10000007, .sequence = 3, .reserve1 = count};
  }
};

class LyingCount : public HostileData, public ::testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(HostileData, LyingCount,
                         ::testing::Values(5U, 100U, 0x7fffffffU, 0x80000000U, 0xffffffffU));

TEST_P(LyingCount, TouchesTheFourSlotsOnly) {
  EXPECT_EQ(receive(header(GetParam()), data_payload(alerts_of("node3", {1, 2, 3, 4}))), 0);
  EXPECT_EQ(held(), (Texts{"node3:1", "node3:2", "node3:3", "node3:4"}));
  EXPECT_EQ(sync_single_data.alert_id, 5U);
}

TEST_F(HostileData, SlotsThatTheCountLeavesOutAreNotStored) {
  EXPECT_EQ(receive(header(1), data_payload(alerts_of("node3", {1, 2}))), 0);
  EXPECT_EQ(held(), Texts{"node3:1"});
}

TEST_F(HostileData, CountOfSlotsThatAreEmptyStoresNothing) {
  EXPECT_EQ(receive(header(2), data_payload({})), 0);
  EXPECT_EQ(held(), Texts{});
}

TEST_F(HostileData, SlotsBehindTheToldLengthAreNotRead) {
  Header shorter = header(2);
  shorter.length = 1000;
  EXPECT_EQ(receive(shorter, data_payload(alerts_of("node3", {1, 2}))), 0);
  EXPECT_EQ(held(), Texts{"node3:1"});
}

class LyingLength : public HostileData, public ::testing::WithParamInterface<uint32_t> {};
INSTANTIATE_TEST_SUITE_P(HostileData, LyingLength,
                         ::testing::Values(4025U, 0x7fffffffU, 0x80000000U, 0xffffffffU));

TEST_P(LyingLength, IsRefusedButSettlesTheRequest) {
  Header lying = header(1);
  lying.length = GetParam();
  EXPECT_EQ(receive(lying, data_payload(alerts_of("node3", {1}))), -1);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_FALSE(waits_for(3));
  EXPECT_TRUE(log_.has(kFailures, "parameter error"));
}

TEST_F(HostileData, TextsWithoutAnEndStayInTheirFields) {
  std::string payload = field(word(1) + std::string(676, 'x'), 4024);
  EXPECT_EQ(receive(header(1), payload), 0);
  for (const int level : {kNotable, kTrace}) {
    EXPECT_FALSE(log_.has_part(level, std::string(66, 'x')));
  }
}

TEST_F(HostileData, AlertsOfAnotherServerAreNotSkipped) {
  EXPECT_EQ(receive(header(1), data_payload(alerts_of("node9", {4}))), 0);
  EXPECT_EQ(held(), Texts{"node9:4"});
  EXPECT_EQ(g_sync_step, REQ_DATA);
}

TEST_F(HostileData, ReplyFromAnAddressOutsideThePeerChangesNothing) {
  for (const char* addr : {kNode3[0], kStranger}) {
    EXPECT_TRUE(notes_progress(
        [&] { EXPECT_EQ(receive(header(1), data_payload(alerts_of("node3", {1})), addr), -1); }));
    EXPECT_EQ(held(), Texts{});
    EXPECT_EQ(g_sync_step, REQ_DATA);
    EXPECT_FALSE(waits_for(3));
    EXPECT_EQ(names_of(new_server_list), Texts{"node2"});
  }
}

TEST_F(HostileData, ReplyWithNobodyToSynchroniseWithEndsIt) {
  release_svrlist(&new_server_list);
  EXPECT_EQ(receive(header(1), data_payload(alerts_of("node3", {1}))), -1);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_FALSE(waits_for(3));
}

TEST_F(HostileData, MissingArgumentIsAnErrorThatSettlesTheRequest) {
  Received received(datagram(header(1), data_payload(alerts_of("node3", {1}))));
  const auto handler = recv_reply_single_data_msg;
  EXPECT_TRUE(notes_progress([&] { EXPECT_EQ(handler(nullptr, received.buf(), kNode2[0]), -1); }));
  EXPECT_TRUE(waits_for(3));
  EXPECT_EQ(handler(received.msg(), nullptr, kNode2[0]), -1);
  EXPECT_FALSE(waits_for(3));
  expect_reply_to(3);
  EXPECT_EQ(handler(received.msg(), received.buf(), nullptr), -1);
  EXPECT_FALSE(waits_for(3));
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_EQ(held(), Texts{});
}

}  // namespace
}  // namespace alt_test
