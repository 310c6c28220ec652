// Alerts on their way through the cluster: those of peers are stored and acknowledged, those of
// this server stored and sent to everybody else.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/protocol_test.h"

namespace alt_test {
namespace {

constexpr uint32_t kSequence = 4711;
constexpr const char* kLog = "alertlog.alt";
constexpr const char* kIds = "srv_alt_id.idx";
constexpr const char* kUnstored = "write to disk failed";

ALERT_RECORD_INFO alert_of(const std::string& server, uint32_t id) {
  ALERT_RECORD_INFO record = make_record(id);
  set_text(record.szServer, server);
  return record;
}

class Broadcast : public ProtocolTest {
 protected:
  static Header header(uint32_t sequence = kSequence, uint32_t reserve2 = 1) {
    return {.type = 1, .sequence = sequence, .dst = kOwn[0], .reserve2 = reserve2};
  }
  static int hand_in(const Header& header, const std::string& payload, const char* addr) {
    Received received(datagram(header, payload));
    return recv_send_alert_msg(received.msg(), received.buf(), addr);
  }
  static int from_peer(const ALERT_RECORD_INFO& record, const char* addr = kNode2[0]) {
    return hand_in(header(), alert_payload(record), addr);
  }
  static int from_here(const ALERT_RECORD_INFO& record) {
    return hand_in(header(0), alert_payload(record), "local");
  }
  static std::string acknowledgement(const char* to, uint32_t reserve2 = 1) {
    return datagram({.type = 0x10000001, .sequence = kSequence, .dst = to, .reserve2 = reserve2});
  }
};

// ---- alerts of peers ----------------------------------------------------------------------------

TEST_F(Broadcast, AlertOfAPeerIsStoredSignalledAndAcknowledged) {
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(held(), Texts{"node2:7"});
  EXPECT_TRUE(event_.raised());
  expect_only(kOwn[0], kNode2[0], acknowledgement(kNode2[0]));
  EXPECT_TRUE(log_.has(kNotable, "alert record from 127.0.1.2 send message "));
  EXPECT_TRUE(
      log_.has(kNotable, "alert_id = 7,szServer = node2,szServerTime = 2024/01/01 00:00:00.007"));
  EXPECT_TRUE(traced("recv_send_alert_msg"));
}

TEST_F(Broadcast, AlertOfAPeerDoesNotMoveTheLocalIdsOrSequences) {
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(read_log_numbers(path(kLog)).current_alert_id, 0U);
  EXPECT_EQ(sequencenum, 1U);
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Broadcast, AlertFromASecondAddressIsAcknowledgedThere) {
  const int result = hand_in(header(kSequence, 2), alert_payload(alert_of("node3", 7)), kNode3[1]);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(held(), Texts{"node3:7"});
  expect_only(kOwn[1], kNode3[1], acknowledgement(kNode3[1], 2));
}

TEST_F(Broadcast, AlertThatAPeerPassesOnKeepsItsServer) {
  EXPECT_EQ(from_peer(alert_of("node3", 7), kNode2[0]), 0);
  EXPECT_EQ(held(), Texts{"node3:7"});
}

TEST_F(Broadcast, AlertFromAStrangerIsRefused) {
  EXPECT_EQ(from_peer(alert_of("node2", 7), kStranger), -1);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_FALSE(event_.raised());
  EXPECT_TRUE(log_.has(kMinor, "received message from unknown server: 127.0.1.9"));
  EXPECT_TRUE(traced("recv_send_alert_msg"));
}

TEST_F(Broadcast, StrangerIsNoticedBeforeTheLength) {
  EXPECT_EQ(hand_in(header(), "", kStranger), -1);
  EXPECT_EQ(log_.texts(kFailures), Texts{});
  EXPECT_TRUE(log_.has_part(kMinor, "unknown server"));
}

struct Length {
  uint32_t told;
  const char* message;
};
void PrintTo(const Length& length, std::ostream* out) { *out << length.told; }
class WrongLength : public Broadcast, public ::testing::WithParamInterface<Length> {
 protected:
  static constexpr const char* kText = "the message data length is wrong, data length = ";
  static int hand_in_with_length(uint32_t sequence, const char* addr) {
    Header lying = header(sequence);
    lying.length = GetParam().told;
    return hand_in(lying, alert_payload(alert_of("node2", 7)), addr);
  }
};
INSTANTIATE_TEST_SUITE_P(Broadcast, WrongLength,
                         ::testing::Values(Length{0, "0"}, Length{1, "1"}, Length{679, "679"},
                                           Length{681, "681"}, Length{4096, "4096"},
                                           Length{4097, "4097"}, Length{0x7fffffff, "2147483647"},
                                           Length{0xffffffff, "-1"}));

TEST_P(WrongLength, OfAPeersAlertIsRefused) {
  EXPECT_EQ(hand_in_with_length(kSequence, kNode2[0]), -1);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, std::string(kText) + GetParam().message));
}

