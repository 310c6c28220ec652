#include "cluster.h"

#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include "relay.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

// No name begins another one.
constexpr const char* kNames[] = {"alpha", "beta", "gamma", "delta"};
constexpr size_t kLogShown = 8000;  // bytes at the end of a diagnostic log

using nlohmann::json;

// Programs that start meanwhile read the old file or the new one.
void replace_file(const std::string& path, const std::string& content) {
  alt_test::write_file(path + ".new", content);
  std::filesystem::rename(path + ".new", path);
}

bool has_caught_up(const json& status) {
  if (!status.contains("peers") || status["state"] != "running") return false;
  const json& peers = status["peers"];
  return status["catch_up"]["step"] == "idle" &&
         std::all_of(peers.begin(), peers.end(),
                     [](const json& peer) { return peer["catch_up"] == ""; });
}

}  // namespace

Cluster::Cluster(int servers, int interconnects, Network network)
    : interconnects_(interconnects), network_(network), next_place_(servers) {
  if (index(servers) > std::size(kNames)) throw std::runtime_error("a name is missing");
  std::vector<std::string> addresses;
  for (int i = 0; i < servers; ++i) {
    const std::vector<int> places(static_cast<size_t>(interconnects), i);
    nodes_.push_back({std::make_unique<Server>(kNames[i]), nullptr, true, places});
    for (int k = 0; k < interconnects; ++k) addresses.push_back(loopback_address(i, k));
  }
  port_ = free_port(addresses);
  for (const Node& node : nodes_) node.server->set("webalert", "udpport", std::to_string(port_));
  write_lists();
}

std::string Cluster::address(int i, int interconnect) const {
  return loopback_address(nodes_[index(i)].places[index(interconnect)], interconnect);
}

void Cluster::hurry() {
  for (const char* element : {"resend", "heartbeat", "announce"}) {
    set_for_all("daemon", element, "1");
  }
  set_for_all("daemon", "retries", "2");
  set_for_all("sync", "recheck", "0");
}

// Of equal elements the first one counts.
void Cluster::set_for_all(const std::string& parent, const std::string& element,
                          const std::string& text) {
  const std::string opening = "<" + parent + ">";
  for (const Node& node : nodes_) {
    node.server->edit("webalert", opening,
                      opening + "<" + element + ">" + text + "</" + element + ">");
  }
}

std::string Cluster::listed(int i, int viewer) const {
  const Node& node = nodes_[index(i)];
  const bool is_true = network_ == Network::kDirect || i == viewer;
  const int view = is_true ? kTrueView : Relay::view_of(viewer);
  std::string text = "<server><name>" + node.server->host() + "</name>";
  for (int k = 0; k < interconnects_; ++k) {
    text += "<address><ip>" + loopback_address(node.places[index(k)], k, view) +
            "</ip><interconnect>" + std::to_string(k) + "</interconnect></address>";
  }
  return text + "</server>\n";
}

// A server that has left, or has not joined yet, is alone.
void Cluster::write_lists() const {
  for (int viewer = 0; viewer < size(); ++viewer) {
    std::string list = "<root><cluster>\n";
    for (int i = 0; i < size(); ++i) {
      const bool is_seen = nodes_[index(i)].is_member && nodes_[index(viewer)].is_member;
      if (is_seen || i == viewer) list += listed(i, viewer);
    }
    replace_file(server(viewer).config("cluster"), list + "</cluster></root>\n");
  }
}

void Cluster::leave(int i) {
  nodes_[index(i)].is_member = false;
  write_lists();
}

void Cluster::join(int i) {
  nodes_[index(i)].is_member = true;
  write_lists();
}

void Cluster::move(int i, int interconnect) {
  nodes_[index(i)].places[index(interconnect)] = next_place_++;
  write_lists();
}

void Cluster::reload(int i) { daemon(i).signal(SIGHUP); }

void Cluster::reload_all() {
  for (int i = 0; i < size(); ++i) {
    if (runs(i)) reload(i);
  }
}

void Cluster::launch(int i) { nodes_[index(i)].daemon = server(i).launch_daemon(); }

void Cluster::start(int i) { nodes_[index(i)].daemon = server(i).start_daemon(); }

void Cluster::start_all() {
  for (int i = 0; i < size(); ++i) start(i);
}

bool Cluster::stop(int i) {
  const auto daemon = std::move(nodes_[index(i)].daemon);
  return Server::stop(daemon.get()) == 0;
}

bool Cluster::stop_all() {
  bool well = true;
  for (int i = 0; i < size(); ++i) well = (!runs(i) || stop(i)) && well;
  return well;
}

void Cluster::kill(int i) {
  const auto daemon = std::move(nodes_[index(i)].daemon);
  daemon->signal(SIGKILL);
  if (daemon->wait() != 1000 + SIGKILL) throw std::runtime_error("ended before: " + daemon->err());
}

bool Cluster::is_settled() const {
  return std::all_of(nodes_.begin(), nodes_.end(), [](const Node& node) {
    return node.daemon == nullptr || has_caught_up(node.server->status());
  });
}

json Cluster::peer(int i, int other) const {
  const json status = server(i).status();
  for (const json& peer : status.value("peers", json::array())) {
    if (peer["server"] == server(other).host()) return peer;
  }
  return nullptr;
}

std::string Cluster::diagnostic_logs() const {
  std::string text;
  for (const Node& node : nodes_) {
    const std::string log = node.server->diagnostic_log();
    text += "==== " + node.server->host() + "\n";
    text += log.size() > kLogShown ? "...\n" + log.substr(log.size() - kLogShown) : log;
  }
  return text;
}

}  // namespace qel::system_test
