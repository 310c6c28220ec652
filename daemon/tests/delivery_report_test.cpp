// How far an alert of this server has come.
#include "delivery_report.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>

#include "cluster_fixture.h"

namespace qel::daemon_test {
namespace {

using daemon::PeerBook;
using nlohmann::json;

constexpr uint32_t kBefore = 10;  // ids that an earlier daemon gave

class DeliveryReport : public ClusterTest {
 protected:
  // Sends the alert of this id to the others, as the daemon does.
  static void send_alert(uint32_t id) {
    ALERT_RECORD_INFO record = alert_of("node1", id);
    std::string datagram(AL_MSG_HEADER_SIZE, '\0');
    datagram.append(reinterpret_cast<const char*>(&record), sizeof record);
    al_msg_header head = {};
    head.msg_type = AL_MSGTYPE_SYNC_SEND_ALERT;
    head.data_len = sizeof record;
    al_msg msg = {&head, nullptr, nullptr};
    EXPECT_EQ(0, recv_send_alert_msg(&msg, datagram.data(), kOwn[0]));
  }
  // The sequence under which the alert to this server waits.
  static uint32_t sequence_to(const std::string& server, uint32_t id) {
    for (const auto& alert : PeerBook::outstanding_alerts()) {
      if (alert.server == server && alert.alert_id == id) {
        return static_cast<uint32_t>(alert.sequence);
      }
    }
    ADD_FAILURE() << "nothing is sent to " << server;
    return 0;
  }
  void acknowledge(const char* from, const std::string& server, uint32_t id) {
    receive(from, {.type = 0x10000001, .sequence = sequence_to(server, id)});
  }
  void give_up_all() {
    let_requests_expire();
    tick_with(&drop_now);
  }
  json report(const json& request) const {
    return json::parse(daemon::delivery_report(request, protocol_.peers(), kBefore));
  }
  json report_of(uint32_t id) const { return report({{"request", "delivery"}, {"id", id}}); }
  // "node2 acknowledged, node3 waiting"
  std::string deliveries(uint32_t id) const {
    std::string text;
    const json answer = report_of(id);
    for (const json& peer : answer.at("peers")) {
      text += (text.empty() ? "" : ", ") + peer.at("server").get<std::string>() + " " +
              peer.at("delivery").get<std::string>();
    }
    return text;
  }
};

TEST_F(DeliveryReport, AlertThatWasSentIsWaitedForByEachServer) {
  send_alert(11);
  const json answer = report_of(11);
  EXPECT_EQ("node1", answer.at("server"));
  EXPECT_EQ(11, answer.at("id"));
  EXPECT_EQ("node2 waiting, node3 waiting", deliveries(11));
}

TEST_F(DeliveryReport, ServerThatAnsweredHasAcknowledged) {
  send_alert(11);
  send_alert(12);
  acknowledge(kNode2[0], "node2", 11);
  EXPECT_EQ("node2 acknowledged, node3 waiting", deliveries(11));
  EXPECT_EQ("node2 waiting, node3 waiting", deliveries(12));
  EXPECT_EQ("answering", report_of(11).at("peers")[0].at("state"));
}

TEST_F(DeliveryReport, AlertThatExpiredWasGivenUpAndItsServerIsSilent) {
  send_alert(11);
  acknowledge(kNode3[0], "node3", 11);
  give_up_all();
  EXPECT_EQ("node2 given up, node3 acknowledged", deliveries(11));
  EXPECT_EQ("silent", report_of(11).at("peers")[0].at("state"));
}

TEST_F(DeliveryReport, OnlyTheLatestGivenUpAlertsAreKnown) {
  for (uint32_t id = 11; id <= 11 + PeerBook::kGivenUpIdsKept; ++id) send_alert(id);
  give_up_all();
  EXPECT_EQ("node2 acknowledged, node3 acknowledged", deliveries(11));
  EXPECT_EQ("node2 given up, node3 given up", deliveries(12));
  EXPECT_EQ(PeerBook::kGivenUpIdsKept + 1, protocol_.peers().peer("node2").given_up);
}

TEST_F(DeliveryReport, AlertOfAnEarlierDaemonIsUnknown) {
  EXPECT_EQ("node2 unknown, node3 unknown", deliveries(kBefore));
  EXPECT_EQ("node2 acknowledged, node3 acknowledged", deliveries(kBefore + 1));
}

TEST_F(DeliveryReport, ServerAloneHasNobodyToTell) {
  keep_only_the_local_server();
  EXPECT_EQ(json::array(), report_of(11).at("peers"));
}

TEST_F(DeliveryReport, RequestWithoutAnIdIsRefused) {
  for (const char* request :
       {R"({})", R"({"id":0})", R"({"id":-1})", R"({"id":"7"})", R"({"id":4294967296})",
        R"({"id":null})", R"({"id":1.5})", R"({"id":[1]})"}) {
    const json answer = report(json::parse(request));
    ASSERT_TRUE(answer.contains("error")) << request;
    EXPECT_NE(std::string::npos, answer.at("error").get<std::string>().find("\"id\"")) << request;
  }
}

}  // namespace
}  // namespace qel::daemon_test
