#include "status_report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "alert_log.h"
#include "alert_msg.h"
#include "alert_msg/servers.h"
#include "cluster/held_ids.h"
#include "common/paths.h"
#include "intake_line.h"
#include "log_header.h"
#include "unique_fd.h"
#include "version.h"

namespace qel::daemon {

namespace {

using nlohmann::json;

constexpr size_t kHolesShown = 8;  // of each server; the number of missing ids counts all

// The raise time of the record at a line; empty when it cannot be read.
std::string raise_time(int log_fd, int line) {
  ALERT_RECORD_INFO record = {};
  return line >= 0 && read_alert_record(log_fd, line, &record) == 0 ? record.szServerTime : "";
}

std::string newest_raise_time() {
  ALERT_RECORD_INFO record = {};
  return alert_get_last(&record, 1) == 1 ? record.szServerTime : "";
}

json log_status() {
  json status = {{"path", store_path(alt_name_only).text}};
  const auto header = read_log_header();
  const UniqueFd log(open(store_path(alt_name_only).text, O_RDONLY | O_CLOEXEC));
  if (!header || !log) return status;
  status["capacity"] = header->nMaxCount;
  status["count"] = header->nCurCount;
  status["full"] = header->nCurCount >= header->nMaxCount;
  status["current_alert_id"] = header->current_alert_id;
  const bool empty = header->nCurCount == 0;
  status["oldest"] = empty ? "" : raise_time(log.get(), get_nextto_write());
  status["newest"] = empty ? "" : newest_raise_time();
  return status;
}

json intake_status(const IntakeDrain& intake) {
  const Path path = store_path(alt_name_temp);
  struct stat file;
  const int64_t bytes = stat(path.text, &file) == 0 ? file.st_size : 0;
  return {{"path", path.text},
          {"bytes", bytes},
          {"waiting", intake.waiting_bytes() / static_cast<int64_t>(kIntakeLine)},
          {"stored", intake.counters().stored},
          {"set_aside", intake.counters().set_aside}};
}

// Alerts that the server has not acknowledged yet.
uint64_t unacknowledged(const ty_svrlist* server) {
  uint64_t count = 0;
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
    if (node->msg != nullptr && node->msg->msg_head->msg_type == AL_MSGTYPE_SYNC_SEND_ALERT &&
        owns_address(server, node->msg->msg_head->dst_addr)) {
      ++count;
    }
  }
  return count;
}

const char* catch_up_with(const ty_svrlist* server) {
  if (find_server_by_name(new_server_list, server->svr_name) == nullptr) return "";
  const bool first = strcmp(new_server_list->svr_name, server->svr_name) == 0;
  return first && g_sync_step != RESYN_END ? "running" : "waiting";
}

json addresses_status(const ty_svrlist* server, const PeerBook::Peer& peer) {
  json addresses = json::array();
  for (int i = 0; i < server->ip_num; ++i) {
    const ip46_addr& address = server->ip_addr[i];
    const auto heard = peer.last_heard.find(address.ip);
    addresses.push_back({{"ip", address.ip},
                         {"interconnect", address.device_id},
                         {"last_heard", heard == peer.last_heard.end() ? "" : heard->second}});
  }
  return addresses;
}

json peers_status(const PeerBook& book) {
  json peers = json::array();
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (is_local(server)) continue;
    const PeerBook::Peer& peer = book.peer(server->svr_name);
    peers.push_back({{"server", server->svr_name},
                     {"state", book.state(server->svr_name)},
                     {"last_answer", peer.last_answer},
                     {"addresses", addresses_status(server, peer)},
                     {"unacknowledged", unacknowledged(server)},
                     {"given_up", peer.given_up},
                     {"catch_up", catch_up_with(server)}});
  }
  return peers;
}

json held_status() {
  json servers = json::array();
  for (const HeldIds& held : read_held_ids()) {
    json holes = json::array();
    for (size_t i = 1; i < held.runs.size() && holes.size() < kHolesShown; ++i) {
      holes.push_back({held.runs[i - 1].last + 1, held.runs[i].first - 1});
    }
    servers.push_back({{"server", held.server},
                       {"count", held.count},
                       {"lowest", held.lowest()},
                       {"highest", held.highest()},
                       {"missing", held.missing()},
                       {"holes", holes}});
  }
  return servers;
}

const char* step_name(int step) {
  switch (step) {
    case RESYN_START:
    case REQ_NAME:
    case RCV_NAME:
      return "names";
    case REQ_ALTID:
    case RCV_ALTID:
      return "ids";
    case REQ_DATA:
      return "data";
    default:
      return "idle";
  }
}

json catch_up_status(const CatchUp& catch_up) {
  json status = {{"step", step_name(g_sync_step)},
                 {"batches", catch_up.counters().batches},
                 {"finished", catch_up.counters().finished},
                 {"given_up", catch_up.counters().given_up}};
  if (g_sync_step == RESYN_END || new_server_list == nullptr) return status;
  status["peer"] = new_server_list->svr_name;
  if (g_sync_step < REQ_ALTID) return status;
  status["server"] = sync_single_data.sync_svr;
  if (g_sync_step != REQ_DATA) return status;
  status["at"] = sync_single_data.alert_id;
  status["to"] = sync_single_data.max_alert_id;
  return status;
}

json network_status(const StatusSources& sources) {
  const Protocol::Counters& counters = sources.protocol.counters();
  json refused = json::object();
  for (size_t i = 1; i < kRefusalCount; ++i) {
    if (counters.refused[i] != 0 && static_cast<Refusal>(i) != Refusal::kLateReply)
      refused[refusal_name(static_cast<Refusal>(i))] = counters.refused[i];
  }
  return {{"received", counters.received},
          {"stored", sources.protocol.stored()},
          {"refused", refused},
          {"late_replies", counters.refused[static_cast<size_t>(Refusal::kLateReply)]},
          {"kernel_drops", sources.kernel_drops}};
}

}  // namespace

std::string status_report(const StatusSources& sources) {
  json status = {{"server", local_svr != nullptr ? local_svr->svr_name : ""},
                 {"version", kVersion},
                 {"pid", getpid()},
                 {"started", sources.started},
                 {"state", start_write_local_logfile != 0 ? "running" : "waiting for peers"},
                 {"log", log_status()},
                 {"intake", intake_status(sources.intake)},
                 {"peers", peers_status(sources.protocol.peers())},
                 {"held", held_status()},
                 {"catch_up", catch_up_status(sources.protocol.catch_up())},
                 {"network", network_status(sources)}};
  return status.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace qel::daemon
