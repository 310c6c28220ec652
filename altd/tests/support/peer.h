// What another server of the cluster would send, byte for byte, and messages received from it. No
// code of the library has touched the bytes.
#ifndef QEL_ALTD_TESTS_SUPPORT_PEER_H
#define QEL_ALTD_TESTS_SUPPORT_PEER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "alert_msg.h"

namespace alt_test {

struct Header {
  uint32_t type = 0;
  uint32_t sequence = 0;
  std::string dst = {};
  uint32_t reserve1 = 0;
  uint32_t reserve2 = 0;
  std::optional<uint32_t> length = {};  // unless it tells the truth
};

// A number in network order.
std::string word(uint32_t number);
// A text in a field of that many bytes, filled up with zeros; one that is longer is cut and then
// lacks its end.
std::string field(const std::string& text, size_t size);

std::string datagram(const Header& header, const std::string& payload = "");

struct Sync {
  uint32_t alert_id = 0;
  std::string sync_svr = {};
  std::string reply_svr = {};
  uint32_t max_alert_id = 0;
  uint32_t sync_flg = 0;
};
std::string sync_payload(const Sync& sync);
std::string alert_payload(const ALERT_RECORD_INFO& record);
std::string names_payload(const std::vector<std::string>& names);
// 4024 bytes, a slot for each alert.
std::string data_payload(const std::vector<ALERT_RECORD_INFO>& records);

// A datagram in the daemon's receive buffer, and the message made of it.
class Received {
 public:
  explicit Received(const std::string& bytes);
  ~Received();
  Received(const Received&) = delete;
  Received& operator=(const Received&) = delete;

  al_msg* msg() const { return msg_; }
  char* buf() { return buffer_.data(); }

 private:
  std::vector<char> buffer_;
  al_msg* msg_;
};

}  // namespace alt_test

#endif
