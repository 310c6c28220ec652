// qelalert peers: what the alert daemon knows of the other servers and holds of their alerts.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "alerts/id_runs.h"
#include "alerts/session.h"
#include "commands/command.h"
#include "commands/options.h"
#include "daemon_client/answer.h"
#include "daemon_client/daemon_socket.h"
#include "output/columns.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert peers\n"
    "  qelalert peers --check || echo \"the picture is incomplete\"\n"
    "  qelalert peers -o json";

struct PeersOptions {
  bool check = false;
  std::string output = "text";
};

constexpr const char* kJsonMembers[] = {"peers", "held", "catch_up", "network"};

constexpr Member kPeerColumns[] = {{"PEER", "/server"},
                                   {"STATE", "/state"},
                                   {"UNACKNOWLEDGED", "/unacknowledged"},
                                   {"GIVEN UP", "/given_up"},
                                   {"CATCH-UP", "/catch_up"}};

// Behind the peer's name. The address comes last: it alone may be too long for a narrow terminal.
constexpr Member kAddressColumns[] = {
    {"INTERCONNECT", "/interconnect"}, {"LAST ANSWER", "/last_heard"}, {"ADDRESS", "/ip"}};

constexpr Member kHeldColumns[] = {{"ALERTS OF", "/server"},
                                   {"HIGHEST ID", "/highest"},
                                   {"HELD", "/count"},
                                   {"MISSING", "/missing"}};

// Empty when no peer has an address.
std::string address_table(const Json& peers) {
  std::vector<Row> rows = {title_row(kAddressColumns)};
  rows[0].insert(rows[0].begin(), "PEER");
  for (const Json& peer : peers) {
    const Json* addresses = peer.is_object() ? list_member(peer, "addresses") : nullptr;
    if (addresses == nullptr) continue;
    for (const Json& address : *addresses) {
      Row& row = rows.emplace_back(member_row(kAddressColumns, address));
      row.insert(row.begin(), member_text(peer, "/server"));
    }
  }
  return rows.size() > 1 ? align_columns(rows, terminal_width()) : "";
}

std::vector<IdRun> holes_of(const Json& held) {
  std::vector<IdRun> holes;
  const Json* list = held.is_object() ? list_member(held, "holes") : nullptr;
  if (list == nullptr) return holes;
  for (const Json& pair : *list) {
    const bool is_range = pair.is_array() && pair.size() == 2 && pair[0].is_number_unsigned() &&
                          pair[1].is_number_unsigned() && pair[0] <= pair[1];
    if (is_range) holes.push_back({pair[0].get<uint64_t>(), pair[1].get<uint64_t>()});
  }
  return holes;
}

// "5-6, 9", with "..." behind when the daemon has told not all of them.
std::string holes_text(const Json& held) {
  const std::vector<IdRun> holes = holes_of(held);
  uint64_t told = 0;
  for (const IdRun& hole : holes) told += hole.last - hole.first + 1;
  const bool more = member_count(held, "/missing") > told;
  return runs_text(holes, holes.size()) + (more && !holes.empty() ? ", ..." : "");
}

std::string held_table(const Json& held) {
  std::vector<Row> rows = {title_row(kHeldColumns)};
  rows[0].emplace_back("HOLES");
  for (const Json& server : held) {
    rows.push_back(member_row(kHeldColumns, server));
    rows.back().push_back(holes_text(server));
  }
  return align_columns(rows, terminal_width());
}

std::string peers_text(const Json& answer) {
  const Json* peers = list_member(answer, "peers");
  const Json* held = list_member(answer, "held");
  const bool with_peers = peers != nullptr && !peers->empty();
  const bool with_alerts = held != nullptr && !held->empty();
  std::vector<Row> rows;
  if (!with_peers) rows.push_back({"Peers:", peers == nullptr ? "-" : "none"});
  if (!with_alerts) rows.push_back({"Alerts held:", held == nullptr ? "-" : "none"});
  const std::string catch_up = catch_up_text(answer);
  if (!catch_up.empty()) rows.push_back({"Catch-up:", catch_up});
  std::string text;
  for (const std::string& part : {with_peers ? member_table(kPeerColumns, *peers) : "",
                                  with_peers ? address_table(*peers) : "",
                                  with_alerts ? held_table(*held) : "", align_columns(rows, 0)}) {
    if (!text.empty() && !part.empty()) text += "\n";
    text += part;
  }
  return text;
}

Json json_members(const Json& answer) {
  Json members = Json::object();
  for (const char* name : kJsonMembers) {
    if (answer.contains(name)) members[name] = answer[name];
  }
  return members;
}

// What keeps this server's picture from being complete, a sentence each.
std::vector<std::string> incompleteness(const Json& answer) {
  std::vector<std::string> findings;
  const auto note = [&findings](const std::string& text) { findings.push_back(text); };
  for_each_object(answer, "peers", [&](const Json& peer) {
    const std::string name = member_text(peer, "/server");
    const std::string state = member_text(peer, "/state");
    const uint64_t waiting = member_count(peer, "/unacknowledged");
    if (state != "answering") note(name + " is " + state);
    if (waiting > 0) note(name + " has not acknowledged " + std::to_string(waiting) + " alerts");
  });
  for_each_object(answer, "held", [&](const Json& held) {
    const uint64_t missing = member_count(held, "/missing");
    if (missing == 0) return;
    note(std::to_string(missing) + " alerts of " + member_text(held, "/server") + " are missing");
  });
  return findings;
}

ExitCode show_peers(const PeersOptions& options) {
  const Json answer = ask_daemon(daemon_socket_path(), {{"request", "status"}});
  print(options.output == "json" ? json_text(json_members(answer)) : peers_text(answer));
  if (!options.check) return kDone;
  const std::vector<std::string> findings = incompleteness(answer);
  for (const std::string& finding : findings) message(finding);
  return findings.empty() ? kDone : kIncomplete;
}

}  // namespace

Action define_peers(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<PeersOptions>();
  add_flag(app, "--check", options->check,
           "Exit code 4 when a server is silent or behind, or alerts are missing here");
  add_answer_output_option(app, options->output);
  return [options] { return show_peers(*options); };
}

}  // namespace qel::cli
