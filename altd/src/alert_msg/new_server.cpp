// I am back: the announcement to servers that did not answer, and its reply.
#include <cstring>

#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kTrace;

namespace {

struct IdList {
  qel::Block<char> text;  // null (logged) without memory
  size_t size = 0;        // with its NUL
};

IdList make_id_list() {
  IdList list = {qel::make_block<char>(AL_ALTID_TEXT_SIZE)};
  if (list.text == nullptr) {
    ALERT_LOG(kFailure, "create message data failed");
  } else {
    list.size = static_cast<size_t>(get_svr_altid_msgdata(list.text.get()));
  }
  return list;
}

void* copy_of(const IdList& list) {
  void* copy = malloc(list.size);
  if (copy != nullptr) memcpy(copy, list.text.get(), list.size);
  return copy;
}

// One announcement to every address of a server; they share one payload. False (logged) without
// memory.
bool announce(const ty_svrlist* server, const IdList& list) {
  void* payload = copy_of(list);
  if (payload == nullptr) {
    ALERT_LOG(kFailure, "create message data failed");
    return false;
  }
  bool made = true;
  for (int i = 0; made && i < server->ip_num; ++i) {
    al_msg* msg = al_msg_new();
    made = msg != nullptr;
    if (!made) break;
    ALERT_LOG(kTrace, "the message type is: %#x", AL_MSGTYPE_SYNC_SEND_NEW_SERVER);
    const ip46_addr& address = server->ip_addr[i];
    qel::address_request(msg, address.ip, address.device_id, AL_MSGTYPE_SYNC_SEND_NEW_SERVER);
    msg->msg_head->data_len = static_cast<uint32_t>(list.size);
    msg->msg_data = payload;
    static_cast<void>(send_request_msg(msg));
  }
  if (!made) ALERT_LOG(kFailure, "create message failed");
  qel::end_request(payload, made);
  return made;
}

// A peer that holds a higher id of this server than any known so far tells that the log was lost.
void adopt_own_id(const al_msg& msg, const char* buf) {
  if (msg.msg_head->data_len == 0 || buf == nullptr) return;
  const int id = get_local_maxid_from_remote(buf + AL_MSG_HEADER_SIZE);
  if (id <= static_cast<int>(max_alertid_localserver)) return;
  max_alertid_localserver = static_cast<uint32_t>(id);
  get_maxalertid_localserver_now = 1;
}

int list_as_new(const ty_svrlist* sender) {
  if (qel::find_server_by_name(new_server_list, sender->svr_name) != nullptr) return 0;
  if (add_to_server_list(&new_server_list, sender) == 0) return 0;
  ALERT_LOG(kFailure, "add server(%s) to new server list failed", sender->svr_name);
  return -1;
}

void reply_with_id_list(const al_msg& request, const char* addr, uint32_t msg_type) {
  const IdList list = make_id_list();
  if (list.text == nullptr) return;
  const qel::Message reply(al_msg_new());
  if (reply == nullptr) {
    ALERT_LOG(kFailure, "create reply message failed");
    return;
  }
  ALERT_LOG(kTrace, "the type of the reply message is: %#x", msg_type);
  qel::address_reply(reply.get(), request, addr, msg_type);
  reply->msg_head->data_len = static_cast<uint32_t>(list.size);
  reply->msg_data = copy_of(list);
  if (reply->msg_data == nullptr) {
    ALERT_LOG(kFailure, "create message date failed");
    return;
  }
  if (send_msg(reply.get()) != 0) ALERT_LOG(kFailure, "send reply server name message failed");
}

void no_longer_silent(const char* addr) {
  ty_svrlist* server = servers_not_reply;
  while (server != nullptr && !qel::owns_address(server, addr)) server = server->next;
  if (server != nullptr) {
    qel::remove_server(&servers_not_reply, server);
  } else {
    ALERT_LOG(qel::kMinor, "addr is not found in the servers_not_reply: %s", addr);
  }
}

}  // namespace

void send_new_server_msg(void) {
  ALERT_TRACE_FUNCTION();
  if (servers_not_reply == nullptr) return;
  const IdList list = make_id_list();
  if (list.text == nullptr) return;
  for (const ty_svrlist* server = servers_not_reply; server != nullptr; server = server->next) {
    if (!qel::is_local(server) && !announce(server, list)) return;
  }
}

int recv_send_new_server_msg(al_msg* msg, const char* buf, const char* addr, uint32_t remsg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return 0;
  }
  const ty_svrlist* sender = qel::find_sender(addr);
  if (sender == nullptr) return 0;
  adopt_own_id(*msg, buf);
  const int result = list_as_new(sender);
  reply_with_id_list(*msg, addr, remsg_type);
  return result;
}

int recv_reply_new_server_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  const bool complete = msg != nullptr && buf != nullptr && addr != nullptr;
  if (complete) {
    no_longer_silent(addr);
    adopt_own_id(*msg, buf);
  } else {
    ALERT_LOG(kFailure, "parameter error");
  }
  if (msg != nullptr) qel::settle_request(msg);
  return complete ? 0 : -1;
}
