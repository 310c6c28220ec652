// The requests that are not answered yet.
#include <new>
#include <unordered_map>

#include "alert_config.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kDetail;
using qel::kFailure;
using qel::kTrace;

al_msg_send_hist send_hist = {nullptr, 0, 0, nullptr};
al_msg_send_hist* currecord_send = nullptr;
al_msg_send_hist* previous_send = nullptr;

namespace {

// Finds nodes by their sequence: a burst of alerts to a server that is away leaves thousands of
// nodes, and each alert, acknowledgement and repetition looks for one. The list itself stays the
// truth; a list that was emptied by somebody else empties this as well.
class NodeIndex {
 public:
  // The node before that of the sequence; null when there is none.
  al_msg_send_hist* before(int sequence) {
    if (send_hist.next == nullptr) forget();
    const auto at = before_.find(sequence);
    return at == before_.end() ? nullptr : at->second;
  }
  al_msg_send_hist* tail() {
    if (send_hist.next == nullptr) forget();
    return tail_;
  }
  // False without memory; nothing has changed then.
  bool append(al_msg_send_hist* node) {
    al_msg_send_hist* const last = tail();
    try {
      before_.insert_or_assign(node->sequence, last);
    } catch (const std::bad_alloc&) {
      return false;
    }
    last->next = node;
    tail_ = node;
    return true;
  }
  // Unlinks the node behind `previous`.
  void unlink(al_msg_send_hist* previous) {
    al_msg_send_hist* const node = previous->next;
    previous->next = node->next;
    before_.erase(node->sequence);
    if (node->next != nullptr) {
      before_.insert_or_assign(node->next->sequence, previous);  // in place: no memory is needed
    } else {
      tail_ = previous;
    }
  }

 private:
  void forget() {
    before_.clear();
    tail_ = &send_hist;
  }

  std::unordered_map<int, al_msg_send_hist*> before_;
  al_msg_send_hist* tail_ = &send_hist;
};

NodeIndex index_of_nodes;

NodeIndex& nodes() { return index_of_nodes; }

// Points the cursors at the node of the sequence, or at the last one; false when there is none.
bool seek(int sequence) {
  al_msg_send_hist* const before = nodes().before(sequence);
  previous_send = before != nullptr ? before : nodes().tail();
  currecord_send = previous_send->next;
  return before != nullptr;
}

void share_no_longer(const al_msg* first) {
  if (first == nullptr || first->msg_data == nullptr) return;
  for (al_msg* msg = first->next; msg != nullptr; msg = msg->next) msg->msg_data = nullptr;
}

// Frees the node behind `previous` with its messages and the payload that they share.
void drop_node(al_msg_send_hist* previous) {
  al_msg_send_hist* const node = previous->next;
  nodes().unlink(previous);
  share_no_longer(node->msg);
  for (al_msg* msg = node->msg; msg != nullptr;) {
    al_msg* const next = msg->next;
    al_msg_del(msg);
    msg = next;
  }
  free(node);
}

// The server that let the request expire is greeted again later.
void note_silent_server(const al_msg& first) {
  const qel::AddressText address(first);
  const ty_svrlist* server = qel::find_server_by_address(server_list_head, address.text);
  if (server == nullptr) {
    ALERT_LOG(qel::kMinor, "addr is from unknown server: %s", address.text);
    return;
  }
  if (qel::find_server_by_name(servers_not_reply, server->svr_name) != nullptr) return;
  if (add_to_server_list(&servers_not_reply, server) < 0) {
    ALERT_LOG(kFailure, "add server(%s) to new server list failed", server->svr_name);
  }
}

void expire(al_msg_send_hist* previous) {
  const al_msg_send_hist* node = previous->next;
  const al_msg* first = node->msg;
  ALERT_LOG(kDetail, "send history node expired, drop it, seq = %d, dst_addr = %.*s",
            node->sequence, AL_MSG_ADDRESS_SIZE, first != nullptr ? first->msg_head->dst_addr : "");
  if (first != nullptr) {
    note_silent_server(*first);
    if (first->msg_head->msg_type == AL_MSGTYPE_SYNC_REQUEST_DATA) g_sync_step = RESYN_END;
  }
  drop_node(previous);
}

// The age of an expired node in ticks.
int64_t expiry_age() {
  const auto ratio = static_cast<uint32_t>(current_ratio);
  const auto period = static_cast<uint32_t>(g_resend_timeout);
  const auto retries = static_cast<uint32_t>(g_alert_retry_count);
  return static_cast<int32_t>(ratio * period * retries + 1) * tckconf;
}

}  // namespace

