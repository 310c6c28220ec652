// The check of every datagram before the library sees it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "alert_msg.h"

namespace qel::daemon {

// One received datagram. The buffer holds at least AL_MSG_BUFFER_SIZE bytes and is zero behind
// `size`.
struct Datagram {
  char* bytes;
  size_t size;
  const char* sender;  // numeric address text; IPv4 as dotted text, never as mapped IPv6
};

// Why a datagram is refused.
enum class Refusal {
  kNone,
  kTooShort,     // shorter than a header
  kWrongLength,  // another size than its header tells, or than its type can have
  kStranger,     // from an address of no known server
  kUnknownType,
  kLocalAlert,      // an alert with sequence 0: those come from this server's own intake
  kTooManyRecords,  // a data reply with more records than slots
  kUnterminated,    // a text without its end
  kLateReply,       // answers a request that is settled already: nothing wrong, but nothing to do
  kForgedReply,     // answers a request that was never made, or made to somebody else
};
inline constexpr size_t kRefusalCount = static_cast<size_t>(Refusal::kForgedReply) + 1;

// The reason in words, as the status tells it.
const char* refusal_name(Refusal refusal);

// Whether the library may be handed the datagram. A lie in it could otherwise make the library read
// what is not there, store what no server has raised, or ask for the same alerts twice. Looks at
// server_list_head and the send history; changes neither.
Refusal examine(const Datagram& datagram);

// The header, in host order, of a datagram that is not too short.
al_msg_header header_of(const Datagram& datagram);

}  // namespace qel::daemon
