// Catching up with a peer: start, end, and the names of the servers whose alerts it holds.
#include <algorithm>
#include <cstring>

#include "alert_config.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::kTrace;

namespace {

// One request to every address of the peer; the number of those that went out.
int ask_names(const ty_svrlist* peer) {
  int sent = 0;
  for (int i = 0; i < peer->ip_num; ++i) {
    const ip46_addr& address = peer->ip_addr[i];
    ALERT_LOG(kTrace, "================ server IP(%d) ===============", i);
    ALERT_LOG(kNotable, "Server name is: %s", peer->svr_name);
    ALERT_LOG(kTrace, "server ip is: %s", address.ip);
    ALERT_LOG(kTrace, "send request for single server name message to server: %s", peer->svr_name);
    if (send_request_server_name_msg(address.ip, AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME,
                                     address.device_id) >= 0) {
      ++sent;
    } else {
      ALERT_LOG(kMinor, "send request single server name message to server: %sIP: %s failed",
                peer->svr_name, address.ip);
    }
  }
  return sent;
}

// Names of 65 bytes each, up to an empty one.
void take_names(const char* names, size_t size) {
  for (size_t at = 0; at + ALERT_NAME_SIZE <= size && names[at] != '\0'; at += ALERT_NAME_SIZE) {
    char name[ALERT_NAME_SIZE];
    memcpy(name, names + at, sizeof name);
    name[sizeof name - 1] = '\0';
    qel::add_name(single_svrname_list, name);
  }
}

int receive_names(const al_msg& msg, const char* buf, const char* addr) {
  memset(single_svrname_list, 0, sizeof single_svrname_list);
  memset(sync_single_svrname_list, 0, sizeof sync_single_svrname_list);
  const uint32_t length = msg.msg_head->data_len;
  if (length > AL_NAMES_PAYLOAD_MAX) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  char names[AL_NAMES_PAYLOAD_MAX] = {};
  memcpy(names, buf + AL_MSG_HEADER_SIZE, length);
  take_names(names, sizeof names);
  g_sync_step = RCV_NAME;
  ALERT_LOG(kFailure, "receive server names from %s", addr);
  ALERT_LOG(kNotable, "--------------- single server names ------------------");
  const int count = qel::count_names(single_svrname_list);
  for (int i = 0; i < count; ++i) {
    ALERT_LOG(kNotable, "server name %d: %s", i, single_svrname_list[i]);
  }
  return 0;
}

}  // namespace

bool qel::holds_name(const char (*names)[ALERT_NAME_SIZE], const char* name) {
  const int count = count_names(names);
  return std::any_of(names, names + count,
                     [&](const auto& held) { return strcmp(held, name) == 0; });
}

void qel::add_name(char (*names)[ALERT_NAME_SIZE], const char* name) {
  const int count = count_names(names);
  if (count < AL_SVRNAME_COUNT && !holds_name(names, name)) copy_name(names[count], name);
}

bool qel::reply_counts(int step, const char* addr, const char* stranger, int* result) {
  *result = -1;
  if (g_sync_step != step) return false;
  if (new_server_list == nullptr) {
    ALERT_LOG(kNotable, "No server need synchronise.");
    end_resynchronize(0);
    return false;
  }
  if (owns_address(new_server_list, addr)) return true;
  ALERT_LOG(kNotable, "receive message from error server: %s ",
            stranger != nullptr ? stranger : new_server_list->svr_name);
  *result = 0;
  return false;
}

void start_resynchronize(const char* srv_name) {
  g_sync_step = RESYN_START;
  check_newsvr_flag = 0;
  check_newsvr_now = 0;
  sync_single_svrname_time = qel::held_wait(g_get_srvname_timeout);
  sync_single_svrname_flag = 1;
  sync_single_altid_flag = 0;
  sync_single_altid_now = 0;
  memset(single_svrname_list, 0, sizeof single_svrname_list);
  memset(sync_single_svrname_list, 0, sizeof sync_single_svrname_list);
  ALERT_LOG(kFailure, "==== Start resynchronize width server %s ====", srv_name);
}

void end_resynchronize(int append_new_svr) {
  check_newsvr_time = g_alert_cheknewsvr_interval;
  check_newsvr_flag = 1;
  check_newsvr_now = 0;
  sync_single_svrname_flag = 0;
  sync_single_svrname_now = 0;
  sync_single_altid_flag = 0;
  sync_single_altid_now = 0;
  g_sync_step = RESYN_END;
  if (append_new_svr != 1 || new_server_list == nullptr) return;
  if (check_server_in_list(new_server_list->next, new_server_list) == 1) return;
  if (add_to_server_list(&new_server_list, new_server_list) < 0) {
    ALERT_LOG(kFailure, "add server(%s) to new server list failed", new_server_list->svr_name);
  }
}

int request_single_svrname(void) {
  ALERT_TRACE_FUNCTION();
  if (new_server_list == nullptr) {
    end_resynchronize(0);
    return -1;
  }
  const ty_svrlist* peer = new_server_list;
  start_resynchronize(peer->svr_name);
  const int sent = ask_names(peer);
  qel::end_request(nullptr);
  if (sent == 0) {
    ALERT_LOG(kFailure, "==== End synchronize width server %s ====", peer->svr_name);
    end_resynchronize(1);
    return -1;
  }
  g_sync_step = REQ_NAME;
  ALERT_LOG(kFailure, "request server names from %s", peer->svr_name);
  return 0;
}

int recv_reply_single_server_name_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  g_last_resync_time = QEL_TIMES(nullptr);
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  int result = -1;
  if (qel::reply_counts(REQ_NAME, addr, addr, &result)) {
    // What could not be read stays in the history and is asked for again.
    if (receive_names(*msg, buf, addr) != 0) return -1;
    result = 0;
  }
  qel::settle_request(msg);
  return result;
}

int get_unsync_svrname(char svrname_list[][ALERT_NAME_SIZE],
                       char sync_svrname_list[][ALERT_NAME_SIZE], char* svrname) {
  for (int i = 0; i < AL_SVRNAME_COUNT && svrname_list[i][0] != '\0'; ++i) {
    if (qel::holds_name(sync_svrname_list, svrname_list[i])) {
      ALERT_LOG(kNotable, "server name(%s) has been synchronized", svrname_list[i]);
      continue;
    }
    ALERT_LOG(kNotable, "server name(%s) is not synchronized", svrname_list[i]);
    memcpy(svrname, svrname_list[i], ALERT_NAME_SIZE);
    return 0;
  }
  return 1;
}
