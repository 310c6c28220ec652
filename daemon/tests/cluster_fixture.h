// The daemon's part in the protocol in the test's own process: a real store, datagrams to loopback
// addresses, and a host whose turns are the test's. The process is the daemon of "node1" in a
// cluster with "node2" and "node3".
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cluster/protocol.h"
#include "log_sync.h"
#include "settings.h"
#include "support/protocol_test.h"
#include "support/tick_clock.h"

namespace qel::daemon_test {

using alt_test::kNode2;
using alt_test::kNode3;
using alt_test::kOwn;
using Texts = std::vector<std::string>;

// A datagram in a receive buffer.
class Arrival {
 public:
  Arrival(std::string sender, const std::string& bytes)
      : sender_(std::move(sender)), buffer_(bytes), size_(bytes.size()) {
    buffer_.resize(AL_MSG_BUFFER_SIZE, '\0');
  }
  daemon::Datagram datagram() { return {buffer_.data(), size_, sender_.c_str()}; }
  const std::string& buffer() const { return buffer_; }

 private:
  std::string sender_;
  std::string buffer_;
  size_t size_;
};

// The daemon around the protocol. Its turns stand among the library's traces.
class Host : public daemon::ProtocolHost {
 public:
  void receive_waiting() override {
    note("host receives");
    if (on_receive) on_receive();
  }
  void check_servers() override { note("host checks the servers"); }
  void drain_intake() override { note("host drains the intake"); }

  std::function<void()> on_receive;

 private:
  static void note(const char* turn) {
    alt_test::LogCapture::instance().add({alt_test::kTrace, turn, ""});
  }
};

// "type sequence" of each request in the history, the type in hexadecimal.
inline Texts outstanding_requests() {
  Texts texts;
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
    char text[64];
    snprintf(text, sizeof text, "0x%x %d", node->msg->msg_head->msg_type, node->sequence);
    texts.emplace_back(text);
  }
  return texts;
}

// Files a request as it stands after it was sent; its sequence.
inline uint32_t ask(uint32_t type,
                    std::initializer_list<const char*> addresses = {kNode2[0], kNode2[1]}) {
  int interconnect = 0;
  for (const char* address : addresses) {
    EXPECT_EQ(0, send_request_server_name_msg(address, type, ++interconnect));
  }
  return sequencenum++;
}

// The alert of this id of another server.
inline ALERT_RECORD_INFO alert_of(const std::string& server, uint32_t id) {
  ALERT_RECORD_INFO alert = alt_test::make_record(id);
  alt_test::set_text(alert.szServer, server);
  return alert;
}

// Time-outs are so long that a tick raises no flag but those that the test raises.
class ClusterTest : public alt_test::ProtocolTest {
 protected:
  ClusterTest() {
    settings_.timing.recheck = 0;
    for (int* setting :
         {&g_resend_timeout, &g_hb_timeout, &g_get_altid_timeout, &g_get_srvname_timeout,
          &g_sendtonewsvr_interval, &g_alert_chksrvlist_interval, &g_alert_cheknewsvr_interval}) {
      *setting = kLong;
    }
    g_alert_getradio_interval = 5;  // the ratio is not read
    g_resync_time_interval = int64_t{100} * kLong * tckconf;
    g_last_resync_time = start_;
    run_through_first_countdowns();
    log_.clear();
  }

  // Datagrams that arrive in one batch.
  void receive_together(std::vector<Arrival> arrivals) {
    std::vector<daemon::Datagram> datagrams;
    for (Arrival& arrival : arrivals) datagrams.push_back(arrival.datagram());
    protocol_.receive(datagrams.data(), datagrams.size());
  }
  void receive(const char* from, const alt_test::Header& header, const std::string& payload = "") {
    receive_together({Arrival(from, alt_test::datagram(header, payload))});
  }

  // A tick in which `ding` raises the flag.
  void tick_with(int* flag) {
    *flag = 1;
    protocol_.tick();
  }
  void let_a_second_pass() { clock_.advance(tckconf); }
  // Every request in the history is then too old.
  void let_requests_expire() {
    clock_.advance((int64_t{kLong} * g_alert_retry_count + 1) * tckconf);
  }
  // The cluster consists of these of its servers from now on.
  void keep_servers(const Texts& names) {
    std::vector<daemon::ServerEntry> servers;
    for (const std::string& name : names) {
      const ty_svrlist* node = server(name);
      servers.push_back({name, {{node->ip_addr[0].ip, 1}, {node->ip_addr[1].ip, 2}}});
    }
    change_servers(servers);
  }
  daemon::MembershipChange change_servers(const std::vector<daemon::ServerEntry>& servers) {
    daemon::MembershipChange change;
    std::string error;
    EXPECT_TRUE(protocol_.change_servers(servers, "node1", &change, &error)) << error;
    return change;
  }
  uint64_t refused(daemon::Refusal refusal) const {
    return protocol_.counters().refused[static_cast<size_t>(refusal)];
  }

  static constexpr int kLong = 900;

  const clock_t start_ = QEL_TIMES(nullptr);
  alt_test::StoppedClock clock_{start_};
  daemon::Settings settings_;
  daemon::LogSync log_sync_{settings_};
  Host host_;
  daemon::Protocol protocol_{settings_, &log_sync_, &host_};

 private:
  // The first of some countdowns are shorter than any setting makes them, and belong to the
  // process.
  static void run_through_first_countdowns() {
    static constexpr int kFirstLongest = 300;
    static bool done = false;
    for (int i = 0; !done && i < kFirstLongest; ++i) ding();
    done = true;
    for (int* flag : {&write_alert_now, &resend_now, &drop_now, &check_svrlist_now,
                      &start_heartbeat_now, &start_send_new_server_now, &check_newsvr_now}) {
      *flag = 0;
    }
  }
};

}  // namespace qel::daemon_test
