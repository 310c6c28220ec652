// Messages in memory and as datagrams.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "alert_msg.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;

uint32_t sequencenum = 1;

namespace {

// The payload words of a message type that travel big-endian.
struct Words {
  bool known;
  int count;
  const size_t* offsets;
};

constexpr size_t kRecordWords[] = {offsetof(ALERT_RECORD_INFO, alert_id)};
constexpr size_t kSyncWords[] = {offsetof(al_sync_data, alert_id),
                                 offsetof(al_sync_data, max_alert_id),
                                 offsetof(al_sync_data, sync_flg)};
constexpr size_t kSlotWords[AL_DATA_SLOTS] = {0, AL_DATA_SLOT_SIZE, 2 * AL_DATA_SLOT_SIZE,
                                              3 * AL_DATA_SLOT_SIZE};

// A count of records beyond the slots is a lie.
int slots_in_use(const al_msg_header& head) {
  return static_cast<int>(std::min<uint32_t>(head.reserve1, AL_DATA_SLOTS));
}

Words words_of(const al_msg_header& head) {
  switch (head.msg_type) {
    case AL_MSGTYPE_SYNC_SEND_ALERT:
      return {true, 1, kRecordWords};
    case AL_MSGTYPE_SYNC_REQUEST_ALERT_ID:
    case AL_MSGTYPE_SYNC_REPLY_ALERT_ID:
    case AL_MSGTYPE_SYNC_REQUEST_DATA:
    case AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID:
    case AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID:
      return {true, 3, kSyncWords};
    case AL_MSGTYPE_SYNC_REPLY_DATA:
      return {true, slots_in_use(head), kSlotWords};
    case AL_MSGTYPE_SYNC_REPLY_ALERT:
    case AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME:
    case AL_MSGTYPE_SYNC_REPLY_SERVER_NAME:
    case AL_MSGTYPE_SYNC_SEND_SERVER_STATUS:
    case AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS:
    case AL_MSGTYPE_SYNC_SEND_NEW_SERVER:
    case AL_MSGTYPE_SYNC_REPLY_NEW_SERVER:
      return {true, 0, nullptr};
    default:
      return {false, 0, nullptr};
  }
}

// Turns the marked words of a payload around; turning to and from network order is the same.
void turn_payload(const al_msg_header& head, char* payload, size_t size) {
  const Words words = words_of(head);
  if (!words.known) {
    ALERT_LOG(qel::kMinor, "unknown message type %d to: %.*s, sequence: %d",
              static_cast<int>(head.msg_type), AL_MSG_ADDRESS_SIZE, head.dst_addr,
              static_cast<int>(head.sequence));
  }
  for (int i = 0; i < words.count; ++i) {
    uint32_t word;
    if (words.offsets[i] + sizeof word > size) return;
    memcpy(&word, payload + words.offsets[i], sizeof word);
    word = htonl(word);
    memcpy(payload + words.offsets[i], &word, sizeof word);
  }
}

}  // namespace

void qel::next_sequence() {
  if (++sequencenum == 0) sequencenum = 1;
}

al_msg* al_msg_new(void) {
  auto* msg = static_cast<al_msg*>(calloc(1, sizeof(al_msg)));
  auto* head = static_cast<al_msg_header*>(calloc(1, sizeof(al_msg_header)));
  if (msg == nullptr || head == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    free(msg);
    free(head);
    return nullptr;
  }
  head->version = 1;
  msg->msg_head = head;
  return msg;
}

void al_msg_del(al_msg* msg) {
  if (msg == nullptr) return;
  free(msg->msg_head);
  free(msg->msg_data);
  free(msg);
}

void hton_msg_header(al_msg_header* pheader) {
  for (uint32_t* number : {&pheader->version, &pheader->msg_type, &pheader->sequence,
                           &pheader->data_len, &pheader->reserve1, &pheader->reserve2}) {
    *number = htonl(*number);
  }
}

void ntoh_msg_header(al_msg_header* pheader) { hton_msg_header(pheader); }

char* msg_to_string(al_msg* msg) {
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "parameter error: msg is NULL");
    return nullptr;
  }
  const al_msg_header& head = *msg->msg_head;
  auto* datagram = static_cast<char*>(malloc(sizeof head + size_t{head.data_len}));
  if (datagram == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return nullptr;
  }
  al_msg_header wire = head;
  hton_msg_header(&wire);
  memcpy(datagram, &wire, sizeof wire);
  if (head.data_len == 0) return datagram;
  if (msg->msg_data == nullptr) {
    ALERT_LOG(kFailure, "the message data is wrong");
    free(datagram);
    return nullptr;
  }
  memcpy(datagram + sizeof wire, msg->msg_data, head.data_len);
  turn_payload(head, datagram + sizeof wire, head.data_len);
  return datagram;
}

al_msg* string_to_msg(char* buf) {
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error: buf is NULL");
    return nullptr;
  }
  al_msg* msg = al_msg_new();
  if (msg == nullptr) {
    ALERT_LOG(kFailure, "create new message failed");
    return nullptr;
  }
  memcpy(msg->msg_head, buf, sizeof *msg->msg_head);
  ntoh_msg_header(msg->msg_head);
  // The buffer is larger than any payload, whatever data_len says.
  turn_payload(*msg->msg_head, buf + sizeof *msg->msg_head, AL_DATA_REPLY_SIZE);
  return msg;
}
