#include "node.h"

#include <fcntl.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "alert_log.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "cluster/held_ids.h"
#include "cluster/membership.h"
#include "cluster/protocol.h"
#include "cluster/server_file.h"
#include "common/paths.h"
#include "index_check.h"
#include "instance.h"
#include "intake_drain.h"
#include "log_header.h"
#include "log_sync.h"
#include "recovery.h"
#include "settings.h"
#include "unique_fd.h"

namespace qel::simulation {

namespace {

constexpr char kStoreLock[] = "qelalertd.lock";

template <size_t N>
void set_text(char (&field)[N], const char* text) {
  snprintf(field, N, "%s", text);
}

std::string held_text() {
  std::string text;
  for (const daemon::HeldIds& ids : daemon::read_held_ids()) {
    text += ids.server + ":";
    for (const daemon::HeldIds::Run& run : ids.runs) {
      text += std::to_string(run.first) + "-" + std::to_string(run.last) + ",";
    }
    text += " ";
  }
  return text;
}

// Receive buffers as the daemon's sockets have them: zero behind the datagram.
class Buffers {
 public:
  // A copy of the datagram that the next one in the same place overwrites.
  daemon::Datagram fill(size_t place, const Incoming& incoming) {
    while (buffers_.size() <= place) buffers_.emplace_back(AL_MSG_BUFFER_SIZE, '\0');
    std::string& buffer = buffers_[place];
    buffer.assign(AL_MSG_BUFFER_SIZE, '\0');
    incoming.bytes.copy(buffer.data(), buffer.size());
    return {buffer.data(), incoming.bytes.size(), incoming.sender.c_str()};
  }

 private:
  std::vector<std::string> buffers_;
};

class DaemonNode : public Node, private daemon::ProtocolHost {
 public:
  explicit DaemonNode(NodeLoop* loop) : loop_(loop) {}
  ~DaemonNode() override {
    init_send_hist();
    daemon::release_servers();
  }

  bool start(std::string* error) override {
    return daemon::load_configuration(&settings_, error) &&
           store_lock_.take(store_path(kStoreLock).text, error) && join_cluster(error) &&
           open_store(error);
  }

  void receive(const std::vector<Incoming>& datagrams) override {
    std::vector<daemon::Datagram> batch;
    for (const Incoming& incoming : datagrams) {
      batch.push_back(buffers_.fill(batch.size(), incoming));
    }
    protocol_.receive(batch.data(), batch.size());
  }

  void tick() override { protocol_.tick(); }

  bool drain_round() override {
    return start_write_local_logfile != 0 && intake_.round() == daemon::IntakeDrain::Outcome::kMore;
  }

  void stop() override { store_lock_.end_clean(); }

  NodeStatus status() const override {
    NodeStatus status;
    status.sync_step = g_sync_step;
    status.may_write = start_write_local_logfile != 0;
    status.highest_id = daemon::current_alert_id();
    status.intake_empty = intake_.waiting_bytes() == 0;
    status.held = held_text();
    return status;
  }

  bool rebuild_indexes() override { return recreate_index_files() == 0; }

 private:
  bool join_cluster(std::string* error) {
    std::vector<daemon::ServerEntry> servers;
    daemon::MembershipChange change;
    std::string name;
    if (!daemon::local_server_name(&name, error) || !daemon::read_servers(&servers, error) ||
        !daemon::install_servers(servers, name, &change, error)) {
      return false;
    }
    daemon::Protocol::prepare();
    return true;
  }

  // The order of the daemon's own start.
  bool open_store(std::string* error) {
    const bool unclean = store_lock_.found_unclean();
    if (unclean) daemon::mend_files();
    if (check_file_size() < 0 && check_file_size() < 0) {
      *error = "the alert log cannot be opened";
      return false;
    }
    if (!unclean) {
      if (!daemon::mend_indexes()) log_sync_.indexes().doubt();
    } else if (daemon::complete_interrupted_store() != 0) {
      log_sync_.indexes().doubt();
    }
    const UniqueFd intake(open_file(alt_name_temp, O_RDWR));
    if (!intake) *error = "the intake cannot be opened";
    protocol_.start();
    return static_cast<bool>(intake);
  }

  void receive_waiting() override {
    const std::vector<Incoming> waiting = loop_->take_waiting();
    if (!waiting.empty()) receive(waiting);
  }
  void check_servers() override {}
  void drain_intake() override {
    if (intake_.waiting_bytes() > 0) loop_->drain_soon();
  }

  NodeLoop* loop_;
  daemon::Settings settings_;
  daemon::Instance store_lock_;
  daemon::LogSync log_sync_{settings_};
  daemon::IntakeDrain intake_{settings_, &log_sync_};
  daemon::Protocol protocol_{settings_, &log_sync_, this};
  Buffers buffers_;
};

}  // namespace

Node* qel_make_node(NodeLoop* loop) { return new DaemonNode(loop); }

int qel_raise_alert(const char* server, const char* time, const char* message) {
  if (alert_log_lib_init(nullptr) != 0) return -1;
  ALERT_RECORD_INFO alert = {};
  set_text(alert.szEventID, "1");
  set_text(alert.szLevel, "2");
  set_text(alert.szModType, "simulation");
  set_text(alert.szServer, server);
  set_text(alert.szServerTime, time);
  set_text(alert.szAlertMessage, message);
  const int result = alert_log_lib_write(&alert);
  alert_log_lib_term();
  return result;
}

}  // namespace qel::simulation