TEST_P(WrongLength, OfALocalAlertIsRefused) {
  EXPECT_EQ(hand_in_with_length(0, "local"), -1);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sequencenum, 1U);
  EXPECT_TRUE(log_.has(kFailures, std::string(kText) + GetParam().message));
}

TEST_F(Broadcast, RepeatedAlertIsAcknowledgedAgainAndStoredOnce) {
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_TRUE(event_.raised());
  wire_.take();
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(held(), Texts{"node2:7"});
  EXPECT_FALSE(event_.raised());
  expect_only(kOwn[0], kNode2[0], acknowledgement(kNode2[0]));
  EXPECT_TRUE(log_.has(kTrace, "the alert log has already been written here, DUPLICATED! "));
}

TEST_F(Broadcast, SameIdOfAnotherServerIsAnotherAlert) {
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(from_peer(alert_of("node3", 7)), 0);
  EXPECT_EQ(held(), (Texts{"node2:7", "node3:7"}));
}

TEST_F(Broadcast, AlertThatCannotBeStoredIsNotAcknowledgedUntilItComesAgain) {
  hold("node1", {1});
  wire_.take();
  {
    const Fault fault(Site::kWrite, ENOSPC);
    EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  }
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_FALSE(event_.raised());
  EXPECT_TRUE(log_.has(kMinor, kUnstored));
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(held(), (Texts{"node1:1", "node2:7"}));
  expect_only(kOwn[0], kNode2[0], acknowledgement(kNode2[0]));
}

TEST_F(Broadcast, AlertThatCannotBeComparedIsNeitherStoredNorAcknowledged) {
  hold("node1", {1});
  spoil(kIds);
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_EQ(held(), Texts{"node1:1"});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_FALSE(event_.raised());
  EXPECT_FALSE(log_.has(kMinor, kUnstored));
}

// Otherwise its sender would send it for ever.
TEST_F(Broadcast, AlertThatTheStoreRefusesForItsTextsIsAcknowledged) {
  ALERT_RECORD_INFO without_module = alert_of("node2", 7);
  set_text(without_module.szModType, "");
  EXPECT_EQ(from_peer(without_module), 0);
  EXPECT_EQ(held(), Texts{});
  EXPECT_FALSE(log_.has(kMinor, kUnstored));
  expect_only(kOwn[0], kNode2[0], acknowledgement(kNode2[0]));
}

TEST_F(Broadcast, AlertWithoutASignalIsStoredAndAcknowledged) {
  const Fault fault(Site::kRaiseEvent, EINVAL);
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_TRUE(log_.has(kMinor, "semevt_set_alert failed(0x16)."));
  EXPECT_EQ(held(), Texts{"node2:7"});
  expect_only(kOwn[0], kNode2[0], acknowledgement(kNode2[0]));
}

TEST_F(Broadcast, AcknowledgementThatCannotBeSentIsNoFailure) {
  EXPECT_EQ(
      hand_in(header(kSequence, kNoInterconnect), alert_payload(alert_of("node2", 7)), kNode2[0]),
      0);
  EXPECT_EQ(held(), Texts{"node2:7"});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kFailures, "send reply message failed"));
}

TEST_F(Broadcast, TextsWithoutAnEndStayInTheirFields) {
  std::string payload(680, 'x');
  EXPECT_EQ(hand_in(header(), payload, kNode2[0]), 0);
  const Texts lines = log_.texts(kNotable);
  const auto line = std::find_if(lines.begin(), lines.end(), [](const std::string& text) {
    return text.compare(0, 11, "alert_id = ") == 0;
  });
  ASSERT_NE(line, lines.end());
  EXPECT_EQ(line->find(std::string(66, 'x')), std::string::npos);
  EXPECT_LE(std::count(line->begin(), line->end(), 'x'), 65 + 24);
}

