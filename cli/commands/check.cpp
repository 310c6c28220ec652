// qelalert check: one line and an exit code for a monitoring system.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "alert_log/layout.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "alerts/visible_text.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/selection.h"
#include "daemon_client/answer.h"
#include "daemon_client/daemon_socket.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert check\n"
    "  qelalert check --last 1h -p 1 -w 1 -c 5\n"
    "  qelalert check -s node1 -m disk --last 10min -c 1";

constexpr uint64_t kIntakeWarning = kIntakeMax / 4;  // bytes that wait to be stored
constexpr uint64_t kIntakeCritical = kIntakeMax / 4 * 3;

// The states of a check, which are its exit codes as well.
enum Severity { kOk = 0, kWarning = 1, kCritical = 2, kUnknown = 3 };
constexpr const char* kSeverityNames[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};

struct CheckOptions {
  Query query;
  int warning = 0;  // matching alerts; 0: no threshold
  int critical = 0;
};

// What was found, and the figures.
class Verdict {
 public:
  void find(Severity severity, const std::string& text) {
    severity_ = std::max(severity_, severity);
    findings_.push_back(text);
  }
  // `limits`: warning;critical;lowest;highest, as far as there are any.
  void measure(const std::string& name, uint64_t value, const std::string& limits = ";;0") {
    figures_ += " " + name + "=" + std::to_string(value) + ";" + limits;
  }
  Severity severity() const { return severity_; }
  // "|" begins the figures, so no text may hold it.
  std::string line() const {
    std::string text;
    for (const std::string& finding : findings_) text += (text.empty() ? "" : "; ") + finding;
    if (text.empty()) text = "daemon, log and peers are well";
    text = visible(text);
    std::replace(text.begin(), text.end(), '|', '/');
    return std::string("ALERTLOG ") + kSeverityNames[severity_] + " - " + text +
           (figures_.empty() ? "" : " |" + figures_) + "\n";
  }

 private:
  Severity severity_ = kOk;
  std::vector<std::string> findings_;
  std::string figures_;
};

std::string threshold(int limit) { return limit > 0 ? std::to_string(limit) : ""; }

void judge_intake(const Json& status, Verdict* verdict) {
  const uint64_t bytes = member_count(status, "/intake/bytes");
  const std::string text = std::to_string(bytes) + " bytes wait in the intake";
  if (bytes >= kIntakeWarning) verdict->find(bytes >= kIntakeCritical ? kCritical : kWarning, text);
  const uint64_t aside = member_count(status, "/intake/set_aside");
  if (aside > 0) verdict->find(kWarning, std::to_string(aside) + " broken intake lines set aside");
  verdict->measure("intake_bytes", bytes,
                   std::to_string(kIntakeWarning) + ";" + std::to_string(kIntakeCritical) + ";0");
}

void judge_log(const Json& status, Verdict* verdict) {
  if (member_text(status, "/log/count") == "-") verdict->find(kCritical, "the log cannot be read");
  verdict->measure("alerts", member_count(status, "/log/count"),
                   ";;0;" + std::to_string(member_count(status, "/log/capacity")));
}

void judge_peers(const Json& status, Verdict* verdict) {
  uint64_t peers = 0;
  uint64_t answering = 0;
  uint64_t unacknowledged = 0;
  for_each_object(status, "peers", [&](const Json& peer) {
    const std::string state = member_text(peer, "/state");
    ++peers;
    unacknowledged += member_count(peer, "/unacknowledged");
    if (state == "answering") ++answering;
    if (state != "answering")
      verdict->find(kWarning, member_text(peer, "/server") + " is " + state);
  });
  if (peers > 0 && answering == 0) verdict->find(kCritical, "no other server answers");
  verdict->measure("peers", peers);
  verdict->measure("peers_answering", answering);
  verdict->measure("unacknowledged", unacknowledged);
}

void judge_held(const Json& status, Verdict* verdict) {
  uint64_t missing = 0;
  for_each_object(status, "held", [&](const Json& held) {
    const uint64_t of_server = member_count(held, "/missing");
    missing += of_server;
    if (of_server == 0) return;
    verdict->find(kWarning, std::to_string(of_server) + " alerts of " +
                                member_text(held, "/server") + " are missing");
  });
  verdict->measure("missing", missing);
}

void judge_daemon(Verdict* verdict) {
  try {
    const Json status = ask_daemon(daemon_socket_path(), {{"request", "status"}});
    const std::string state = member_text(status, "/state");
    if (state != "running") verdict->find(kWarning, "the alert daemon is " + state);
    judge_log(status, verdict);
    judge_intake(status, verdict);
    judge_peers(status, verdict);
    judge_held(status, verdict);
  } catch (const NotReachable& reason) {
    verdict->find(kCritical, reason.what());
  }
}

void judge_alerts(const CheckOptions& options, Verdict* verdict) {
  const Session session;
  const Snapshot snapshot;
  const size_t matching = snapshot.matching(options.query).size();
  const auto reached = [matching](int limit) {
    return limit > 0 && matching >= static_cast<size_t>(limit);
  };
  const std::string text = std::to_string(matching) + " alerts match";
  if (reached(options.critical)) {
    verdict->find(kCritical, text);
  } else if (reached(options.warning)) {
    verdict->find(kWarning, text);
  }
  verdict->measure("matching", matching,
                   threshold(options.warning) + ";" + threshold(options.critical) + ";0");
}

ExitCode check(const CheckOptions& options) {
  check_period(options.query);
  Verdict verdict;
  try {
    judge_daemon(&verdict);
    if (options.warning > 0 || options.critical > 0) judge_alerts(options, &verdict);
  } catch (const Failure& failure) {
    verdict.find(kUnknown, failure.what());
  }
  print(verdict.line());
  return static_cast<ExitCode>(verdict.severity());
}

}  // namespace

Action define_check(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<CheckOptions>();
  add_selection_options(app, options->query);
  add_option(app, "-w,--warning", options->warning, "Warning at so many matching alerts")
      .type_name("COUNT")
      .check(number_from_1());
  add_option(app, "-c,--critical", options->critical, "Critical at so many matching alerts")
      .type_name("COUNT")
      .check(number_from_1());
  add_notes(app, "Exit codes: 0 OK, 1 WARNING, 2 CRITICAL, 3 UNKNOWN (a wrong option, too).");
  return [options] { return check(*options); };
}

}  // namespace qel::cli
