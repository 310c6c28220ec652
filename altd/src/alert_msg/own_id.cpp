// The highest id that any server holds of a local alert, so that ids are never given twice.
#include <cstring>

#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::kTrace;

namespace {

// One question to every address of a server, with one sequence. False (logged) without memory.
bool ask_server(const ty_svrlist* server, const al_sync_data& question) {
  qel::Block<al_sync_data> copy = qel::make_question(question);
  if (copy == nullptr) return false;
  al_sync_data* const shared = copy.release();
  for (int i = 0; i < server->ip_num; ++i) {
    const ip46_addr& address = server->ip_addr[i];
    ALERT_LOG(kTrace, "================== send to server ===============");
    ALERT_LOG(kTrace, "Server name is: %s", server->svr_name);
    ALERT_LOG(kTrace, "server ip is: %s", address.ip);
    ALERT_LOG(kTrace, "send request for the biggest alert id of server %s to server: %s",
              question.sync_svr, server->svr_name);
    if (send_request_alert_id_msg(shared, address.ip, AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID,
                                  address.device_id) < 0) {
      ALERT_LOG(kMinor,
                "send request for the biggest alert id of server %s to server: %sIP: %s failed",
                question.sync_svr, server->svr_name, address.ip);
    }
  }
  qel::end_request(shared);
  return true;
}

void take_reply(const al_sync_data& reply) {
  if (reply.alert_id > max_alertid_localserver) {
    ALERT_LOG(kTrace, "server %s has the newest alert of server %s, max alert id: %d",
              reply.reply_svr, reply.sync_svr, static_cast<int>(reply.alert_id));
    max_alertid_localserver = reply.alert_id;
  }
  ALERT_LOG(kNotable, "get reply from others max alert id2: %d", static_cast<int>(reply.alert_id));
  ALERT_LOG(kTrace, "---------- sync_all_data ------------");
  ALERT_LOG(kTrace, "sync_all_data.alert_id: %d", static_cast<int>(reply.alert_id));
  ALERT_LOG(kTrace, "sync_all_data.sync_svr: %s", reply.sync_svr);
  ALERT_LOG(kTrace, "sync_all_data.reply_svr: %s", reply.reply_svr);
}

}  // namespace

int request_max_alertid_localserver(al_sync_data* syncdata) {
  ALERT_TRACE_FUNCTION();
  if (syncdata == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (!qel::is_local(server) && !ask_server(server, *syncdata)) return -1;
  }
  return 0;
}

int recv_reply_maxalertid_localserver_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (qel::find_sender(addr) == nullptr) return -1;
  const uint32_t length = msg->msg_head->data_len;
  if (length > AL_SYNC_DATA_SIZE) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  al_sync_data reply;
  qel::read_sync_data(buf, length, &reply);
  ALERT_LOG(kNotable, "get reply from others max alert id: %d", static_cast<int>(reply.alert_id));
  if (local_svr == nullptr || strcmp(reply.sync_svr, local_svr->svr_name) != 0) {
    ALERT_LOG(kFailure, "error occured when getting all alert id");
    return -1;
  }
  take_reply(reply);
  qel::settle_request(msg);
  return 0;
}
