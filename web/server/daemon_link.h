// What the alert daemon of this server tells of itself.
#pragma once

#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "common/unique_fd.h"
#include "daemon/event_loop.h"

namespace qel::web {

// Asks the daemon for its status over its Unix socket now and then, without ever waiting for it.
class DaemonLink {
 public:
  using Json = nlohmann::ordered_json;
  using Clock = std::chrono::system_clock;

  DaemonLink(sd_event* event, std::string socket_path);
  DaemonLink(const DaemonLink&) = delete;
  DaemonLink& operator=(const DaemonLink&) = delete;

  // Asks, unless an answer is being waited for or the last one is younger than a second.
  void ask();

  bool reachable() const { return cause_.empty() && answered_.has_value(); }
  const std::string& cause() const { return cause_; }  // why not
  const Json& status() const { return status_; }       // the last answer; null: never any
  std::optional<Clock::time_point> answered() const { return answered_; }

 private:
  static int on_ready(sd_event_source*, int fd, uint32_t events, void* self);
  static int on_time(sd_event_source*, uint64_t, void* self);

  void begin();
  void receive();
  void finish();
  void fail(const std::string& cause);
  void close();

  sd_event* event_;
  const std::string path_;
  UniqueFd socket_;
  std::string answer_;
  std::string cause_;
  Json status_;
  std::optional<Clock::time_point> answered_;
  std::chrono::steady_clock::time_point asked_;
  daemon::Source io_;     // while an answer is waited for
  daemon::Source clock_;  // asks every kEvery_us, and gives up waiting
};

}  // namespace qel::web
