#include "cluster/protocol.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "alert_config.h"
#include "alert_msg.h"
#include "alert_msg/servers.h"
#include "cluster/handlers.h"
#include "cluster/held_ids.h"
#include "log.h"
#include "log_header.h"
#include "recovery.h"

namespace qel::daemon {

namespace {

constexpr int kReportPause = 60;  // ticks between two reports of refused datagrams

// Takes a raised flag down.
bool take(int* flag) { return std::exchange(*flag, 0) != 0; }

// A run that is merely slow must not be judged stalled: the waits grow with the ratio, which is
// only known at run time.
void keep_stall_watch_patient() {
  const int64_t ratio = current_ratio;
  const int64_t drop = ratio * g_resend_timeout * g_alert_retry_count + 1;
  const int64_t longest =
      std::max({ratio * g_get_srvname_timeout, ratio * g_get_altid_timeout, drop});
  g_resync_time_interval = std::max(g_resync_time_interval, 2 * (longest + 1) * tckconf);
}

bool is_alone() { return server_list_head == nullptr || server_list_head->next == nullptr; }

bool own_id_is_asked_for() {
  for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
    if (node->msg != nullptr &&
        node->msg->msg_head->msg_type == AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID) {
      return true;
    }
  }
  return false;
}

}  // namespace

Protocol::Protocol(const Settings& settings, LogSync* log_sync, ProtocolHost* host)
    : log_sync_(log_sync), host_(host), catch_up_(settings, peers_), remote_(log_sync) {}

void Protocol::prepare() {
  init_send_hist();
  initialize();
  start_write_local_logfile = 0;
}

void Protocol::start() {
  const bool made_anew = start_count_time_for_maxalertid_localserver != 0;
  wait_for_all_ = made_anew;
  static_cast<void>(keep_alert_id(highest_own_id()));  // tried again when the others have answered
  start_write_local_logfile = 0;
  if (!made_anew && !is_alone()) ask_own_id();
  write_when_all_have_told();
  catch_up_.begin();
}

// A loss of power may have taken the last ids from this log, but not from the others; so may
// whoever has put back a copy of it.
void Protocol::ask_own_id() {
  al_sync_data question = {};
  snprintf(question.sync_svr, sizeof question.sync_svr, "%s", local_svr->svr_name);
  static_cast<void>(request_max_alertid_localserver(&question));
  start_count_time_for_maxalertid_localserver = 1;
}

// What is outstanding to a server whose addresses changed goes to the old ones and will be lost: it
// is greeted like a server that did not answer, and catches up.
bool Protocol::change_servers(const std::vector<ServerEntry>& servers,
                              const std::string& local_name, MembershipChange* change,
                              std::string* error) {
  const bool was_running = g_sync_step != RESYN_END;
  if (!install_servers(servers, local_name, change, error)) return false;
  catch_up_.servers_changed(was_running);
  for (const std::string& name : change->changed) {
    const ty_svrlist* server = find_server_by_name(server_list_head, name.c_str());
    if (server == nullptr || find_server_by_name(servers_not_reply, name.c_str()) != nullptr) {
      continue;
    }
    static_cast<void>(add_to_server_list(&servers_not_reply, server));
  }
  return true;
}

void Protocol::receive(const Datagram* datagrams, size_t count) {
  stored_.clear();
  for (size_t i = 0; i < count; ++i) {
    const Datagram& datagram = datagrams[i];
    const Refusal refusal = examine(datagram);
    if (refusal == Refusal::kNone || refusal == Refusal::kLateReply) {
      peers_.heard(datagram.sender);
    }
    if (refusal == Refusal::kNone) {
      dispatch(datagram);
    } else {
      refuse(datagram, refusal);
    }
  }
  if (!stored_.empty() && log_sync_->sync()) {
    for (const Datagram* datagram : stored_) hand_in(*datagram);
  }
  remote_.announce();
}

void Protocol::refuse(const Datagram& datagram, Refusal refusal) {
  ++counters_.refused[static_cast<size_t>(refusal)];
  if (refusal == Refusal::kLateReply) return;  // every alert has one for each further path
  last_refused_ = std::string(refusal_name(refusal)) + ", from " + datagram.sender;
}

