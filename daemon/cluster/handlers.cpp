#include "cluster/handlers.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "alert_msg.h"
#include "log.h"

namespace qel::daemon {

namespace {

struct MessageDelete {
  void operator()(al_msg* msg) const { al_msg_del(msg); }
};

// The library has no handler for the answer to a heartbeat: the request is settled, no more.
int settle_heartbeat(al_msg* msg, const char*, const char*, uint32_t) {
  if (find_seq(static_cast<int>(msg->msg_head->sequence)) == 0) del_from_send_hist(msg);
  return 0;
}

// An alert that comes this far is in the log and on the disk (remote_alerts.h): all that is left of
// the library's recv_send_alert_msg is the answer.
int acknowledge(al_msg* msg, const char*, const char* addr, uint32_t reply_type) {
  return send_reply_msg(msg, addr, reply_type);
}

// A message type with the handler for it.
struct Entry {
  uint32_t type;
  const char* name;
  bool moves_resync;
  int (*call)(al_msg* msg, const char* buf, const char* addr, uint32_t reply_type);
};

constexpr Entry kEntries[] = {
    {AL_MSGTYPE_SYNC_SEND_ALERT, "alert", false, acknowledge},
    {AL_MSGTYPE_SYNC_REPLY_ALERT, "alert acknowledged", false,
     [](al_msg* msg, const char*, const char*, uint32_t) { return should_drop_message(msg); }},
    {AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME, "names request", false,
     [](al_msg* msg, const char*, const char* addr, uint32_t reply_type) {
       return recv_request_server_name_msg(msg, addr, reply_type);
     }},
    {AL_MSGTYPE_SYNC_REPLY_SERVER_NAME, "names reply", true,
     [](al_msg* msg, const char* buf, const char* addr, uint32_t) {
       return recv_reply_single_server_name_msg(msg, buf, addr);
     }},
    {AL_MSGTYPE_SYNC_REQUEST_ALERT_ID, "id request", false, recv_request_alert_id_msg},
    {AL_MSGTYPE_SYNC_REPLY_ALERT_ID, "id reply", true,
     [](al_msg* msg, const char* buf, const char* addr, uint32_t) {
       return recv_reply_single_alert_id_msg(msg, buf, addr);
     }},
    {AL_MSGTYPE_SYNC_REQUEST_DATA, "data request", false, recv_request_data_msg},
    {AL_MSGTYPE_SYNC_REPLY_DATA, "data reply", true,
     [](al_msg* msg, const char* buf, const char* addr, uint32_t) {
       return recv_reply_single_data_msg(msg, buf, addr);
     }},
    {AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID, "own id request", false, recv_request_alert_id_msg},
    {AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID, "own id reply", false,
     [](al_msg* msg, const char* buf, const char* addr, uint32_t) {
       return recv_reply_maxalertid_localserver_msg(msg, buf, addr);
     }},
    {AL_MSGTYPE_SYNC_SEND_SERVER_STATUS, "heartbeat", false,
     [](al_msg* msg, const char*, const char* addr, uint32_t reply_type) {
       return recv_send_heartbeat_msg(msg, addr, reply_type);
     }},
    {AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS, "heartbeat answered", false, settle_heartbeat},
    {AL_MSGTYPE_SYNC_SEND_NEW_SERVER, "announcement", false, recv_send_new_server_msg},
    {AL_MSGTYPE_SYNC_REPLY_NEW_SERVER, "announcement answered", false,
     [](al_msg* msg, const char* buf, const char* addr, uint32_t) {
       return recv_reply_new_server_msg(msg, buf, addr);
     }},
};

const Entry* entry_of(uint32_t type) {
  const Entry* found = std::find_if(std::begin(kEntries), std::end(kEntries),
                                    [&](const Entry& entry) { return entry.type == type; });
  return found == std::end(kEntries) ? nullptr : found;
}

}  // namespace

void handle(const Datagram& datagram) {
  const std::unique_ptr<al_msg, MessageDelete> msg(string_to_msg(datagram.bytes));
  if (msg == nullptr) return;
  const uint32_t type = msg->msg_head->msg_type;
  const Entry* entry = entry_of(type);
  if (entry == nullptr) return;
  static_cast<void>(
      entry->call(msg.get(), datagram.bytes, datagram.sender, type + AL_MSGTYPE_REPLY));
}

const char* message_name(uint32_t type) {
  const Entry* entry = entry_of(type);
  return entry != nullptr ? entry->name : nullptr;
}

bool moves_resync(uint32_t type) {
  const Entry* entry = entry_of(type);
  return entry != nullptr && entry->moves_resync;
}

}  // namespace qel::daemon
