// Messages as a sender builds them, and the datagrams that the library makes of them.
#ifndef QEL_ALTD_TESTS_SUPPORT_MESSAGES_H
#define QEL_ALTD_TESTS_SUPPORT_MESSAGES_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

#include "alert_msg.h"
#include "support/peer.h"

namespace alt_test {

struct MessageDeleter {
  void operator()(al_msg* msg) const { al_msg_del(msg); }
};
using Message = std::unique_ptr<al_msg, MessageDeleter>;

// Bytes from malloc; null for none.
inline void* heap_copy(const std::string& bytes) {
  if (bytes.empty()) return nullptr;
  void* copy = malloc(bytes.size());
  memcpy(copy, bytes.data(), bytes.size());
  return copy;
}

// With a payload in host order. A destination of more than 47 characters lacks its end.
inline Message make_message(const Header& header, const std::string& payload = "") {
  Message msg(al_msg_new());
  al_msg_header* head = msg->msg_head;
  head->msg_type = header.type;
  head->sequence = header.sequence;
  head->data_len = header.length.value_or(static_cast<uint32_t>(payload.size()));
  memcpy(head->dst_addr, field(header.dst, AL_MSG_ADDRESS_SIZE).data(), AL_MSG_ADDRESS_SIZE);
  head->reserve1 = header.reserve1;
  head->reserve2 = header.reserve2;
  msg->msg_data = heap_copy(payload);
  return msg;
}

// The datagram of a message; nothing when it cannot be made.
inline std::optional<std::string> encoded(al_msg* msg) {
  const std::unique_ptr<char, decltype(&free)> bytes(msg_to_string(msg), &free);
  if (bytes == nullptr) return std::nullopt;
  return std::string(bytes.get(), AL_MSG_HEADER_SIZE + msg->msg_head->data_len);
}

}  // namespace alt_test

#endif
