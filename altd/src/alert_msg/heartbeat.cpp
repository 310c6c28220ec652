// Are you there?
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kTrace;

namespace {

bool send_heartbeats(const ty_svrlist* server) {
  bool made = true;
  for (int i = 0; made && i < server->ip_num; ++i) {
    al_msg* msg = al_msg_new();
    made = msg != nullptr;
    if (!made) break;
    ALERT_LOG(kTrace, "the message type is: AL_MSGTYPE_SYNC_SEND_SERVER_STATUS, to: %s",
              server->svr_name);
    const ip46_addr& address = server->ip_addr[i];
    qel::address_request(msg, address.ip, address.device_id, AL_MSGTYPE_SYNC_SEND_SERVER_STATUS);
    static_cast<void>(send_request_msg(msg));
  }
  qel::end_request(nullptr, made);
  return made;
}

}  // namespace

void send_request_heartbeat_msg(void) {
  ALERT_TRACE_FUNCTION();
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (qel::is_local(server) || send_heartbeats(server)) continue;
    ALERT_LOG(kFailure, "create message failed");
    return;
  }
}

int recv_send_heartbeat_msg(al_msg* msg, const char* addr, uint32_t remsg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (qel::find_sender(addr) == nullptr) return -1;
  const qel::Message reply(al_msg_new());
  if (reply == nullptr) {
    ALERT_LOG(kFailure, "create reply message failed");
    return -1;
  }
  ALERT_LOG(kTrace, "the type of the reply message is: %#x", remsg_type);
  qel::address_reply(reply.get(), *msg, addr, remsg_type);
  if (send_msg(reply.get()) == 0) return 0;
  ALERT_LOG(kFailure, "send reply server name message failed");
  return -1;
}
