// Catching up with a peer, the second phase of each name: its highest alert id there.
#include <cstring>

#include "alert_config.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::kTrace;

namespace {

// Sends a question to every address of a server with one sequence; the number that was accepted.
int ask_highest_id(const ty_svrlist* server, al_sync_data* question) {
  int sent = 0;
  for (int i = 0; i < server->ip_num; ++i) {
    const ip46_addr& address = server->ip_addr[i];
    ALERT_LOG(kTrace, "================== send to server ===============");
    ALERT_LOG(kTrace, "Server name is: %s", server->svr_name);
    ALERT_LOG(kTrace, "server ip is: %s", address.ip);
    ALERT_LOG(kTrace, "send request for the biggest alert id of server(%s) to server(%s)",
              question->sync_svr, server->svr_name);
    if (send_request_alert_id_msg(question, address.ip, AL_MSGTYPE_SYNC_REQUEST_ALERT_ID,
                                  address.device_id) >= 0) {
      ++sent;
    } else {
      ALERT_LOG(kMinor,
                "send request for the biggest alert id of server(%s) to server(%s)IP(%s) failed",
                question->sync_svr, server->svr_name, address.ip);
    }
  }
  qel::end_request(question);
  return sent;
}

void receive_id(const al_sync_data& reply, const char* addr) {
  if (reply.alert_id > sync_single_data.alert_id) {
    ALERT_LOG(kNotable, "server(%s) has the newest alert of server(%s), max alert id: %d",
              reply.reply_svr, reply.sync_svr, static_cast<int>(reply.alert_id));
    sync_single_data.alert_id = reply.alert_id;
    memcpy(sync_single_data.reply_svr, reply.reply_svr, sizeof reply.reply_svr);
  }
  g_sync_step = RCV_ALTID;
  ALERT_LOG(kFailure, "receive server %s's alertid from %s", reply.sync_svr, addr);
  ALERT_LOG(kNotable, "---------- sync_single_data ------------");
  ALERT_LOG(kNotable, "sync_single_data.alert_id: %d", static_cast<int>(sync_single_data.alert_id));
  ALERT_LOG(kNotable, "sync_single_data.sync_svr: %s", sync_single_data.sync_svr);
  ALERT_LOG(kNotable, "sync_single_data.reply_svr: %s", sync_single_data.reply_svr);
}

bool take_id(const al_msg& msg, const char* buf, const char* addr) {
  const uint32_t length = msg.msg_head->data_len;
  if (length > AL_SYNC_DATA_SIZE) {
    ALERT_LOG(kFailure, "parameter error");
    return false;
  }
  al_sync_data reply;
  qel::read_sync_data(buf, length, &reply);
  if (strcmp(reply.sync_svr, sync_single_data.sync_svr) != 0) {
    ALERT_LOG(kFailure, "error occured when getting all alert id");
    return false;
  }
  receive_id(reply, addr);
  return true;
}

}  // namespace

int sync_other_single_svrname(void) {
  ALERT_TRACE_FUNCTION();
  char name[ALERT_NAME_SIZE] = {};
  if (get_unsync_svrname(single_svrname_list, sync_single_svrname_list, name) == 1) {
    ALERT_LOG(kNotable, "there is no unsynchronized server name");
    return 1;
  }
  sync_single_data = {};
  memcpy(sync_single_data.sync_svr, name, sizeof name);
  if (request_single_alert_id(&sync_single_data) < 0) {
    ALERT_LOG(kFailure, "send request single alert id message failed");
    return -1;
  }
  ALERT_LOG(kTrace, "set the sync_single_altid_flag to 1");
  pthread_mutex_lock(&timeout_variable_mutex);
  sync_single_altid_flag = 1;
  sync_single_altid_time = qel::held_wait(g_get_altid_timeout);
  pthread_mutex_unlock(&timeout_variable_mutex);
  return 0;
}

int request_single_alert_id(al_sync_data* syncdata) {
  ALERT_TRACE_FUNCTION();
  if (syncdata == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (new_server_list == nullptr) {
    ALERT_LOG(kNotable, "No server need synchronise.");
    end_resynchronize(0);
    return -1;
  }
  qel::Block<al_sync_data> question = qel::make_question(*syncdata);
  if (question == nullptr) return -1;
  if (ask_highest_id(new_server_list, question.release()) == 0) {
    end_resynchronize(1);
    return -1;
  }
  g_sync_step = REQ_ALTID;
  ALERT_LOG(kFailure, "request alertid of %s from %s", syncdata->sync_svr,
            new_server_list->svr_name);
  return 0;
}

int recv_reply_single_alert_id_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  g_last_resync_time = QEL_TIMES(nullptr);
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  int result = -1;
  if (qel::reply_counts(REQ_ALTID, addr, nullptr, &result)) {
    // What could not be read stays in the history and is asked for again.
    if (!take_id(*msg, buf, addr)) return -1;
    result = 0;
  }
  qel::settle_request(msg);
  return result;
}
