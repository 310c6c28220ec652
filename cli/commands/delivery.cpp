#include "commands/delivery.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "alerts/fields.h"
#include "alerts/record_text.h"
#include "alerts/snapshot.h"
#include "alerts/store.h"
#include "commands/log_watch.h"
#include "daemon_client/answer.h"
#include "daemon_client/daemon_socket.h"
#include "output/out.h"

namespace qel::cli {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr int kLook_ms = 50;  // between two questions to the daemon

// Of one other server, as the daemon tells it.
struct Delivery {
  std::string server;
  std::string state;
  std::string delivery;

  bool silent() const { return state == "silent"; }
  bool acknowledged() const { return delivery == "acknowledged"; }
  bool open() const { return delivery == "waiting" && !silent(); }
};

// The daemon gives the id, and in a cluster keeps the alert under the name of this server.
bool is_same(const ALERT_RECORD_INFO& stored, const ALERT_RECORD_INFO& raised) {
  const auto same = [](const auto& a, const auto& b) { return field_text(a) == field_text(b); };
  return same(stored.szWriteTime, raised.szWriteTime) &&
         same(stored.szServerTime, raised.szServerTime) &&
         same(stored.szEventID, raised.szEventID) && same(stored.szModType, raised.szModType) &&
         same(stored.szLevel, raised.szLevel) && same(stored.szAlertMessage, raised.szAlertMessage);
}

// The alert in the log; of equal ones the latest.
std::optional<ALERT_RECORD_INFO> stored_alert(const ALERT_RECORD_INFO& raised) try {
  const Snapshot snapshot;
  std::optional<ALERT_RECORD_INFO> found;
  for (const ALERT_RECORD_INFO* alert : snapshot.alerts()) {
    if (!is_same(*alert, raised)) continue;
    if (!found.has_value() || found->alert_id < alert->alert_id) found = *alert;
  }
  return found;
} catch (const NoLog&) {
  return std::nullopt;  // the daemon makes it with the first alert
}

std::optional<ALERT_RECORD_INFO> wait_until_stored(const ALERT_RECORD_INFO& raised,
                                                   SteadyClock::time_point end) {
  LogWatch watch(log_path());
  std::optional<ALERT_RECORD_INFO> stored = stored_alert(raised);
  while (!stored.has_value() && SteadyClock::now() < end) {
    (void)watch.wait(kLook_ms);
    stored = stored_alert(raised);
  }
  return stored;
}

std::vector<Delivery> ask_for_delivery(const std::string& socket, uint32_t id) {
  const Json answer = ask_daemon(socket, {{"request", "delivery"}, {"id", id}});
  std::vector<Delivery> deliveries;
  for_each_object(answer, "peers", [&](const Json& peer) {
    deliveries.push_back({member_text(peer, "/server"), member_text(peer, "/state"),
                          member_text(peer, "/delivery")});
  });
  return deliveries;
}

bool any_open(const std::vector<Delivery>& deliveries) {
  return std::any_of(deliveries.begin(), deliveries.end(),
                     [](const Delivery& delivery) { return delivery.open(); });
}

std::vector<Delivery> wait_until_settled(const std::string& socket, uint32_t id,
                                         SteadyClock::time_point end) {
  LogWatch pause(log_path());
  std::vector<Delivery> deliveries = ask_for_delivery(socket, id);
  while (any_open(deliveries) && SteadyClock::now() < end) {
    (void)pause.wait(kLook_ms);
    deliveries = ask_for_delivery(socket, id);
  }
  return deliveries;
}

// "node1/17: acknowledged by node2, node3"
std::string acknowledgement(const ALERT_RECORD_INFO& alert,
                            const std::vector<Delivery>& deliveries) {
  std::string by;
  for (const Delivery& delivery : deliveries) {
    if (delivery.acknowledged()) by += (by.empty() ? "" : ", ") + delivery.server;
  }
  const std::string how = deliveries.empty() ? "stored; there are no other servers"
                          : by.empty()       ? "stored, acknowledged by no other server"
                                             : "stored, acknowledged by " + by;
  return alert_name(alert) + ": " + how + "\n";
}

ExitCode tell(const ALERT_RECORD_INFO& alert, const std::vector<Delivery>& deliveries) {
  print(acknowledgement(alert, deliveries));
  ExitCode code = kDone;
  for (const Delivery& delivery : deliveries) {
    if (delivery.acknowledged()) continue;
    if (!delivery.silent()) code = kIncomplete;
    message(delivery.server + (delivery.silent() ? " is silent" : ": " + delivery.delivery) +
            "; it fetches the alert when it catches up");
  }
  return code;
}

}  // namespace

ExitCode wait_for_delivery(const ALERT_RECORD_INFO& raised, const std::string& socket,
                           int timeout_s) {
  try {
    (void)ask_daemon(socket, {{"request", "status"}});
  } catch (const NotReachable&) {
    message("the alert was accepted; it is stored and sent when the alert daemon runs");
    throw;
  }
  const auto end = SteadyClock::now() + std::chrono::seconds{timeout_s};
  const std::optional<ALERT_RECORD_INFO> stored = wait_until_stored(raised, end);
  if (!stored.has_value()) {
    message("the alert was accepted, and not stored within " + std::to_string(timeout_s) + " s");
    return kIncomplete;
  }
  return tell(*stored, wait_until_settled(socket, stored->alert_id, end));
}

}  // namespace qel::cli
