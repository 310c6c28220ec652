#include "support/peer.h"

#include <algorithm>
#include <stdexcept>

#include "support/records.h"

namespace alt_test {
namespace {

constexpr size_t kSlotSize = 1000;
constexpr size_t kDataSize = 4024;
constexpr size_t kNameSize = 65;
constexpr size_t kAddressSize = 48;
constexpr uint32_t kVersion = 1;

}  // namespace

std::string word(uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

std::string field(const std::string& text, size_t size) {
  std::string bytes = text;
  bytes.resize(size, '\0');
  return bytes;
}

std::string datagram(const Header& header, const std::string& payload) {
  return word(kVersion) + word(header.type) + word(header.sequence) +
         word(header.length.value_or(static_cast<uint32_t>(payload.size()))) +
         field(header.dst, kAddressSize) + word(header.reserve1) + word(header.reserve2) + payload;
}

std::string sync_payload(const Sync& sync) {
  return word(sync.alert_id) + field(sync.sync_svr, kNameSize) + field(sync.reply_svr, kNameSize) +
         std::string(2, '\0') + word(sync.max_alert_id) + word(sync.sync_flg);
}

std::string alert_payload(const ALERT_RECORD_INFO& record) {
  return word(record.alert_id) + std::string(image(record) + 4, sizeof(record) - 4);
}

std::string names_payload(const std::vector<std::string>& names) {
  std::string payload;
  for (const std::string& name : names) payload += field(name, kNameSize);
  return payload + '\0';
}

std::string data_payload(const std::vector<ALERT_RECORD_INFO>& records) {
  std::string payload;
  for (const ALERT_RECORD_INFO& record : records) {
    payload += field(alert_payload(record), kSlotSize);
  }
  return field(payload, kDataSize);
}

Received::Received(const std::string& bytes) : buffer_(AL_MSG_BUFFER_SIZE, '\0') {
  if (bytes.size() > buffer_.size()) throw std::runtime_error("longer than the receive buffer");
  std::copy(bytes.begin(), bytes.end(), buffer_.begin());
  msg_ = string_to_msg(buffer_.data());
  if (msg_ == nullptr) throw std::runtime_error("not decoded");
}

Received::~Received() { al_msg_del(msg_); }

}  // namespace alt_test
