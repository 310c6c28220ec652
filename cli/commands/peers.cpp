// qelalert peers: what the alert daemon knows of the other servers and holds of their alerts.
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "daemon_client/answer.h"
#include "daemon_client/daemon_socket.h"
#include "output/render.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert peers\n"
    "  qelalert peers -o json";

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

// A range of ids that are missing, both ends included.
struct Hole {
  uint64_t first;
  uint64_t last;
};

std::vector<Hole> holes_of(const Json& held) {
  std::vector<Hole> holes;
  const Json* list = held.is_object() ? list_member(held, "holes") : nullptr;
  if (list == nullptr) return holes;
  for (const Json& pair : *list) {
    const bool is_range = pair.is_array() && pair.size() == 2 && pair[0].is_number_unsigned() &&
                          pair[1].is_number_unsigned() && pair[0] <= pair[1];
    if (is_range) holes.push_back({pair[0].get<uint64_t>(), pair[1].get<uint64_t>()});
  }
  return holes;
}

// "5-6, 9", with "..." behind when more is missing.
std::string holes_text(const Json& held) {
  std::string text;
  uint64_t told = 0;
  for (const auto [first, last] : holes_of(held)) {
    text += (text.empty() ? "" : ", ") + std::to_string(first);
    if (last != first) text += "-" + std::to_string(last);
    told += last - first + 1;
  }
  const Json missing = held.is_object() ? held.value("missing", Json()) : Json();
  const bool more = missing.is_number_unsigned() && missing.get<uint64_t>() > told;
  if (text.empty()) return "-";
  return more ? text + ", ..." : text;
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

ExitCode show_peers(const std::string& output) {
  const Json answer = ask_daemon(daemon_socket_path(), "status");
  std::cout << (output == "json" ? json_text(json_members(answer)) : peers_text(answer));
  return kDone;
}

}  // namespace

Action define_peers(CLI::App& app) {
  add_examples(app, kExamples);
  const auto output = std::make_shared<std::string>("text");
  add_answer_output_option(app, *output);
  return [output] { return show_peers(*output); };
}

}  // namespace qel::cli
