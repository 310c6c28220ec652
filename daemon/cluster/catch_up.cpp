#include "cluster/catch_up.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "alert_config.h"
#include "alert_msg/servers.h"
#include "cluster/held_ids.h"
#include "log.h"
#include "log_header.h"

namespace qel::daemon {

namespace {

constexpr int kStandingMax = 2;  // batches in a row that may leave the cursor where it is

// The sequence that was given last; it never is 0.
uint32_t last_sequence() { return sequencenum == 1 ? UINT32_MAX : sequencenum - 1; }

// The outstanding request of a sequence; null when it is settled.
const al_msg_send_hist* outstanding(uint32_t sequence) {
  return find_seq(static_cast<int>(sequence)) == 0 ? currecord_send : nullptr;
}

bool is_data_request(const al_msg_send_hist* node) {
  return node != nullptr && node->msg != nullptr &&
         node->msg->msg_head->msg_type == AL_MSGTYPE_SYNC_REQUEST_DATA;
}

bool belongs_to_resync(const al_msg_send_hist& node) {
  if (node.msg == nullptr) return false;
  const uint32_t type = node.msg->msg_head->msg_type;
  return type == AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME || type == AL_MSGTYPE_SYNC_REQUEST_ALERT_ID ||
         type == AL_MSGTYPE_SYNC_REQUEST_DATA;
}

// Requests of a run that is over would expire during the next one, and end it. `kept` is the first
// request of that next run, or 0.
void drop_requests_but(uint32_t kept) {
  std::vector<al_msg_header> over;
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
    if (belongs_to_resync(*node) && static_cast<uint32_t>(node->sequence) != kept) {
      over.push_back(*node->msg->msg_head);
    }
  }
  for (al_msg_header& head : over) {
    al_msg reply = {&head, nullptr, nullptr};
    del_from_send_hist(&reply);
  }
}

bool all_are_silent(const ty_svrlist* list) {
  for (; list != nullptr; list = list->next) {
    if (find_server_by_name(servers_not_reply, list->svr_name) == nullptr) return false;
  }
  return true;
}

// The other server behind the one of this name, in a circle; null when there is none.
const ty_svrlist* next_server(const std::string& name) {
  const ty_svrlist* first = nullptr;
  bool behind = false;
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (!is_local(server)) {
      if (behind) return server;
      if (first == nullptr) first = server;
    }
    behind = behind || name == server->svr_name;
  }
  return first;
}

void put_name(char (*names)[ALERT_NAME_SIZE], const char* name) {
  for (int i = 0; i < AL_SVRNAME_COUNT; ++i) {
    if (strcmp(names[i], name) == 0) return;
    if (names[i][0] != '\0') continue;
    memcpy(names[i], name, ALERT_NAME_SIZE);
    return;
  }
}

}  // namespace

void CatchUp::begin() {
  const bool listed = new_server_list != nullptr;  // a log that was made anew has done so
  for (const ty_svrlist* server = server_list_head; !listed && server != nullptr;
       server = server->next) {
    if (!is_local(server)) static_cast<void>(add_to_server_list(&new_server_list, server));
  }
  end_resynchronize(0);
}

// Also with an empty list: that re-arms the check.
void CatchUp::check_new_servers() {
  check_newsvr_now = 0;
  if (g_sync_step != RESYN_END) return;
  if (new_server_list != nullptr && all_are_silent(new_server_list)) {
    end_resynchronize(0);  // they are greeted, and whoever is back answers that
    return;
  }
  const Step step(this);
  g_last_resync_time = QEL_TIMES(nullptr);
  const bool failed_before = new_server_list != nullptr &&
                             check_server_in_list(new_server_list->next, new_server_list) == 1;
  static_cast<void>(failed_before ? sync_other_new_server() : request_single_svrname());
}

void CatchUp::names_are_over() {
  sync_single_svrname_now = 0;
  const int state = g_sync_step;
  if (state != REQ_NAME && state != RCV_NAME) return;
  const Step step(this);
  if (state == REQ_NAME) {
    end_resynchronize(1);  // nobody answered
  } else {
    next_name_or_peer();  // without a name, the peer's log is empty
  }
}

void CatchUp::ids_are_over() {
  sync_single_altid_now = 0;
  const int state = g_sync_step;
  if (state != REQ_ALTID && state != RCV_ALTID) return;
  const Step step(this);
  if (state == REQ_ALTID) {
    end_resynchronize(1);
  } else if (sync_single_data.reply_svr[0] == '\0' || !set_range()) {
    // The peer holds nothing of that server, or nothing that this log would take.
    put_name(sync_single_svrname_list, sync_single_data.sync_svr);
    next_name_or_peer();
  } else if (request_single_data(&sync_single_data) < 0) {
    end_resynchronize(1);
  }
}

