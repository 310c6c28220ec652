#include "cluster/datagram_guard.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "alert_msg.h"
#include "alert_msg/servers.h"

namespace qel::daemon {

namespace {

// What the payload of a message type may look like.
struct Rule {
  uint32_t type;
  size_t length_min;
  size_t length_max;
  bool (*texts_end)(const al_msg_header& head, const char* payload);
};

bool ends(const char* text, size_t width) { return memchr(text, '\0', width) != nullptr; }

bool no_texts(const al_msg_header&, const char*) { return true; }

bool record_ends(const char* image) {
  ALERT_RECORD_INFO record;
  memcpy(&record, image, sizeof record);
  return ends(record.szEventID, sizeof record.szEventID) &&
         ends(record.szLevel, sizeof record.szLevel) &&
         ends(record.szServer, sizeof record.szServer) &&
         ends(record.szModType, sizeof record.szModType) &&
         ends(record.szWriteTime, sizeof record.szWriteTime) &&
         ends(record.szServerTime, sizeof record.szServerTime) &&
         ends(record.szAlertMessage, sizeof record.szAlertMessage);
}

bool alert_ends(const al_msg_header&, const char* payload) { return record_ends(payload); }

bool sync_data_ends(const al_msg_header&, const char* payload) {
  al_sync_data data;
  memcpy(&data, payload, sizeof data);
  return ends(data.sync_svr, sizeof data.sync_svr) && ends(data.reply_svr, sizeof data.reply_svr);
}

bool names_end(const al_msg_header& head, const char* payload) {
  for (size_t at = 0; at < head.data_len && payload[at] != '\0'; at += ALERT_NAME_SIZE) {
    if (!ends(payload + at, ALERT_NAME_SIZE)) return false;
  }
  return true;
}

bool records_end(const al_msg_header& head, const char* payload) {
  for (size_t i = 0; i < head.reserve1; ++i) {
    if (!record_ends(payload + i * AL_DATA_SLOT_SIZE)) return false;
  }
  return true;
}

bool list_ends(const al_msg_header& head, const char* payload) {
  return head.data_len == 0 || payload[head.data_len - 1] == '\0';
}

constexpr size_t kNamesMax = size_t{AL_SVRNAME_COUNT} * ALERT_NAME_SIZE + 1;

constexpr Rule kRules[] = {
    {AL_MSGTYPE_SYNC_SEND_ALERT, ALERT_RECORD_SIZE, ALERT_RECORD_SIZE, alert_ends},
    {AL_MSGTYPE_SYNC_REPLY_ALERT, 0, 0, no_texts},
    {AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME, 0, 0, no_texts},
    {AL_MSGTYPE_SYNC_REPLY_SERVER_NAME, 0, kNamesMax, names_end},
    {AL_MSGTYPE_SYNC_REQUEST_ALERT_ID, 0, AL_SYNC_DATA_SIZE, sync_data_ends},
    {AL_MSGTYPE_SYNC_REPLY_ALERT_ID, 0, AL_SYNC_DATA_SIZE, sync_data_ends},
    {AL_MSGTYPE_SYNC_REQUEST_DATA, 0, AL_SYNC_DATA_SIZE, sync_data_ends},
    {AL_MSGTYPE_SYNC_REPLY_DATA, 0, AL_DATA_REPLY_SIZE, records_end},
    {AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID, 0, AL_SYNC_DATA_SIZE, sync_data_ends},
    {AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID, 0, AL_SYNC_DATA_SIZE, sync_data_ends},
    {AL_MSGTYPE_SYNC_SEND_SERVER_STATUS, 0, 0, no_texts},
    {AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS, 0, 0, no_texts},
    {AL_MSGTYPE_SYNC_SEND_NEW_SERVER, 0, AL_ALTID_TEXT_SIZE, list_ends},
    {AL_MSGTYPE_SYNC_REPLY_NEW_SERVER, 0, AL_ALTID_TEXT_SIZE, list_ends},
};

// Whether a sequence was given to a request already: the counter wraps.
bool was_given(uint32_t sequence) {
  return sequence != 0 && static_cast<int32_t>(sequencenum - sequence) > 0;
}

// Any address of the server that was asked may answer.
Refusal examine_reply(const al_msg_header& head, const ty_svrlist* sender) {
  if (find_seq(static_cast<int>(head.sequence)) != 0) {
    return was_given(head.sequence) ? Refusal::kLateReply : Refusal::kForgedReply;
  }
  const al_msg* request = currecord_send->msg;
  const bool fits = request != nullptr &&
                    request->msg_head->msg_type + AL_MSGTYPE_REPLY == head.msg_type &&
                    owns_address(sender, request->msg_head->dst_addr);
  return fits ? Refusal::kNone : Refusal::kForgedReply;
}

}  // namespace

const char* refusal_name(Refusal refusal) {
  static constexpr std::array<const char*, kRefusalCount> kNames = {
      "none",        "too short",        "wrong length",      "unknown sender", "unknown type",
      "local alert", "too many records", "unterminated text", "late reply",     "forged reply"};
  return kNames[static_cast<size_t>(refusal)];
}

al_msg_header header_of(const Datagram& datagram) {
  al_msg_header head;
  memcpy(&head, datagram.bytes, sizeof head);
  ntoh_msg_header(&head);
  return head;
}

Refusal examine(const Datagram& datagram) {
  if (datagram.size < AL_MSG_HEADER_SIZE) return Refusal::kTooShort;
  const al_msg_header head = header_of(datagram);
  if (datagram.size - AL_MSG_HEADER_SIZE != head.data_len) return Refusal::kWrongLength;
  const ty_svrlist* sender = find_server_by_address(server_list_head, datagram.sender);
  if (sender == nullptr) return Refusal::kStranger;
  const Rule* rule = std::find_if(std::begin(kRules), std::end(kRules),
                                  [&](const Rule& r) { return r.type == head.msg_type; });
  if (rule == std::end(kRules)) return Refusal::kUnknownType;
  if (head.data_len < rule->length_min || head.data_len > rule->length_max) {
    return Refusal::kWrongLength;
  }
  if (head.msg_type == AL_MSGTYPE_SYNC_SEND_ALERT && head.sequence == 0) {
    return Refusal::kLocalAlert;
  }
  if (head.msg_type == AL_MSGTYPE_SYNC_REPLY_DATA && head.reserve1 > AL_DATA_SLOTS) {
    return Refusal::kTooManyRecords;
  }
  if (!rule->texts_end(head, datagram.bytes + AL_MSG_HEADER_SIZE)) return Refusal::kUnterminated;
  const bool is_reply = (head.msg_type & AL_MSGTYPE_REPLY) != 0;
  if (is_reply) return examine_reply(head, sender);
  // This server sends nothing to itself.
  return is_local(sender) ? Refusal::kStranger : Refusal::kNone;
}

}  // namespace qel::daemon
