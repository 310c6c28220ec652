#include "status.h"

#include <ctime>

#include "alerts/daemon_answer.h"
#include "alerts/id_runs.h"
#include "alerts/record_text.h"
#include "alerts/session.h"
#include "alerts/time_text.h"

namespace qel::web {
namespace {

constexpr size_t kHolesShown = 100;  // of each server; the number of missing ids counts all

std::string counted(uint64_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void add_log_gap(const LogView& view, std::vector<Gap>* gaps) {
  if (view.condition() == LogCondition::kMissing) gaps->push_back({"log_missing", view.cause()});
  if (view.condition() == LogCondition::kUnreadable) {
    gaps->push_back({"log_unreadable", view.cause()});
  }
}

void add_peer_gap(const Json& peer, std::vector<Gap>* gaps) {
  const std::string server = member_string(peer, "/server");
  const std::string state = member_string(peer, "/state");
  const uint64_t waiting = member_count(peer, "/unacknowledged");
  if (state != "answering") {
    gaps->push_back({"peer_silent", server + " does not answer (" + state + ")"});
  } else if (waiting > 0) {
    gaps->push_back(
        {"peer_behind", server + " has not acknowledged " + counted(waiting, "alert") + " yet"});
  }
}

void add_daemon_gaps(const DaemonLink& daemon, std::vector<Gap>* gaps) {
  if (!daemon.reachable()) {
    return gaps->push_back({"daemon_unreachable", "the alert daemon: " + daemon.cause()});
  }
  const Json& status = daemon.status();
  const std::string state = member_string(status, "/state");
  if (state != "running") gaps->push_back({"waiting", "the alert daemon is " + state});
  if (status.contains("peers") && status["peers"].is_array()) {
    for (const Json& peer : status["peers"]) add_peer_gap(peer, gaps);
  }
  const std::string step = member_string(status, "/catch_up/step");
  if (!step.empty() && step != "idle") {
    gaps->push_back({"catching_up", "catching up with " + member_string(status, "/catch_up/peer")});
  }
}

Json held_json(const std::vector<HeldAlerts>& all) {
  Json list = Json::array();
  for (const HeldAlerts& held : all) {
    Json holes = Json::array();
    for (const IdRun& hole : held.holes()) {
      if (holes.size() == kHolesShown) break;
      holes.push_back({hole.first, hole.last});
    }
    list.push_back({{"server", held.server},
                    {"count", held.count},
                    {"first", held.first()},
                    {"last", held.last()},
                    {"missing", held.missing()},
                    {"holes", holes}});
  }
  return list;
}

Json log_status(const LogView& view) {
  const AlertList& alerts = view.snapshot()->alerts();
  const auto raised = [&](const ALERT_RECORD_INFO* alert) {
    return Json(field_text(alert->szServerTime));
  };
  Json log = log_json(view);
  log["path"] = log_path();
  log["count"] = alerts.size();
  log["capacity"] = view.state().has_value() ? view.state()->capacity : 0;
  log["oldest"] = alerts.empty() ? Json() : raised(alerts.front());
  log["newest"] = alerts.empty() ? Json() : raised(alerts.back());
  return log;
}

std::string zone_text(int64_t offset_minutes) {
  const time_t now = time(nullptr);
  tm parts{};
  char name[32] = "";
  if (localtime_r(&now, &parts) != nullptr) strftime(name, sizeof name, "%Z", &parts);
  char text[64];
  snprintf(text, sizeof text, "%s %c%02d:%02d", name, offset_minutes < 0 ? '-' : '+',
           static_cast<int>(std::abs(offset_minutes) / 60),
           static_cast<int>(std::abs(offset_minutes) % 60));
  return text;
}

}  // namespace

std::vector<Gap> find_gaps(const LogView& view, const DaemonLink& daemon) {
  std::vector<Gap> gaps;
  add_log_gap(view, &gaps);
  add_daemon_gaps(daemon, &gaps);
  for (const HeldAlerts& held : held_alerts(view.snapshot()->alerts())) {
    if (held.missing() == 0) continue;
    gaps.push_back({"holes", counted(held.missing(), "alert") + " of " + held.server +
                                 " between those that are here"});
  }
  return gaps;
}

Json status_json(const LogView& view, const DaemonLink& daemon, size_t streams) {
  using namespace std::chrono;
  const auto now = system_clock::now();
  const int64_t now_ms = floor<milliseconds>(now.time_since_epoch()).count();
  const int64_t offset_minutes = local_offset_ms(now_ms) / 60000;
  Json problems = Json::array();
  for (const Gap& gap : find_gaps(view, daemon)) {
    problems.push_back({{"code", gap.code}, {"text", gap.text}});
  }
  return {{"server", local_server_name()},
          {"version", QELALERT_VERSION},
          {"now", utc_text(now_ms)},
          {"zone", zone_text(offset_minutes)},
          {"offset_minutes", offset_minutes},
          {"log", log_status(view)},
          {"complete", problems.empty()},
          {"problems", problems},
          {"daemon",
           {{"reachable", daemon.reachable()},
            {"cause", daemon.cause()},
            {"asked", utc_json(daemon.answered())},
            {"status", daemon.status()}}},
          {"held", held_json(held_alerts(view.snapshot()->alerts()))},
          {"streams", streams}};
}

}  // namespace qel::web
