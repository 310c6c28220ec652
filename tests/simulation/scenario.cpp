#include "scenario.h"

#include <algorithm>
#include <cstdio>

#include "verdict.h"

namespace qel::simulation {

namespace {

constexpr Time kStartWithin = 20 * kSecond;
constexpr Time kRaiseWithin = 11 * kMinute;  // a little longer than there are faults
constexpr Time kFaultsEnd = 10 * kMinute;
constexpr int kAlertsMin = 30;
constexpr int kAlertsMax = 150;
constexpr int kBurstMax = 12;         // alerts that are raised at once
constexpr unsigned kBusyPercent = 5;  // of all runs, which have ten times as many alerts
constexpr int kBusyFactor = 10;
constexpr Time kWaitForIntake = 5 * kMillisecond;
constexpr Time kSettleStep = 10 * kSecond;
constexpr Time kSettleMax = 60 * kMinute;
constexpr Time kPeace = 2 * kMinute;  // that follows, in which nothing may change any more

}  // namespace

Scenario::Scenario(int servers, uint64_t seed)
    : cluster_(servers, seed), faults_(&cluster_, &ledger_) {}

Outcome Scenario::run() {
  Outcome outcome;
  cluster_.trace().event("what may happen: " + faults_.kinds());
  start_servers();
  raise_alerts();
  cluster_.queue().run_until(kStartWithin);
  faults_.begin();
  cluster_.queue().run_until(kFaultsEnd);
  faults_.heal();
  cluster_.queue().run_until(kRaiseWithin);
  outcome.settled_after = wait_until_settled();
  cluster_.queue().run_until(cluster_.queue().now() + kPeace);
  outcome.fault = find_fault(&cluster_, ledger_);
  outcome.trace_hash = cluster_.trace().hash();
  if (!outcome.fault.empty()) {
    outcome.story = cluster_.trace().story() + describe_servers(&cluster_);
  }
  outcome.raised = ledger_.raised_count();
  return outcome;
}

void Scenario::start_servers() {
  for (int server = 0; server < cluster_.size(); ++server) {
    const auto limit = static_cast<uint64_t>(kStartWithin);
    cluster_.queue().after(static_cast<Time>(cluster_.random().below(limit)), [this, server] {
      cluster_.trace().event(cluster_.server(server).name() + " starts");
      cluster_.server(server).start();
    });
  }
}

void Scenario::raise_alerts() {
  alt_test::Random& random = cluster_.random();
  const int factor = random.chance(kBusyPercent) ? kBusyFactor : 1;
  const int alerts = random.between(kAlertsMin, kAlertsMax) * factor;
  for (int alert = 0; alert < alerts;) {
    const int server = random.between(0, cluster_.size() - 1);
    const Time delay = static_cast<Time>(random.below(static_cast<uint64_t>(kRaiseWithin)));
    const int burst = random.chance(70) ? 1 : random.between(2, kBurstMax * factor);
    for (int i = 0; i < burst; ++i) raise_at(server, delay, alert++);
  }
}

void Scenario::raise_at(int server, Time delay, int alert) {
  cluster_.queue().after(delay, [this, server, alert] { raise(server, alert); });
}

void Scenario::raise(int server, int alert) {
  const std::string message = "alert number " + std::to_string(alert);
  const std::string& name = cluster_.server(server).name();
  bool accepted = false;
  if (!cluster_.server(server).raise(cluster_.program(), raise_time(), message, &accepted)) {
    raise_at(server, kWaitForIntake, alert);
    return;
  }
  cluster_.trace().event(message + " is raised on " + name + (accepted ? "" : ", refused"));
  if (accepted) ledger_.raised(message, name);
}

// No two alerts are raised at the same time: in "time.idx" they could stand in any order.
std::string Scenario::raise_time() {
  last_raise_time_ = std::max(last_raise_time_ + kMillisecond, cluster_.queue().now());
  const auto ms = static_cast<int>(last_raise_time_ / kMillisecond);
  char text[32];
  snprintf(text, sizeof text, "2024/01/01 %02d:%02d:%02d.%03d", ms / 3600000, ms / 60000 % 60,
           ms / 1000 % 60, ms % 1000);
  return text;
}

Time Scenario::wait_until_settled() {
  const Time end = kFaultsEnd + kSettleMax;
  while (cluster_.queue().now() < end && !is_settled(&cluster_)) {
    cluster_.queue().run_until(cluster_.queue().now() + kSettleStep);
  }
  return cluster_.queue().now() - kFaultsEnd;
}

}  // namespace qel::simulation