void qel::settle_request(al_msg* msg) {
  if (find_seq(static_cast<int>(msg->msg_head->sequence)) == 0) del_from_send_hist(msg);
}

void qel::end_request(void* payload, bool complete) {
  const bool filed = nodes().before(static_cast<int>(sequencenum)) != nullptr;
  if (!filed) free(payload);
  if (filed || complete) next_sequence();
}

void init_send_hist(void) {
  while (send_hist.next != nullptr) drop_node(&send_hist);
  previous_send = currecord_send = nullptr;
}

int add_to_send_hist(al_msg* msg) {
  const int sequence = static_cast<int>(msg->msg_head->sequence);
  if (sequence == 0) {
    ALERT_LOG(kTrace, "the message is sent to local");
    al_msg_del(msg);
    return -1;
  }
  msg->next = nullptr;
  if (seek(sequence)) {
    al_msg** link = &currecord_send->msg;
    while (*link != nullptr) link = &(*link)->next;
    *link = msg;
    currecord_send->startcl = QEL_TIMES(nullptr);
    ALERT_LOG(kTrace, "add message to old send history node, sequence = %d", sequence);
    return 0;
  }
  auto* node = static_cast<al_msg_send_hist*>(malloc(sizeof(al_msg_send_hist)));
  if (node == nullptr) return -1;
  *node = {nullptr, QEL_TIMES(nullptr), sequence, msg};
  if (!nodes().append(node)) {
    free(node);
    return -1;
  }
  currecord_send = node;
  ALERT_LOG(kTrace, "create a new send history node, sequence = %d", sequence);
  return 0;
}

void del_from_send_hist(al_msg* msg) {
  ALERT_TRACE_FUNCTION();
  const int sequence = static_cast<int>(msg->msg_head->sequence);
  if (!seek(sequence)) return;
  ALERT_LOG(kTrace, "delete message from send history, sequence = %d", sequence);
  drop_node(previous_send);
  currecord_send = previous_send->next;
}

int find_seq(int seq) {
  if (!seek(seq)) return -1;
  ALERT_LOG(qel::kDump, "found sequence: %d in the send history", seq);
  return 0;
}

int should_drop_message(al_msg* msg) {
  if (msg->msg_head->msg_type != AL_MSGTYPE_SYNC_REPLY_ALERT) return -1;
  const int sequence = static_cast<int>(msg->msg_head->sequence);
  if (sequence != 0 && find_seq(sequence) != 0) return 0;
  del_from_send_hist(msg);
  return 0;
}

void re_send_msg(void) {
  ALERT_TRACE_FUNCTION();
  previous_send = &send_hist;
  for (currecord_send = send_hist.next; currecord_send != nullptr;
       currecord_send = currecord_send->next) {
    for (al_msg* msg = currecord_send->msg; msg != nullptr; msg = msg->next) {
      static_cast<void>(send_msg(msg));
    }
    previous_send = currecord_send;
  }
}

void dropmsg_from_list(void) {
  ALERT_TRACE_FUNCTION();
  const clock_t expired = QEL_TIMES(nullptr) - expiry_age();
  previous_send = &send_hist;
  while ((currecord_send = previous_send->next) != nullptr) {
    if (currecord_send->startcl <= expired) {
      expire(previous_send);
    } else {
      previous_send = currecord_send;
    }
  }
}
