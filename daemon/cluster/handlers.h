// Which function of the library deals with which message.
#pragma once

#include <cstdint>

#include "cluster/datagram_guard.h"

namespace qel::daemon {

// Hands a datagram that the guard has let through to the handler of its type.
void handle(const Datagram& datagram);

// What a message type is called in the status; null for an unknown one.
const char* message_name(uint32_t type);

// Whether a message may move the resynchronisation of this server.
bool moves_resync(uint32_t type);

}  // namespace qel::daemon
