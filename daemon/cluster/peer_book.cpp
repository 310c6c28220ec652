#include "cluster/peer_book.h"

#include "alert_log.h"
#include "alert_msg/servers.h"

namespace qel::daemon {

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
    if (server != nullptr) alerts.push_back({node->sequence, server->svr_name});
  }
  return alerts;
}

void PeerBook::count_given_up(const std::vector<Outstanding>& before) {
  for (const Outstanding& alert : before) {
    if (find_seq(alert.sequence) != 0) ++peers_[alert.server].given_up;
  }
}

const PeerBook::Peer& PeerBook::peer(const std::string& server) const {
  static const Peer kUnheard;
  const auto found = peers_.find(server);
  return found == peers_.end() ? kUnheard : found->second;
}

}  // namespace qel::daemon
