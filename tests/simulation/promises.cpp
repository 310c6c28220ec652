#include "promises.h"

#include <cstddef>

#include "alert_types.h"
#include "datagram.h"

namespace qel::simulation {

namespace {

constexpr size_t kMessageOffset = AL_MSG_HEADER_SIZE + offsetof(ALERT_RECORD_INFO, szAlertMessage);

std::string key(const std::string& address, const std::string& datagram) {
  return address + " " + std::to_string(sequence_of(datagram));
}

}  // namespace

void Promises::received(const std::string& from, const std::string& datagram) {
  if (type_of(datagram) != AL_MSGTYPE_SYNC_SEND_ALERT) return;
  alerts_[key(from, datagram)] = datagram.c_str() + kMessageOffset;
}

// A message in the log is followed by the blanks of its column.
void Promises::sends(const std::string& to, const std::string& datagram,
                     const std::string& durable_log) {
  if (type_of(datagram) != AL_MSGTYPE_SYNC_REPLY_ALERT) return;
  const std::string& message = alerts_[key(to, datagram)];
  if (durable_log.find(message + " ") == std::string::npos) broken_ = message;
}

}  // namespace qel::simulation
