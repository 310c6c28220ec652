// qelalert status: asks the alert daemon how it is, or the store when it does not answer.
#include <sys/stat.h>

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "alert_log/layout.h"
#include "command.h"
#include "daemon_socket.h"
#include "options.h"
#include "render.h"
#include "session.h"
#include "store.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert status\n"
    "  qelalert status -o json\n"
    "  QELALERT_SOCKET=/run/other.sock qelalert status";

struct Member {
  const char* title;
  const char* pointer;  // where it stands in the answer
};

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

constexpr Member kPeerMembers[] = {{"PEER", "/server"},
                                   {"STATE", "/state"},
                                   {"LAST ANSWER", "/last_answer"},
                                   {"UNACKNOWLEDGED", "/unacknowledged"},
                                   {"GIVEN UP", "/given_up"},
                                   {"CATCH-UP", "/catch_up"}};

std::string member_text(const Json& object, const char* pointer) {
  const Json::json_pointer place{pointer};
  const Json value = object.contains(place) ? object.at(place) : Json();
  if (value.is_null() || value == "") return "-";
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>();
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string peer_table(const Json& peers) {
  std::vector<Row> rows(1);
  for (const Member& member : kPeerMembers) rows[0].emplace_back(member.title);
  for (const Json& peer : peers) {
    Row& row = rows.emplace_back();
    for (const Member& member : kPeerMembers) row.push_back(member_text(peer, member.pointer));
  }
  return align_columns(rows, terminal_width());
}

std::string status_text(const Json& status) {
  std::vector<Row> rows;
  for (const Member& member : kMembers) {
    rows.push_back({member.title, member_text(status, member.pointer)});
  }
  const auto peers = status.find("peers");
  const bool listed = peers != status.end() && peers->is_array();
  if (!listed || peers->empty()) rows.push_back({"Peers:", listed ? "none" : "-"});
  const std::string text = align_columns(rows, 0);
  return listed && !peers->empty() ? text + "\n" + peer_table(*peers) : text;
}

void print_status(const Json& status, const std::string& output) {
  std::cout << (output == "json" ? json_text(status) : status_text(status));
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
    print_status(ask_daemon(daemon_socket_path(), "status"), output);
    return kDone;
  } catch (const NotReachable& reason) {
    return without_daemon(reason, output);
  }
}

}  // namespace

Action define_status(CLI::App& app) {
  add_examples(app, kExamples);
  const auto output = std::make_shared<std::string>("text");
  add_choice(app, "-o,--output", *output, {"text", "json"}, "How it is shown");
  return [output] { return show_status(*output); };
}

}  // namespace qel::cli
