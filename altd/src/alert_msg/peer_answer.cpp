// Answers to the questions of a peer. Each reply is sent once: when it is lost, the peer asks
// again.
#include <algorithm>
#include <cstring>

#include "alert_log.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kNotable;
using qel::kTrace;

namespace {

// A reply with a zeroed payload of `size` bytes; null (logged) without memory.
qel::Message make_reply(const al_msg& request, const char* addr, uint32_t msg_type, size_t size) {
  qel::Message reply(al_msg_new());
  if (reply == nullptr) {
    ALERT_LOG(kFailure, "create reply message failed");
    return nullptr;
  }
  qel::address_reply(reply.get(), request, addr, msg_type);
  reply->msg_head->data_len = static_cast<uint32_t>(size);
  reply->msg_data = calloc(1, size);
  if (reply->msg_data == nullptr) {
    ALERT_LOG(kFailure, "malloc failed.");
    return nullptr;
  }
  return reply;
}

int send_reply(const qel::Message& reply, const char* failure) {
  if (send_msg(reply.get()) == 0) return 0;
  ALERT_LOG(kFailure, "%s", failure);
  return -1;
}

int answer_names(const al_msg& request, const char* addr, uint32_t msg_type) {
  memset(local_svrname_list, 0, sizeof local_svrname_list);
  const int listed = get_server_name(local_svrname_list);
  if (listed < 0) {
    ALERT_LOG(kFailure, "get server name in the alert log file failed");
    return -1;
  }
  if (listed > 0) ALERT_LOG(kNotable, "there is no alert log now");
  const int count = qel::count_names(local_svrname_list);
  ALERT_LOG(kTrace, "the server number in local alert file is: %d", count);
  const size_t names = static_cast<size_t>(count) * ALERT_NAME_SIZE;
  const qel::Message reply = make_reply(request, addr, msg_type, names + 1);
  if (reply == nullptr) return -1;
  memcpy(reply->msg_data, local_svrname_list, names);
  return send_reply(reply, "send reply server name message failed");
}

// Who asks for names is catching up itself, and may hold alerts that this server has missed.
void synchronise_in_turn(const ty_svrlist* peer) {
  if (check_server_in_list(new_server_list, peer) == 1) {
    ALERT_LOG(kTrace, "The server(%s) has been already added to new server list", peer->svr_name);
  } else if (add_to_server_list(&new_server_list, peer) < 0) {
    ALERT_LOG(kFailure, "add server(%s) to new server list failed", peer->svr_name);
  }
}

// The sync record of a request, whose payload may be shorter. False (logged) when it is longer.
bool read_question(const al_msg& request, const char* buf, al_sync_data* question) {
  const uint32_t length = request.msg_head->data_len;
  if (length > sizeof *question) {
    ALERT_LOG(kFailure, "parameter error");
    return false;
  }
  qel::read_sync_data(buf, length, question);
  return true;
}

int answer_id(const al_msg& request, al_sync_data* data, const char* addr, uint32_t msg_type) {
  ALERT_LOG(kTrace, "the server name of the alert log is: %s", data->sync_svr);
  const int found = get_alert_id(data->sync_svr, data->alert_id, &data->alert_id, 0);
  if (found < 0) {
    ALERT_LOG(kFailure, "get alert id of server: %s failed", data->sync_svr);
    return -1;
  }
  if (found > 0) ALERT_LOG(kNotable, "there is no alert log of server %s now", data->sync_svr);
  memset(data->reply_svr, 0, sizeof data->reply_svr);
  if (local_svr != nullptr) qel::copy_name(data->reply_svr, local_svr->svr_name);
  ALERT_LOG(kTrace, "-------------- get_alert_id() OK -------------");
  ALERT_LOG(kTrace, "alert id: %d", static_cast<int>(data->alert_id));
  ALERT_LOG(kTrace, "sync server name: %s", data->sync_svr);
  ALERT_LOG(kTrace, "reply server name: %s", data->reply_svr);
  const qel::Message reply = make_reply(request, addr, msg_type, sizeof *data);
  if (reply == nullptr) return -1;
  memcpy(reply->msg_data, data, sizeof *data);
  return send_reply(reply, "send reply alert id message failed");
}

void log_delivery(const al_sync_data& question, const char* slots, int count) {
  ALERT_LOG(kTrace, "-------------- get_alert_log() OK -------------");
  ALERT_LOG(kTrace, "server name: %s", question.sync_svr);
  ALERT_LOG(kTrace, "alert num: %d", count);
  for (int i = 0; i < count; ++i) {
    ALERT_RECORD_INFO record;
    memcpy(&record, slots + ptrdiff_t{AL_DATA_SLOT_SIZE} * i, sizeof record);
    ALERT_LOG(kTrace, "alert-- %d", i);
    ALERT_LOG(kTrace, "alert id: %d", static_cast<int>(record.alert_id));
    ALERT_LOG(kTrace, "alert sv: %.*s", ALERT_NAME_SIZE, record.szServer);
    ALERT_LOG(kTrace, "alert msg: %.*s", ALERT_MESSAGE_SIZE, record.szAlertMessage);
  }
}

int answer_data(const al_msg& request, const al_sync_data& question, const char* addr,
                uint32_t msg_type) {
  ALERT_LOG(kTrace, "-------------- al_sync_data -------------");
  ALERT_LOG(kTrace, "alert_id: %d", static_cast<int>(question.alert_id));
  ALERT_LOG(kTrace, "sync_svr: %s", question.sync_svr);
  ALERT_LOG(kTrace, "reply_svr: %s", question.reply_svr);
  ALERT_LOG(kTrace, "the server name of the alert log is: %s", question.sync_svr);
  char slots[AL_DATA_REPLY_SIZE] = {};
  int count = AL_DATA_SLOTS;
  const int found = get_alert_log(question.sync_svr, question.alert_id, &count, slots);
  if (found < 0) {
    ALERT_LOG(kFailure, "get alert log of server(%s) failed", question.sync_svr);
    return -1;
  }
  if (found > 0) {
    ALERT_LOG(kNotable, "there is no alert log of server(%s) now", question.sync_svr);
  }
  log_delivery(question, slots, count);
  const qel::Message reply = make_reply(request, addr, msg_type, sizeof slots);
  if (reply == nullptr) return -1;
  reply->msg_head->reserve1 = static_cast<uint32_t>(count);
  memcpy(reply->msg_data, slots, sizeof slots);
  return send_reply(reply, "send reply all alert id message failed");
}

}  // namespace

int recv_request_server_name_msg(al_msg* msg, const char* addr, uint32_t remsg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const ty_svrlist* sender = qel::find_sender(addr);
  if (sender == nullptr) return -1;
  const int result = answer_names(*msg, addr, remsg_type);
  synchronise_in_turn(sender);
  return result;
}

int recv_request_alert_id_msg(al_msg* msg, const char* buf, const char* addr, uint32_t remsg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  al_sync_data question;
  if (!read_question(*msg, buf, &question)) return -1;
  return answer_id(*msg, &question, addr, remsg_type);
}

int recv_request_data_msg(al_msg* msg, const char* buf, const char* addr, uint32_t remsg_type) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  al_sync_data question;
  if (!read_question(*msg, buf, &question)) return -1;
  return answer_data(*msg, question, addr, remsg_type);
}
