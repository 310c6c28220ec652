#include "metrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <sstream>
#include <vector>

#include "alerts/daemon_answer.h"
#include "alerts/id_runs.h"
#include "alerts/record_text.h"
#include "alerts/time_text.h"

namespace qel::web {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

constexpr double kMillisecond = 0.001;  // Prometheus counts seconds

class Families {
 public:
  // Begins a family; what is added next belongs to it.
  void begin(MetricType type, const char* name, const char* help) {
    families_.push_back({name, help, type, {}});
  }
  void add(double value, const std::vector<ClientMetric::Label>& labels = {}) {
    ClientMetric metric;
    metric.label = labels;
    (families_.back().type == MetricType::Counter ? metric.counter.value : metric.gauge.value) =
        value;
    families_.back().metric.push_back(metric);
  }
  void gauge(const char* name, const char* help, double value) {
    begin(MetricType::Gauge, name, help);
    add(value);
  }
  void counter(const char* name, const char* help, double value) {
    begin(MetricType::Counter, name, help);
    add(value);
  }
  std::string text() const {
    std::ostringstream out;
    prometheus::TextSerializer().Serialize(out, families_);
    return out.str();
  }

 private:
  std::vector<MetricFamily> families_;
};

double seconds_of(const ALERT_RECORD_INFO& alert) {
  return static_cast<double>(unix_ms(field_text(alert.szServerTime)).value_or(0)) * kMillisecond;
}

void add_log(const LogView& view, Families* families) {
  const AlertList& alerts = view.snapshot()->alerts();
  families->gauge("qelalert_log_readable", "Whether the alert log can be read.",
                  view.condition() == LogCondition::kOk ? 1 : 0);
  families->gauge("qelalert_log_alerts", "Alerts in the log.", static_cast<double>(alerts.size()));
  families->gauge("qelalert_log_capacity_alerts", "Alerts that the log can hold.",
                  view.state().has_value() ? view.state()->capacity : 0);
  families->gauge("qelalert_log_indexes_sound",
                  "Whether the search by the indexes finds what is in the log.",
                  view.indexes().fault().empty() ? 1 : 0);
  if (view.last_good().has_value()) {
    const auto at = std::chrono::duration<double>(view.last_good()->time_since_epoch());
    families->gauge("qelalert_log_read_timestamp_seconds", "When the log was last read.",
                    at.count());
  }
  if (alerts.empty()) return;
  families->gauge("qelalert_oldest_alert_timestamp_seconds", "When the oldest alert was raised.",
                  seconds_of(*alerts.front()));
  families->gauge("qelalert_newest_alert_timestamp_seconds", "When the newest alert was raised.",
                  seconds_of(*alerts.back()));
}

void add_held(const LogView& view, Families* families) {
  const std::vector<HeldAlerts> all = held_alerts(view.snapshot()->alerts());
  families->begin(MetricType::Gauge, "qelalert_held_alerts",
                  "Alerts in the log by the server that raised them.");
  for (const HeldAlerts& held : all) {
    families->add(static_cast<double>(held.count), {{"server", held.server}});
  }
  families->begin(MetricType::Gauge, "qelalert_missing_alerts",
                  "Ids that are missing between the lowest and the highest held of a server.");
  for (const HeldAlerts& held : all) {
    families->add(static_cast<double>(held.missing()), {{"server", held.server}});
  }
}

// A figure of each other server, as the daemon tells it.
template <typename Figure>
void add_peers(const nlohmann::ordered_json& status, Families* families, Figure figure) {
  const auto peers = status.find("peers");
  if (peers == status.end() || !peers->is_array()) return;
  for (const auto& peer : *peers) {
    families->add(static_cast<double>(figure(peer)), {{"peer", member_string(peer, "/server")}});
  }
}

void add_daemon(const DaemonLink& daemon, Families* families) {
  families->gauge("qelalert_daemon_reachable", "Whether the alert daemon answers.",
                  daemon.reachable() ? 1 : 0);
  if (!daemon.reachable()) return;
  const auto& status = daemon.status();
  families->gauge("qelalert_intake_waiting_alerts", "Alerts raised here and not yet stored.",
                  static_cast<double>(member_count(status, "/intake/waiting")));
  families->gauge("qelalert_catch_up_running", "Whether the daemon catches up with another server.",
                  member_string(status, "/catch_up/step") == "idle" ? 0 : 1);
  families->begin(MetricType::Gauge, "qelalert_peer_answering", "Whether another server answers.");
  add_peers(status, families,
            [](const auto& peer) { return member_string(peer, "/state") == "answering" ? 1 : 0; });
  families->begin(MetricType::Gauge, "qelalert_peer_unacknowledged_alerts",
                  "Alerts that another server has not acknowledged yet.");
  add_peers(status, families,
            [](const auto& peer) { return member_count(peer, "/unacknowledged"); });
  families->begin(MetricType::Counter, "qelalert_peer_given_up_alerts_total",
                  "Alerts that another server never acknowledged; it fetches them later.");
  add_peers(status, families, [](const auto& peer) { return member_count(peer, "/given_up"); });
}

void add_own(const LogView& view, const Counters& counters, size_t streams, Families* families) {
  families->begin(MetricType::Counter, "qelalert_new_alerts_total",
                  "Alerts that came while this program ran, by level.");
  for (const auto& [level, count] : view.new_alerts()) {
    families->add(static_cast<double>(count), {{"level", level}});
  }
  families->begin(MetricType::Counter, "qelalert_web_answers_total", "Answers by status.");
  for (const auto& [status, count] : counters.answers) {
    families->add(static_cast<double>(count), {{"status", std::to_string(status)}});
  }
  families->counter("qelalert_web_index_searches_total", "Searches answered by the indexes.",
                    static_cast<double>(counters.index_searches));
  families->gauge("qelalert_web_streams", "Live streams that are open.",
                  static_cast<double>(streams));
  families->begin(MetricType::Gauge, "qelalert_build_info", "1, with the version of this program.");
  families->add(1, {{"version", QELALERT_VERSION}});
}

}  // namespace

std::string metrics_text(const LogView& view, const DaemonLink& daemon, const Counters& counters,
                         size_t streams) {
  Families families;
  add_log(view, &families);
  add_held(view, &families);
  add_daemon(daemon, &families);
  add_own(view, counters, streams, &families);
  return families.text();
}

}  // namespace qel::web