// From the first id that is missing here to the highest that the peer reported. A full log gets
// nothing older than what it holds of the server: each older alert would overwrite a newer one.
// False when nothing is left to fetch.
bool CatchUp::set_range() {
  const uint32_t reported = sync_single_data.alert_id;
  const std::vector<HeldIds> held = read_held_ids();
  const HeldIds* ids = find_held(held, sync_single_data.sync_svr);
  uint32_t oldest = 1;
  if (ids != nullptr && log_is_full()) oldest = std::max(ids->lowest(), oldest);
  if (reported < oldest) return false;
  const uint32_t first = ids != nullptr ? ids->first_missing(oldest) : oldest;
  sync_single_data.max_alert_id = reported;
  sync_single_data.alert_id = std::min(first, reported);
  return true;
}

void CatchUp::next_name_or_peer() {
  const int result = sync_other_single_svrname();
  if (result < 0) end_resynchronize(1);
  if (result == 1) static_cast<void>(sync_other_new_server());
}

// A record that cannot be stored, or a peer that lies, would have the same batches fetched for
// ever.
void CatchUp::watch_cursor(const al_sync_data& before) {
  const bool stood = strcmp(before.sync_svr, sync_single_data.sync_svr) == 0 &&
                     sync_single_data.alert_id <= before.alert_id;
  standing_batches_ = stood ? standing_batches_ + 1 : 0;
  if (standing_batches_ < kStandingMax) return;
  standing_batches_ = 0;
  DAEMON_LOG(kMinor, "catching up with %s stands at alert %u of %s: given up for now",
             sync_single_data.reply_svr, sync_single_data.alert_id, sync_single_data.sync_svr);
  end_resynchronize(1);
}

// Finds out what a call of the library has moved.
void CatchUp::settle(const Step& before) {
  const bool asked = sequencenum != before.sequence_;
  if (before.state_ == REQ_DATA && g_sync_step == REQ_DATA && asked) watch_cursor(before.cursor_);
  const bool asked_names = asked && g_sync_step == REQ_NAME;  // a new run
  const bool ended = before.state_ != RESYN_END && g_sync_step == RESYN_END;
  // An expired data request sets the state and nothing else.
  if (ended && check_newsvr_flag == 0) end_resynchronize(1);
  count_end(before);
  if (ended || asked_names) standing_batches_ = 0;
  if (ended || (asked && g_sync_step == RESYN_END)) drop_requests_but(0);
  if (asked_names) drop_requests_but(last_sequence());
  if (asked && g_sync_step == REQ_DATA) {
    waiting_ = 0;
    send_data_request(last_sequence());
  }
}

// A peer that left the head of the list after it told something was dealt with.
void CatchUp::count_end(const Step& before) {
  const bool told =
      before.state_ == RCV_NAME || before.state_ == RCV_ALTID || before.state_ == REQ_DATA;
  if (told && new_server_list != before.peer_) {
    ++counters_.finished;
  } else if (before.state_ != RESYN_END && g_sync_step == RESYN_END) {
    ++counters_.given_up;
  }
}

void CatchUp::tick() {
  allowance_ = settings_.timing.batches_per_second;
  recheck();
  if (waiting_ == 0) return;
  const uint32_t sequence = waiting_;
  waiting_ = 0;
  send_data_request(sequence);
}

// An alert that was given up while its receiver was just catching up, past that name already, would
// stay a hole: nobody asks for it any more. So the logs are compared with each server in turn,
// which costs a handful of datagrams when they are equal.
void CatchUp::recheck() {
  if (settings_.timing.recheck == 0) return;
  if (g_sync_step != RESYN_END || new_server_list != nullptr) {
    ticks_to_recheck_ = settings_.timing.recheck;
    return;
  }
  if (--ticks_to_recheck_ > 0) return;
  ticks_to_recheck_ = settings_.timing.recheck;
  const ty_svrlist* next = next_server(rechecked_);
  if (next == nullptr) return;
  rechecked_ = next->svr_name;
  static_cast<void>(add_to_server_list(&new_server_list, next));
}

// Lists of servers were made anew; that may have ended the run.
void CatchUp::servers_changed(bool was_running) {
  if (!was_running || g_sync_step != RESYN_END) return;
  ++counters_.given_up;
  standing_batches_ = 0;
  drop_requests_but(0);
}

// The library leaves data requests to its next retransmission, which is far too slow; they leave at
// once here, by one path: that of the address the peer was heard from last. A loss is made good by
// the retransmission.
void CatchUp::send_data_request(uint32_t sequence) {
  const al_msg_send_hist* node = outstanding(sequence);
  if (!is_data_request(node) || settings_.timing.batches_per_second == 0) return;
  if (allowance_ == 0) {
    waiting_ = sequence;
    return;
  }
  --allowance_;
  const std::string& best = peers_.peer(sync_single_data.reply_svr).best_address;
  al_msg* chosen = node->msg;
  for (al_msg* msg = node->msg; msg != nullptr; msg = msg->next) {
    if (ip_compare(msg->msg_head->dst_addr, best.c_str()) == 0) chosen = msg;
  }
  if (send_msg(chosen) == 0) ++counters_.batches;
}

}  // namespace qel::daemon
