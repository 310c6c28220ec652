// Steps that the handlers and senders of messages share.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "alert_msg.h"
#include "alert_msg/servers.h"
#include "common/fixed_text.h"

namespace qel {

struct MessageDelete {
  void operator()(al_msg* msg) const { al_msg_del(msg); }
};
using Message = std::unique_ptr<al_msg, MessageDelete>;

struct Free {
  void operator()(void* block) const { free(block); }
};
template <typename T>
using Block = std::unique_ptr<T, Free>;

// A zeroed block of `size` bytes; null without memory.
template <typename T>
Block<T> make_block(size_t size) {
  return Block<T>(static_cast<T*>(calloc(1, size)));
}

// The destination of a message, whose field may lack its NUL.
struct AddressText {
  explicit AddressText(const al_msg& msg) { take_text(text, msg.msg_head->dst_addr, sizeof text); }
  char text[AL_MSG_ADDRESS_SIZE + 1];
};

// Moves sequencenum on; 0 stands for local alerts.
void next_sequence();

// The request to one server is made, or given up (not complete): frees the payload when no message
// that was filed has taken it over, and moves sequencenum on unless nothing came of the request.
void end_request(void* payload, bool complete = true);

// The server of server_list_head with this address; null, logged, when a stranger sent.
const ty_svrlist* find_sender(const char* addr);

// Takes a node off its list and frees it.
void remove_server(ty_svrlist** list, ty_svrlist* server);

// The replies of the first two phases of a resynchronisation count in one state and from the peer
// only. True when this one is to be read; else *result is the result of its handler. `stranger` is
// named when it comes from somebody else; null: the peer is named.
bool reply_counts(int step, const char* addr, const char* stranger, int* result);

// The part of a cursor that questions carry, the rest zero; null (logged) without memory.
Block<al_sync_data> make_question(const al_sync_data& cursor);

// Takes the request that msg answers out of the history.
void settle_request(al_msg* msg);

// The header fields of a request to one address with the current sequence, and of a reply.
void address_request(al_msg* request, const char* addr, int device_id, uint32_t msg_type);
void address_reply(al_msg* reply, const al_msg& request, const char* addr, uint32_t msg_type);

// The names of a table stand before its first empty entry.
int count_names(const char (*names)[ALERT_NAME_SIZE]);

bool holds_name(const char (*names)[ALERT_NAME_SIZE], const char* name);

// Puts a name behind the last one, unless the table holds it or is full.
void add_name(char (*names)[ALERT_NAME_SIZE], const char* name);

// A time-out of the settings in ticks: stretched by the ratio, held within 1 to 999.
int held_wait(int setting);

// Copies a name, cut at its field's width and zero-filled.
void copy_name(char (&field)[ALERT_NAME_SIZE], const char* name);

// The sync record in a receive buffer; what its `length` bytes leave open is zero, and both names
// end with a NUL.
void read_sync_data(const char* buf, size_t length, al_sync_data* data);

// Writes an identifying line about a record.
void log_alert_record(int level, const ALERT_RECORD_INFO& record);

// Tells the programs that wait for it that a new alert is in the log; a failure is passed over.
void raise_new_alert_event();

}  // namespace qel
