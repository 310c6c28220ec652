// What the daemon tells of the cluster.
#include "status_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "catch_up_fixture.h"

namespace qel::daemon_test {
namespace {

using nlohmann::json;

class StatusReport : public CatchUpTest {
 protected:
  std::string report() {
    return daemon::status_report({started_, intake_, protocol_, kernel_drops_});
  }
  json status(const char* member) { return json::parse(report()).at(member); }
  // The entry of a server under "peers".
  json peer(const std::string& server) {
    for (const json& each : status("peers")) {
      if (each.at("server") == server) return each;
    }
    throw std::runtime_error("no such peer: " + server);
  }
  void hold_all(const std::string& server, const std::vector<uint32_t>& ids) {
    for (const uint32_t id : ids) hold(server, {id});
  }

  uint64_t kernel_drops_ = 0;

 private:
  std::string started_ = "2024/01/01 00:00:00.000";
  daemon::IntakeDrain intake_{settings_, &log_sync_};
};

// ---- peers --------------------------------------------------------------------------------------

TEST_F(StatusReport, PeersAreTheOtherServersWithTheirAddresses) {
  const json peers = status("peers");
  ASSERT_EQ(2U, peers.size());
  EXPECT_EQ("node2", peers[0]["server"]);
  EXPECT_EQ("node3", peers[1]["server"]);
  EXPECT_EQ(json::parse(R"([{"ip": "127.0.1.3", "interconnect": 1, "last_heard": ""},
                            {"ip": "127.0.2.3", "interconnect": 2, "last_heard": ""}])"),
            peers[1]["addresses"]);
}

TEST_F(StatusReport, ServerAloneHasNoPeers) {
  keep_only_the_local_server();
  EXPECT_EQ(json::array(), status("peers"));
}

TEST_F(StatusReport, PeerThatWasNotHeardSaysSo) {
  EXPECT_EQ("not heard yet", peer("node2")["state"]);
  EXPECT_EQ("", peer("node2")["last_answer"]);
  EXPECT_EQ(0, peer("node2")["unacknowledged"]);
  EXPECT_EQ(0, peer("node2")["given_up"]);
  EXPECT_EQ("", peer("node2")["catch_up"]);
}

TEST_F(StatusReport, PeerThatWasHeardIsAnsweringOnThatPath) {
  receive(kNode2[1], {.type = 0x9, .sequence = 1});
  const json heard = peer("node2");
  EXPECT_EQ("answering", heard["state"]);
  EXPECT_NE("", heard["last_answer"]);
  EXPECT_EQ("", heard["addresses"][0]["last_heard"]);
  EXPECT_EQ(heard["last_answer"], heard["addresses"][1]["last_heard"]);
  EXPECT_EQ("not heard yet", peer("node3")["state"]);
}

TEST_F(StatusReport, AlertsWithoutAnAnswerAreCountedForTheirServer) {
  ask(0x1);
  ask(0x1);
  ask(0x9);
  ask(0x1, {kNode3[0], kNode3[1]});
  EXPECT_EQ(2, peer("node2")["unacknowledged"]);
  EXPECT_EQ(1, peer("node3")["unacknowledged"]);
  receive(kNode2[0], {.type = 0x10000001, .sequence = 1});
  EXPECT_EQ(1, peer("node2")["unacknowledged"]);
}

TEST_F(StatusReport, PeerThatLetAnAlertExpireIsSilentUntilItAnswersTheAnnouncement) {
  receive(kNode2[0], {.type = 0x9, .sequence = 1});
  ask(0x1);
  let_requests_expire();
  tick_with(&drop_now);
  EXPECT_EQ("silent", peer("node2")["state"]);
  EXPECT_EQ(1, peer("node2")["given_up"]);
  EXPECT_EQ(0, peer("node2")["unacknowledged"]);
  EXPECT_EQ(0, peer("node3")["given_up"]);
  tick_with(&start_send_new_server_now);
  receive(kNode2[0], {.type = 0x1000000a, .sequence = sequencenum - 1});
  EXPECT_EQ("answering", peer("node2")["state"]);
  EXPECT_EQ(1, peer("node2")["given_up"]);
}

TEST_F(StatusReport, PeersOfACatchUpAreRunningAndWaiting) {
  start();
  EXPECT_EQ("waiting", peer("node2")["catch_up"]);
  EXPECT_EQ("waiting", peer("node3")["catch_up"]);
  check();
  EXPECT_EQ("running", peer("node2")["catch_up"]);
  EXPECT_EQ("waiting", peer("node3")["catch_up"]);
}

// ---- held ---------------------------------------------------------------------------------------

TEST_F(StatusReport, NothingIsHeldOfAnEmptyLog) { EXPECT_EQ(json::array(), status("held")); }

TEST_F(StatusReport, HeldAlertsAreToldByServerWithTheirHoles) {
  hold("node3", {1, 2, 5, 9});
  hold("node1", {7});
  EXPECT_EQ(json::parse(R"([
      {"server": "node1", "count": 1, "lowest": 7, "highest": 7, "missing": 0, "holes": []},
      {"server": "node3", "count": 4, "lowest": 1, "highest": 9, "missing": 5,
       "holes": [[3, 4], [6, 8]]}])"),
            status("held"));
}

