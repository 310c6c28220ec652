// The header of a datagram, as far as the simulation looks into it.
#pragma once

#include <arpa/inet.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "alert_msg.h"

namespace qel::simulation {

inline uint32_t number_at(const std::string& datagram, size_t offset) {
  uint32_t number = 0;
  if (datagram.size() >= offset + sizeof number) {
    memcpy(&number, datagram.data() + offset, sizeof number);
  }
  return ntohl(number);
}

inline uint32_t type_of(const std::string& datagram) {
  return number_at(datagram, offsetof(al_msg_header, msg_type));
}

inline uint32_t sequence_of(const std::string& datagram) {
  return number_at(datagram, offsetof(al_msg_header, sequence));
}

}  // namespace qel::simulation
