// The way of an alert into the log and to the other servers.
#include <qelipc.h>

#include <cstring>

#include "alert_log.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::kTrace;

namespace {

// Stores the record unless it is there. True when the log holds it afterwards.
bool keep_alert(const ALERT_RECORD_INFO& record, const char* addr, bool local) {
  const char* image = reinterpret_cast<const char*>(&record);
  const int duplicate = check_dup_alert(image);
  if (duplicate == 1) {
    ALERT_LOG(kTrace, "the alert log has already been written here, DUPLICATED! ");
    return true;
  }
  if (duplicate != 0) return false;
  ALERT_LOG(kNotable, "alert record from %s send message ", addr);
  qel::log_alert_record(kNotable, record);
  if (udp_write_disk(image, sizeof record, local ? 1 : 0) < 0) {
    ALERT_LOG(kMinor, "write to disk failed");
    return false;
  }
  qel::raise_new_alert_event();
  return true;
}

// One request to one address; it shares `record` with those to the other addresses of the server.
bool send_copy(const al_msg& alert, const ip46_addr& address, void* record) {
  al_msg* msg = al_msg_new();
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "create new message failed");
    return false;
  }
  qel::address_request(msg, address.ip, address.device_id, AL_MSGTYPE_SYNC_SEND_ALERT);
  ALERT_LOG(kTrace, "Sequence number is: %d", static_cast<int>(sequencenum));
  ALERT_LOG(kTrace, "dst_addr is: %s", msg->msg_head->dst_addr);
  ALERT_LOG(kTrace, "device_id is: %d", address.device_id);
  msg->msg_head->data_len = alert.msg_head->data_len;
  msg->msg_data = record;
  static_cast<void>(send_request_msg(msg));
  return true;
}

bool forward(const al_msg& alert, const ALERT_RECORD_INFO& record, const ty_svrlist* server) {
  void* copy = malloc(sizeof record);
  if (copy == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return false;
  }
  memcpy(copy, &record, sizeof record);
  bool made = true;
  for (int i = 0; made && i < server->ip_num; ++i) {
    ALERT_LOG(kTrace, "================== server ip %d ===============", i);
    ALERT_LOG(kTrace, "Server name is: %s", server->svr_name);
    made = send_copy(alert, server->ip_addr[i], copy);
  }
  qel::end_request(copy, made);
  return made;
}

// Also when the local log could not take it: the others must not miss an alert because of a local
// disk fault.
int forward_to_all(const al_msg& alert, const ALERT_RECORD_INFO& record) {
  ALERT_LOG(kNotable, "recveive alert from local: %.24s,%.32s,%.8s,%.8s,%.100s ",
            record.szServerTime, record.szModType, record.szEventID, record.szLevel,
            record.szAlertMessage);
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (!qel::is_local(server) && !forward(alert, record, server)) return -1;
  }
  return 0;
}

}  // namespace

void qel::log_alert_record(int level, const ALERT_RECORD_INFO& record) {
  ALERT_LOG(level, "alert_id = %d,szServer = %.*s,szServerTime = %.*s",
            static_cast<int>(record.alert_id), ALERT_NAME_SIZE - 1, record.szServer,
            ALERT_TIME_SIZE - 1, record.szServerTime);
}

void qel::raise_new_alert_event() {
  const int result = semevt_set_alert();
  if (result != 0) ALERT_LOG(kMinor, "semevt_set_alert failed(0x%0x).", result);
}

int recv_send_alert_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const bool local = msg->msg_head->sequence == 0;
  if (!local && qel::find_sender(addr) == nullptr) return -1;
  const uint32_t length = msg->msg_head->data_len;
  if (length != ALERT_RECORD_SIZE) {
    ALERT_LOG(kFailure, "the message data length is wrong, data length = %d",
              static_cast<int>(length));
    return -1;
  }
  ALERT_RECORD_INFO record;
  memcpy(&record, buf + AL_MSG_HEADER_SIZE, sizeof record);
  const bool stored = keep_alert(record, addr, local);
  if (local) return forward_to_all(*msg, record);
  // What is not stored is not acknowledged, so that it comes again.
  if (stored) static_cast<void>(send_reply_msg(msg, addr, AL_MSGTYPE_SYNC_REPLY_ALERT));
  return 0;
}
