#include "verdict.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "store_content.h"
#include "support/files.h"

namespace qel::simulation {

namespace {

using alt_model::Record;
using Logs = std::vector<std::vector<Record>>;
using Id = std::pair<std::string, uint32_t>;  // server and alert id

std::string id_text(const Id& id) {
  return "alert " + std::to_string(id.second) + " of " + id.first;
}

std::string described(const Record& record) {
  return id_text({record.server, record.id}) + " (" + record.message + ")";
}

// The alerts of one log by their ids. The time of storing is each server's own.
std::map<Id, std::string> by_id(const std::vector<Record>& log) {
  std::map<Id, std::string> alerts;
  for (const Record& record : log) {
    alerts[{record.server, record.id}] = record.server_time + " " + record.message;
  }
  return alerts;
}

std::string find_repeated(const std::string& server, const std::vector<Record>& log) {
  std::set<Id> ids;
  std::set<std::string> messages;
  for (const Record& record : log) {
    if (!ids.insert({record.server, record.id}).second || !messages.insert(record.message).second) {
      return server + " holds twice: " + described(record) + "\n";
    }
  }
  return "";
}

std::string find_difference(const std::string& one, const std::vector<Record>& one_log,
                            const std::string& other, const std::vector<Record>& other_log) {
  const auto alerts = by_id(one_log);
  const auto other_alerts = by_id(other_log);
  std::string text;
  for (const auto& [id, content] : alerts) {
    const auto found = other_alerts.find(id);
    if (found == other_alerts.end()) {
      text += one + " holds " + id_text(id) + ", " + other + " does not\n";
    } else if (found->second != content) {
      text += id_text(id) + " is \"" + content + "\" on " + one + ", \"" + found->second +
              "\" on " + other + "\n";
    }
  }
  for (const auto& [id, content] : other_alerts) {
    if (alerts.count(id) == 0) text += other + " holds " + id_text(id) + ", " + one + " does not\n";
  }
  return text;
}

std::string find_debt(const std::vector<Record>& log, const Ledger& ledger) {
  std::set<std::string> missing = ledger.owed();
  std::string text;
  for (const Record& record : log) {
    missing.erase(record.message);
    if (!ledger.was_raised(record.message)) text += "nobody has raised " + described(record) + "\n";
  }
  for (const std::string& message : missing) text += "lost: " + message + "\n";
  return text;
}

// `ids` are the highest that anybody holds of each server.
std::string find_id_to_repeat(Server* server, const std::map<std::string, uint32_t>& ids) {
  const auto held = ids.find(server->name());
  const uint32_t given = server->status().highest_id;
  if (held == ids.end() || given >= held->second) return "";
  return server->name() + " goes on after id " + std::to_string(given) + ", but " +
         std::to_string(held->second) + " is given already\n";
}

// One that is missing is built by whoever opens it next.
std::string find_wrong_index(Server* server) {
  std::map<std::string, std::string> kept = alt_test::read_directory(server->store());
  if (!server->rebuild_indexes()) return server->name() + ": the indexes cannot be built\n";
  std::map<std::string, std::string> fresh = alt_test::read_directory(server->store());
  // The header of the log tells that they were built.
  kept.erase(alt_model::kLogName);
  std::erase_if(fresh, [&](const auto& file) { return kept.count(file.first) == 0; });
  const std::string difference = alt_test::first_difference(kept, fresh);
  return difference.empty() ? ""
                            : server->name() + " had indexes that differ: " + difference + "\n";
}

std::string compare_logs(Cluster* cluster, const Logs& logs) {
  std::string text;
  for (size_t i = 0; i < logs.size(); ++i) {
    const std::string& name = cluster->server(static_cast<int>(i)).name();
    text += find_repeated(name, logs[i]);
    text += find_difference(cluster->server(0).name(), logs[0], name, logs[i]);
  }
  return text;
}

std::string examine_servers(Cluster* cluster, const Logs& logs) {
  std::map<std::string, uint32_t> highest;
  for (const auto& log : logs) {
    for (const Record& record : log) {
      highest[record.server] = std::max(highest[record.server], record.id);
    }
  }
  std::string text;
  for (int i = 0; i < cluster->size(); ++i) {
    Server& server = cluster->server(i);
    const NodeStatus status = server.status();
    if (!status.may_write) text += server.name() + " may not write\n";
    if (!status.intake_empty) text += server.name() + " has alerts waiting in its intake\n";
    if (alt_test::file_exists(server.store() + "/alerttmp.bad")) {
      text += server.name() + " has set an alert aside\n";
    }
    if (!server.promises().broken().empty()) {
      text += server.name() + " acknowledged too early: " + server.promises().broken() + "\n";
    }
    text += find_id_to_repeat(&server, highest) + find_wrong_index(&server);
  }
  return text;
}

}  // namespace

bool is_settled(Cluster* cluster) {
  std::string held;
  for (int i = 0; i < cluster->size(); ++i) {
    if (!cluster->server(i).runs()) return false;
    const NodeStatus status = cluster->server(i).status();
    if (!status.may_write || !status.intake_empty) return false;
    if (i > 0 && status.held != held) return false;
    held = status.held;
  }
  return true;
}

std::string describe_servers(Cluster* cluster) {
  std::string text;
  for (int i = 0; i < cluster->size(); ++i) {
    Server& server = cluster->server(i);
    if (!server.runs()) {
      text += server.name() + " does not run\n";
      continue;
    }
    const NodeStatus status = server.status();
    text += server.name() + ": state " + std::to_string(status.sync_step) +
            (status.may_write ? ", may write" : ", may not write") + ", last id " +
            std::to_string(status.highest_id) + ", holds " + status.held + "\n";
  }
  return text;
}

std::string find_fault(Cluster* cluster, const Ledger& ledger) {
  Logs logs;
  for (int i = 0; i < cluster->size(); ++i) {
    if (!cluster->server(i).runs()) return cluster->server(i).name() + " does not run\n";
    logs.push_back(read_log(cluster->server(i).store()));
  }
  return compare_logs(cluster, logs) + find_debt(logs[0], ledger) + examine_servers(cluster, logs);
}

}  // namespace qel::simulation
