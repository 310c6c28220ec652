#include "cluster/peer_book.h"

#include <cstddef>
#include <cstring>

#include "alert_log.h"
#include "alert_msg/servers.h"

namespace qel::daemon {

namespace {

// 0 for a message without a whole record.
uint32_t alert_id_of(const al_msg& msg) {
  if (msg.msg_data == nullptr || msg.msg_head->data_len != sizeof(ALERT_RECORD_INFO)) return 0;
  uint32_t id;
  memcpy(&id, static_cast<const char*>(msg.msg_data) + offsetof(ALERT_RECORD_INFO, alert_id),
         sizeof id);
  return id;
}

void note_given_up(PeerBook::Peer* peer, uint32_t alert_id) {
  ++peer->given_up;
  if (alert_id == 0) return;
  peer->given_up_ids.push_back(alert_id);
  if (peer->given_up_ids.size() > PeerBook::kGivenUpIdsKept) peer->given_up_ids.pop_front();
}

}  // namespace

void PeerBook::heard(const char* address) {
  const ty_svrlist* server = find_server_by_address(server_list_head, address);
  if (server == nullptr) return;
  char now[ALERT_TIME_SIZE];
  get_current_localtime(now, sizeof now);
  Peer& peer = peers_[server->svr_name];
  peer.last_answer = now;
  peer.last_heard[address] = now;
  peer.best_address = address;
}

std::vector<PeerBook::Outstanding> PeerBook::outstanding_alerts() {
  std::vector<Outstanding> alerts;
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
    if (node->msg == nullptr || node->msg->msg_head->msg_type != AL_MSGTYPE_SYNC_SEND_ALERT) {
      continue;
    }
    const ty_svrlist* server =
        find_server_by_address(server_list_head, node->msg->msg_head->dst_addr);
    if (server != nullptr)
      alerts.push_back({node->sequence, server->svr_name, alert_id_of(*node->msg)});
  }
  return alerts;
}

void PeerBook::count_given_up(const std::vector<Outstanding>& before) {
  for (const Outstanding& alert : before) {
    if (find_seq(alert.sequence) != 0) note_given_up(&peers_[alert.server], alert.alert_id);
  }
}

const char* PeerBook::state(const std::string& server) const {
  if (find_server_by_name(servers_not_reply, server.c_str()) != nullptr) return "silent";
  return peer(server).last_answer.empty() ? "not heard yet" : "answering";
}

const PeerBook::Peer& PeerBook::peer(const std::string& server) const {
  static const Peer kUnheard;
  const auto found = peers_.find(server);
  return found == peers_.end() ? kUnheard : found->second;
}

}  // namespace qel::daemon