TEST_F(StatusReport, FirstEightHolesAreToldAndAllAreCounted) {
  make_log(20);
  hold_all("node3", {1, 3, 5, 7, 9, 11, 13, 15, 17, 19});
  const json held = status("held")[0];
  EXPECT_EQ(9, held["missing"]);
  ASSERT_EQ(8U, held["holes"].size());
  EXPECT_EQ(json::parse("[2, 2]"), held["holes"][0]);
  EXPECT_EQ(json::parse("[16, 16]"), held["holes"][7]);
}

TEST_F(StatusReport, StaysOneLineOfJsonWhateverBytesAnAlertHolds) {
  hold("no\xff\"\n", {1});
  const std::string line = report();
  EXPECT_EQ(line.size() - 1, line.find('\n'));
  EXPECT_EQ(1U, json::parse(line)["held"].size());
}

// ---- catch-up -----------------------------------------------------------------------------------

TEST_F(StatusReport, CatchUpIsIdleBetweenTheRuns) {
  start();
  EXPECT_EQ(json::parse(R"({"step": "idle", "batches": 0, "finished": 0, "given_up": 0})"),
            status("catch_up"));
}

TEST_F(StatusReport, EachStepOfACatchUpTellsWhatItIsAbout) {
  lead_to_names();
  EXPECT_EQ(json::parse(R"({"step": "names", "peer": "node2", "batches": 0, "finished": 0,
                            "given_up": 0})"),
            status("catch_up"));
  names_come({"node3"});
  EXPECT_EQ("names", status("catch_up")["step"]);
  names_are_over();
  EXPECT_EQ(json::parse(R"({"step": "ids", "peer": "node2", "server": "node3", "batches": 0,
                            "finished": 0, "given_up": 0})"),
            status("catch_up"));
  id_comes("node3", 9);
  EXPECT_EQ("ids", status("catch_up")["step"]);
  ids_are_over();
  EXPECT_EQ(json::parse(R"({"step": "data", "peer": "node2", "server": "node3", "at": 1, "to": 9,
                            "batches": 1, "finished": 0, "given_up": 0})"),
            status("catch_up"));
  alerts_come("node3", {1, 2, 3, 4});
  EXPECT_EQ(5, status("catch_up")["at"]);
}

TEST_F(StatusReport, EndedCatchUpsAreCounted) {
  lead_to_data("node3", 4);
  alerts_come("node3", {1, 2, 3, 4});
  EXPECT_EQ(1, status("catch_up")["finished"]);
  names_are_over();
  EXPECT_EQ(json::parse(R"({"step": "idle", "batches": 1, "finished": 1, "given_up": 1})"),
            status("catch_up"));
}

// ---- network ------------------------------------------------------------------------------------

TEST_F(StatusReport, NetworkIsQuietAtFirst) {
  EXPECT_EQ(json::parse(R"({"received": {}, "stored": 0, "refused": {}, "late_replies": 0,
                            "kernel_drops": 0})"),
            status("network"));
}

TEST_F(StatusReport, NetworkTellsMessagesAndRefusalsByTheirNames) {
  kernel_drops_ = 17;
  receive(kNode2[0], {.type = 0x9, .sequence = 1});
  receive(kNode2[0], {.type = 0x1, .sequence = 2}, alt_test::alert_payload(alert_of("node2", 7)));
  receive(alt_test::kStranger, {.type = 0x9, .sequence = 1});
  receive(alt_test::kStranger, {.type = 0x9, .sequence = 1});
  receive(kNode2[0], {.type = 0x1, .sequence = 0}, std::string(680, '\0'));
  EXPECT_EQ(json::parse(R"({"received": {"heartbeat": 1, "alert": 1}, "stored": 1,
                            "refused": {"unknown sender": 2, "local alert": 1},
                            "late_replies": 0, "kernel_drops": 17})"),
            status("network"));
}

TEST_F(StatusReport, LateRepliesAreToldApartFromWhatIsRefused) {
  const uint32_t sequence = ask(0x1);
  receive(kNode2[0], {.type = 0x10000001, .sequence = sequence});
  receive(kNode2[1], {.type = 0x10000001, .sequence = sequence});
  EXPECT_EQ(json::parse(R"({"received": {"alert acknowledged": 1}, "stored": 0, "refused": {},
                            "late_replies": 1, "kernel_drops": 0})"),
            status("network"));
}

// ---- state --------------------------------------------------------------------------------------

TEST_F(StatusReport, StateTellsWhetherLocalAlertsAreStored) {
  EXPECT_EQ("waiting for peers", status("state"));
  start();
  tick_with(&get_maxalertid_localserver_now);
  EXPECT_EQ("running", status("state"));
}

}  // namespace
}  // namespace qel::daemon_test
