// What is noted of each other server.
#include "cluster/peer_book.h"

#include <gtest/gtest.h>

#include "alert_types.h"
#include "cluster_fixture.h"

namespace qel::daemon_test {
namespace {

using daemon::PeerBook;

class PeerBookTest : public alt_test::ProtocolTest {
 protected:
  // Files an alert to the server with these addresses.
  static uint32_t send_alert_to(const char* const (&addresses)[2]) {
    return ask(0x1, {addresses[0], addresses[1]});
  }
  static void settle(uint32_t sequence) {
    al_msg_header head = {};
    head.sequence = sequence;
    al_msg acknowledgement = {&head, nullptr, nullptr};
    del_from_send_hist(&acknowledgement);
  }
  static Texts texts_of(const std::vector<PeerBook::Outstanding>& alerts) {
    Texts texts;
    for (const auto& alert : alerts) {
      texts.push_back(alert.server + " " + std::to_string(alert.sequence));
    }
    return texts;
  }

  PeerBook book_;
};

// ---- who was heard ------------------------------------------------------------------------------

TEST_F(PeerBookTest, ServerThatWasNotHeardHasAnEmptyEntry) {
  book_.heard(kNode3[0]);
  for (const char* name : {"node2", "unknown", ""}) {
    EXPECT_EQ("", book_.peer(name).last_answer) << name;
    EXPECT_EQ("", book_.peer(name).best_address) << name;
    EXPECT_TRUE(book_.peer(name).last_heard.empty()) << name;
    EXPECT_EQ(0U, book_.peer(name).given_up) << name;
  }
}

TEST_F(PeerBookTest, ServerThatWasHeardHasTimeAndAddress) {
  book_.heard(kNode2[0]);
  const PeerBook::Peer& peer = book_.peer("node2");
  EXPECT_EQ(ALERT_TIME_SIZE - 1U, peer.last_answer.size());
  EXPECT_EQ(kNode2[0], peer.best_address);
  ASSERT_EQ(1U, peer.last_heard.size());
  EXPECT_EQ(peer.last_answer, peer.last_heard.at(kNode2[0]));
}

TEST_F(PeerBookTest, AddressThatWasHeardLastIsTheBest) {
  book_.heard(kNode2[0]);
  book_.heard(kNode2[1]);
  EXPECT_EQ(kNode2[1], book_.peer("node2").best_address);
  EXPECT_EQ(2U, book_.peer("node2").last_heard.size());
  book_.heard(kNode2[0]);
  EXPECT_EQ(kNode2[0], book_.peer("node2").best_address);
  EXPECT_EQ(2U, book_.peer("node2").last_heard.size());
}

TEST_F(PeerBookTest, ServersAreNotedApart) {
  book_.heard(kNode2[0]);
  book_.heard(kNode3[1]);
  EXPECT_EQ(kNode2[0], book_.peer("node2").best_address);
  EXPECT_EQ(kNode3[1], book_.peer("node3").best_address);
}

TEST_F(PeerBookTest, UnknownAddressIsNotNoted) {
  book_.heard(alt_test::kStranger);
  EXPECT_EQ("", book_.peer("").last_answer);
  for (const char* name : {"node1", "node2", "node3"}) {
    EXPECT_EQ("", book_.peer(name).last_answer) << name;
  }
}

TEST_F(PeerBookTest, AddressThatMovedToAnotherServerIsNotedThere) {
  book_.heard(kNode2[0]);
  std::swap(server("node2")->ip_addr[0], server("node3")->ip_addr[0]);
  book_.heard(kNode2[0]);
  EXPECT_EQ(kNode2[0], book_.peer("node3").best_address);
}

// ---- alerts that were given up ------------------------------------------------------------------

TEST_F(PeerBookTest, OutstandingAlertsAreListedWithTheirServers) {
  const uint32_t first = send_alert_to(kNode2);
  ask(0x9);
  const uint32_t second = send_alert_to(kNode3);
  ask(0x3);
  EXPECT_EQ((Texts{"node2 " + std::to_string(first), "node3 " + std::to_string(second)}),
            texts_of(PeerBook::outstanding_alerts()));
}

TEST_F(PeerBookTest, AlertToAnAddressThatHasLeftIsNotListed) {
  ask(0x1, {alt_test::kStranger});
  EXPECT_EQ(Texts{}, texts_of(PeerBook::outstanding_alerts()));
}

TEST_F(PeerBookTest, AlertsThatAreGoneAfterwardsCountAsGivenUp) {
  const uint32_t dropped = send_alert_to(kNode2);
  send_alert_to(kNode2);
  const uint32_t other = send_alert_to(kNode3);
  const auto before = PeerBook::outstanding_alerts();
  settle(dropped);
  settle(other);
  book_.count_given_up(before);
  EXPECT_EQ(1U, book_.peer("node2").given_up);
  EXPECT_EQ(1U, book_.peer("node3").given_up);
  EXPECT_EQ("", book_.peer("node2").last_answer);
}

TEST_F(PeerBookTest, AlertsThatAreStillOutstandingDoNotCount) {
  send_alert_to(kNode2);
  book_.count_given_up(PeerBook::outstanding_alerts());
  EXPECT_EQ(0U, book_.peer("node2").given_up);
}

TEST_F(PeerBookTest, GivenUpAlertsAddUp) {
  for (int i = 0; i < 3; ++i) {
    const uint32_t sequence = send_alert_to(kNode2);
    const auto before = PeerBook::outstanding_alerts();
    settle(sequence);
    book_.count_given_up(before);
  }
  EXPECT_EQ(3U, book_.peer("node2").given_up);
}

// ---- through the protocol -----------------------------------------------------------------------

class GivenUp : public ClusterTest {};

TEST_F(GivenUp, AlertThatExpiresIsCountedForItsServerAlone) {
  ask(0x1, {kNode2[0], kNode2[1]});
  ask(0x9, {kNode3[0]});
  let_requests_expire();
  ask(0x1, {kNode3[0], kNode3[1]});
  tick_with(&drop_now);
  EXPECT_EQ(1U, protocol_.peers().peer("node2").given_up);
  EXPECT_EQ(0U, protocol_.peers().peer("node3").given_up);
}

TEST_F(GivenUp, AlertThatIsAcknowledgedIsNotCounted) {
  const uint32_t sequence = ask(0x1, {kNode2[0], kNode2[1]});
  let_requests_expire();
  receive(kNode2[0], {.type = 0x10000001, .sequence = sequence});
  tick_with(&drop_now);
  EXPECT_EQ(0U, protocol_.peers().peer("node2").given_up);
}

}  // namespace
}  // namespace qel::daemon_test
