// qelalert status: asks the alert daemon how it is, or the store when it does not answer.
#include <sys/stat.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "alert_log/layout.h"
#include "alerts/session.h"
#include "alerts/store.h"
#include "commands/command.h"
#include "commands/options.h"
#include "daemon_client/answer.h"
#include "daemon_client/daemon_socket.h"
#include "output/columns.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert status\n"
    "  qelalert status -o json\n"
    "  QELALERT_SOCKET=/run/other.sock qelalert status";

constexpr Member kMembers[] = {{"Server:", "/server"},
                               {"State:", "/state"},
                               {"Version:", "/version"},
                               {"PID:", "/pid"},
                               {"Started:", "/started"},
                               {"Alert log:", "/log/path"},
                               {"  Capacity:", "/log/capacity"},
                               {"  Alerts:", "/log/count"},
                               {"  Full:", "/log/full"},
                               {"  Oldest:", "/log/oldest"},
                               {"  Newest:", "/log/newest"},
                               {"  Own alert id:", "/log/current_alert_id"},
                               {"Intake:", "/intake/path"},
                               {"  Bytes:", "/intake/bytes"},
                               {"  Waiting:", "/intake/waiting"},
                               {"  Stored:", "/intake/stored"},
                               {"  Set aside:", "/intake/set_aside"}};

constexpr Member kPeerColumns[] = {{"PEER", "/server"},
                                   {"STATE", "/state"},
                                   {"LAST ANSWER", "/last_answer"},
                                   {"UNACKNOWLEDGED", "/unacknowledged"}};

// Datagrams that the daemon did not accept, of all reasons.
uint64_t refused_datagrams(const Json& status) {
  const Json::json_pointer place{"/network/refused"};
  uint64_t total = 0;
  if (!status.contains(place)) return total;
  for (const Json& count : status.at(place)) {
    if (count.is_number_unsigned()) total += count.get<uint64_t>();
  }
  return total;
}

// What is worth a line only when there is something to tell.
void append_events(const Json& status, std::vector<Row>* rows) {
  const std::string catch_up = catch_up_text(status);
  const uint64_t refused = refused_datagrams(status);
  if (!catch_up.empty()) rows->push_back({"Catch-up:", catch_up});
  if (refused > 0) rows->push_back({"Datagrams:", std::to_string(refused) + " refused"});
}

std::string status_text(const Json& status) {
  std::vector<Row> rows;
  for (const Member& member : kMembers) {
    rows.push_back({member.title, member_text(status, member.pointer)});
  }
  append_events(status, &rows);
  const Json* peers = list_member(status, "peers");
  const bool listed = peers != nullptr && !peers->empty();
  if (!listed) rows.push_back({"Peers:", peers != nullptr ? "none" : "-"});
  const std::string text = align_columns(rows, 0);
  return listed ? text + "\n" + member_table(kPeerColumns, *peers) : text;
}

void print_status(const Json& status, const std::string& output) {
  print(output == "json" ? json_text(status) : status_text(status));
}

Json log_status() {
  Json status = {{"path", log_path()}};
  try {
    const LogState log = read_log_state();
    status["capacity"] = log.capacity;
    status["count"] = log.count;
    status["full"] = log.count >= log.capacity;
    status["current_alert_id"] = log.current_alert_id;
  } catch (const Failure& failure) {
    message(failure.what());
  }
  return status;
}

Json intake_status() {
  Json status = {{"path", intake_path()}};
  struct stat file {};
  if (stat(intake_path().c_str(), &file) == 0) {
    status["bytes"] = file.st_size;
    status["waiting"] = static_cast<size_t>(file.st_size) / kRecordLine;
  }
  return status;
}

// What the files tell, in the form of the daemon's answer.
Json store_status(bool stopped) {
  const Session session;
  return {{"server", local_server_name()},
          {"state", stopped ? "not running" : "not reachable"},
          {"log", log_status()},
          {"intake", intake_status()}};
}

ExitCode without_daemon(const NotReachable& reason, const std::string& output) {
  message(reason.what());
  message("reading the store instead");
  try {
    print_status(store_status(reason.stopped()), output);
  } catch (const Failure& failure) {
    message(failure.what());
  }
  return kNotReachable;
}

ExitCode show_status(const std::string& output) {
  try {
    print_status(ask_daemon(daemon_socket_path(), {{"request", "status"}}), output);
    return kDone;
  } catch (const NotReachable& reason) {
    return without_daemon(reason, output);
  }
}

}  // namespace

Action define_status(CLI::App& app) {
  add_examples(app, kExamples);
  const auto output = std::make_shared<std::string>("text");
  add_answer_output_option(app, *output);
  return [output] { return show_status(*output); };
}

}  // namespace qel::cli