TEST_F(Broadcast, MissingArgumentIsAnError) {
  Received received(datagram(header(), alert_payload(alert_of("node2", 7))));
  EXPECT_EQ(recv_send_alert_msg(nullptr, received.buf(), kNode2[0]), -1);
  EXPECT_EQ(recv_send_alert_msg(received.msg(), nullptr, kNode2[0]), -1);
  EXPECT_EQ(recv_send_alert_msg(received.msg(), received.buf(), nullptr), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 3);
  EXPECT_EQ(log_.count(kTrace, "Leave function: recv_send_alert_msg"), 3);
  EXPECT_EQ(held(), Texts{});
  EXPECT_EQ(arrived(), Texts{});
}

// ---- alerts of this server ----------------------------------------------------------------------

TEST_F(Broadcast, LocalAlertIsStoredSignalledAndSentToEveryAddressOfTheOthers) {
  sequencenum = 40;
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(held(), Texts{"node1:9"});
  EXPECT_EQ(read_log_numbers(path(kLog)).current_alert_id, 9U);
  EXPECT_TRUE(event_.raised());
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x1 40", "127.0.2.1 > 127.0.2.2 0x1 40",
                              "127.0.1.1 > 127.0.1.3 0x1 41", "127.0.2.1 > 127.0.2.3 0x1 41"}));
  EXPECT_EQ(sequencenum, 42U);
}

TEST_F(Broadcast, LocalAlertTravelsAsItIs) {
  sequencenum = 40;
  const ALERT_RECORD_INFO record = alert_of("node1", 0x01020304);
  EXPECT_EQ(from_here(record), 0);
  const std::vector<Datagram> taken = wire_.take();
  ASSERT_EQ(taken.size(), 4U);
  EXPECT_EQ(first_difference(taken[1].bytes,
                             datagram({.type = 1, .sequence = 40, .dst = kNode2[1], .reserve2 = 2},
                                      alert_payload(record))),
            "");
}

TEST_F(Broadcast, LocalAlertWaitsForItsAcknowledgements) {
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(requests_waiting(), 2);
  const al_msg* first = send_hist.next->msg;
  ASSERT_NE(first->next, nullptr);
  EXPECT_EQ(first->msg_data, first->next->msg_data);
  EXPECT_NE(first->msg_data, send_hist.next->next->msg->msg_data);
  wire_.take();
  Received answer(datagram({.type = 0x10000001, .sequence = 1, .dst = kOwn[0], .reserve2 = 1}));
  EXPECT_EQ(should_drop_message(answer.msg()), 0);
  re_send_msg();
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x1 2", "127.0.2.1 > 127.0.2.3 0x1 2"}));
}

TEST_F(Broadcast, LocalAlertIsReportedInOneLine) {
  ALERT_RECORD_INFO record = alert_of("node1", 9);
  set_text(record.szAlertMessage, std::string(100, 'a') + "b");
  EXPECT_EQ(from_here(record), 0);
  EXPECT_TRUE(log_.has(kNotable, "recveive alert from local: 2024/01/01 00:00:00.009,disk,1001,1," +
                                     std::string(100, 'a') + " "));
  EXPECT_EQ(log_.count(kTrace, "Server name is: node2"), 2);
  EXPECT_EQ(log_.count(kTrace, "Sequence number is: 1"), 2);
  EXPECT_EQ(log_.count(kTrace, "dst_addr is: 127.0.2.2"), 1);
  EXPECT_EQ(log_.count(kTrace, "device_id is: 2"), 2);
  EXPECT_EQ(log_.count(kTrace, "================== server ip 0 ==============="), 2);
  EXPECT_EQ(log_.count(kTrace, "================== server ip 1 ==============="), 2);
}

TEST_F(Broadcast, PeersAlertIsNotReportedAsLocalNorSentOn) {
  EXPECT_EQ(from_peer(alert_of("node2", 7)), 0);
  EXPECT_FALSE(log_.has_part(kNotable, "alert from local"));
  EXPECT_EQ(arrived(), Texts{"127.0.1.1 > 127.0.1.2 0x10000001 4711"});
}

