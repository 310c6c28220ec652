// Questions to a peer.
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;

namespace {

// Makes and sends one request; `data` may be null.
int send_request(void* data, const char* dst_ip, uint32_t msg_type, int device_id) {
  al_msg* msg = al_msg_new();
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "create message failed");
    return -1;
  }
  ALERT_LOG(qel::kTrace, "the message type is: %#x", msg_type);
  qel::address_request(msg, dst_ip, device_id, msg_type);
  if (data != nullptr) {
    msg->msg_head->data_len = AL_SYNC_DATA_SIZE;
    msg->msg_data = data;
  }
  return send_request_msg(msg);
}

int send_sync_request(void* data, const char* dst_ip, uint32_t msg_type, int device_id) {
  if (data == nullptr || dst_ip == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  return send_request(data, dst_ip, msg_type, device_id);
}

}  // namespace

int send_request_server_name_msg(const char* dst_ip, uint32_t msg_type, int device_id) {
  ALERT_TRACE_FUNCTION();
  if (dst_ip == nullptr) {
    ALERT_LOG(kFailure, "parameter error, dst_ip is NULL");
    return -1;
  }
  return send_request(nullptr, dst_ip, msg_type, device_id);
}

int send_request_alert_id_msg(void* data, const char* dst_ip, uint32_t msg_type, int device_id) {
  ALERT_TRACE_FUNCTION();
  return send_sync_request(data, dst_ip, msg_type, device_id);
}

int send_request_data_msg(void* data, const char* dst_ip, uint32_t msg_type, int device_id) {
  ALERT_TRACE_FUNCTION();
  return send_sync_request(data, dst_ip, msg_type, device_id);
}