void Protocol::dispatch(const Datagram& datagram) {
  const uint32_t type = header_of(datagram).msg_type;
  ++counters_.received[message_name(type)];
  if (type == AL_MSGTYPE_SYNC_SEND_ALERT) {
    if (remote_.store(datagram)) stored_.push_back(&datagram);
  } else if (type != AL_MSGTYPE_SYNC_REPLY_DATA ||
             (remote_.store(datagram) && remote_.can_be_told(datagram))) {
    hand_in(datagram);
  }
}

void Protocol::hand_in(const Datagram& datagram) {
  const uint32_t type = header_of(datagram).msg_type;
  if (!moves_resync(type)) {
    handle(datagram);
    if (type == AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID) write_when_all_have_told();
    return;
  }
  const CatchUp::Step step(&catch_up_);
  handle(datagram);
}

// Before the wait is over, when nobody is left to wait for: above all, when there is nobody.
void Protocol::write_when_all_have_told() {
  if (start_write_local_logfile != 0 || own_id_is_asked_for()) return;
  start_count_time_for_maxalertid_localserver = 0;
  adopt_own_id();
  if (start_write_local_logfile != 0) host_->drain_intake();
}

void Protocol::tick() {
  {
    const CatchUp::Step step(&catch_up_);
    ding();
  }
  keep_stall_watch_patient();
  catch_up_.tick();
  if (is_alone()) write_when_all_have_told();  // a log may have been made anew just now
  answer_flags();
  static_cast<void>(log_sync_->indexes().settle());
  // What a catch-up has stored is not acknowledged to anybody, but should not wait long either.
  static_cast<void>(log_sync_->sync());
  report_refusals();
}

// In this order: what is repeated may be answered already, and must not be given up then.
void Protocol::answer_flags() {
  if (take(&resend_now)) re_send_msg();
  host_->receive_waiting();
  if (take(&drop_now)) drop_expired();
  if (take(&start_heartbeat_now)) send_request_heartbeat_msg();
  if (take(&start_send_new_server_now)) send_new_server_msg();
  if (take(&sync_single_svrname_now)) catch_up_.names_are_over();
  if (take(&sync_single_altid_now)) catch_up_.ids_are_over();
  if (take(&check_newsvr_now)) catch_up_.check_new_servers();
  if (take(&get_maxalertid_localserver_now)) adopt_own_id();
  if (take(&check_svrlist_now)) host_->check_servers();
  if (take(&write_alert_now)) host_->drain_intake();
}

void Protocol::drop_expired() {
  const auto alerts = PeerBook::outstanding_alerts();
  const CatchUp::Step step(&catch_up_);
  dropmsg_from_list();
  peers_.count_given_up(alerts);
}

// With a new log, writing may start when every other server has told its highest id of this one, or
// was given up: an id that is given twice would cost an alert on every server that holds the first.
void Protocol::adopt_own_id() {
  if (start_write_local_logfile == 0 && wait_for_all_ && own_id_is_asked_for()) {
    start_count_time_for_maxalertid_localserver = 1;
    return;
  }
  if (keep_alert_id(std::max(max_alertid_localserver, highest_own_id())) != 0) {
    get_maxalertid_localserver_now = 1;  // with the next tick
    return;
  }
  DAEMON_LOG(kNotable, "alert ids of this server go on after %u", current_alert_id());
  start_write_local_logfile = 1;
  wait_for_all_ = true;
}

void Protocol::report_refusals() {
  if (ticks_to_report_ > 0) --ticks_to_report_;
  uint64_t refused = 0;
  for (size_t i = 0; i < kRefusalCount; ++i) refused += counters_.refused[i];
  refused -= counters_.refused[static_cast<size_t>(Refusal::kLateReply)];
  if (refused == reported_refusals_ || ticks_to_report_ > 0) return;
  DAEMON_LOG(kMinor, "%llu datagrams were refused, the last one: %s",
             static_cast<unsigned long long>(refused - reported_refusals_), last_refused_.c_str());
  reported_refusals_ = refused;
  ticks_to_report_ = kReportPause;
}

}  // namespace qel::daemon