TEST_F(Broadcast, ServerAloneStoresItsAlertAndSendsNothing) {
  keep_only_the_local_server();
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(held(), Texts{"node1:9"});
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(sequencenum, 1U);
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Broadcast, LocalAlertThatCannotBeStoredIsSentAllTheSame) {
  hold("node1", {1});
  {
    const Fault fault(Site::kWrite, ENOSPC);
    EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  }
  EXPECT_TRUE(log_.has(kMinor, kUnstored));
  EXPECT_FALSE(event_.raised());
  EXPECT_EQ(arrived().size(), 4U);
}

TEST_F(Broadcast, LocalAlertThatIsThereAlreadyIsSentAllTheSame) {
  hold("node1", {9});
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(held(), Texts{"node1:9"});
  EXPECT_EQ(arrived().size(), 4U);
}

TEST_F(Broadcast, PeerThatCannotBeReachedIsNoFailureAndIsTriedAgain) {
  cut_off(server("node2"));
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x1 2", "127.0.2.1 > 127.0.2.3 0x1 2"}));
  EXPECT_TRUE(waits_for(1));
  EXPECT_EQ(sequencenum, 3U);
}

TEST_F(Broadcast, ServerWithoutAnAddressTakesASequenceAndGetsNothing) {
  server("node2")->ip_num = 0;
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.3 0x1 2", "127.0.2.1 > 127.0.2.3 0x1 2"}));
  EXPECT_EQ(requests_waiting(), 1);
  EXPECT_EQ(sequencenum, 3U);
}

TEST_F(Broadcast, SequenceZeroIsLeftOutWhenTheCounterStartsAnew) {
  sequencenum = 0xffffffff;
  EXPECT_EQ(from_here(alert_of("node1", 9)), 0);
  EXPECT_EQ(arrived(),
            (Texts{"127.0.1.1 > 127.0.1.2 0x1 4294967295", "127.0.2.1 > 127.0.2.2 0x1 4294967295",
                   "127.0.1.1 > 127.0.1.3 0x1 1", "127.0.2.1 > 127.0.2.3 0x1 1"}));
  EXPECT_EQ(sequencenum, 2U);
}

// ---- without memory -----------------------------------------------------------------------------

// Whatever was filed before belongs to a sequence that nobody else gets, and can be sent.
TEST_F(Broadcast, LocalAlertSurvivesEachFailedAllocation) {
  hold("node1", {9});
  const std::string payload = alert_payload(alert_of("node1", 9));
  Received alert(datagram(header(0), payload));
  int failed = 0;
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [] { init_send_hist(); },
      [&] {
        if (recv_send_alert_msg(alert.msg(), alert.buf(), "local") == -1) ++failed;
        for (const auto* node = send_hist.next; node != nullptr; node = node->next) {
          EXPECT_LT(node->sequence, static_cast<int>(sequencenum));
          for (const al_msg* msg = node->msg; msg != nullptr; msg = msg->next) {
            EXPECT_EQ(msg->msg_data, node->msg->msg_data);
            EXPECT_EQ(memcmp(static_cast<char*>(msg->msg_data) + 4, payload.data() + 4, 676), 0);
          }
        }
        re_send_msg();
      });
  EXPECT_GT(runs, failed);
  EXPECT_GE(failed, 6);
  EXPECT_GE(log_.count(kFailures, "create new message failed"), 4);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

TEST_F(Broadcast, ServersBeforeTheFailedCopyGetTheAlert) {
  hold("node1", {9});
  wire_.take();
  int copies = 0;
  const Interception second_copy(
      Site::kAllocate, [&](size_t bytes) { return bytes == 680 && ++copies > 1 ? ENOMEM : kPass; });
  EXPECT_EQ(from_here(alert_of("node1", 9)), -1);
  EXPECT_EQ(arrived(), (Texts{"127.0.1.1 > 127.0.1.2 0x1 1", "127.0.2.1 > 127.0.2.2 0x1 1"}));
  EXPECT_EQ(sequencenum, 2U);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

}  // namespace
}  // namespace alt_test
