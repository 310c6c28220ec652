#include "model/tick_model.h"

#include <algorithm>

namespace alt_model {
namespace {

constexpr int kIdle = 6;

int held(int ticks) { return std::clamp(ticks, 1, 999); }

// Counts down once; at its end it starts again and the request is raised.
void count(int* time, int reload, int* request) {
  if (--*time >= 1) return;
  *time = reload;
  *request = 1;
}

bool count(ArmedWait* wait, int reload) {
  if (--wait->time >= 1 || wait->armed == 0) return false;
  *wait = {0, reload, 1};
  return true;
}

}  // namespace

void TickModel::set_first_values(const TickSettings& settings) {
  if (started_) return;
  started_ = true;
  resend_ = held(ratio * settings.resend);
  drop_ = ratio * settings.resend * settings.retries + 1;
  heartbeat_ = held(ratio * settings.heartbeat);
  own_id_ = held(ratio * settings.ids);
  names.time = held(ratio * settings.names);
  ids.time = held(ratio * settings.ids);
}

void TickModel::read_ratio(const SharedRatio& shared) {
  if (!attached_ && shared.attach_fails) {
    ratio = 1;
    return;
  }
  ratio = shared.read_fails ? 1 : std::max(shared.ratio, 1);
  attached_ = shared.detach_fails;
}

void TickModel::ding(const TickSettings& settings, const SharedRatio& shared, int64_t clock) {
  set_first_values(settings);
  if (waiting_for_own_id != 0 && --own_id_ < 1) {
    own_id_ = ratio * settings.ids;
    own_id_now = 1;
    waiting_for_own_id = 0;
  }
  if (step != kIdle && clock - last_progress > settings.stall) end_resynchronize(settings, true);
  if (settings.read_ratio <= 1) read_ratio(shared);
  if (--write_ < 1 && may_write != 0) {
    write_ = 2;
    write_now = 1;
  }
  count(&heartbeat_, ratio * settings.heartbeat, &heartbeat_now);
  count(&announce_, settings.announce, &announce_now);
  count(&resend_, ratio * settings.resend, &resend_now);
  count(&drop_, ratio * settings.resend * settings.retries + 1, &drop_now);
  count(&server_list_, settings.server_list, &server_list_now);
  const bool moved[] = {count(&new_server, settings.new_server),
                        count(&names, held(ratio * settings.names)),
                        count(&ids, held(ratio * settings.ids))};
  if (moved[0] || moved[1] || moved[2]) last_progress = clock;
}

void TickModel::start_resynchronize(const TickSettings& settings) {
  step = 0;
  new_server.armed = new_server.now = 0;
  names.time = held(ratio * settings.names);
  names.armed = 1;
  ids.armed = ids.now = 0;
}

void TickModel::end_resynchronize(const TickSettings& settings, bool keep_peer) {
  new_server = {1, settings.new_server, 0};
  names.armed = names.now = 0;
  ids.armed = ids.now = 0;
  step = kIdle;
  if (!keep_peer || new_servers.empty()) return;
  const std::string first = new_servers[0];
  if (std::count(new_servers.begin(), new_servers.end(), first) == 1) new_servers.push_back(first);
}

std::string TickModel::describe() const {
  std::string text;
  const auto add = [&](const char* name, int64_t value) {
    text += std::string(name) + " " + std::to_string(value) + ", ";
  };
  add("ratio", ratio);
  add("last progress", last_progress);
  add("step", step);
  add("new server armed", new_server.armed);
  add("time", new_server.time);
  add("now", new_server.now);
  add("names armed", names.armed);
  add("time", names.time);
  add("now", names.now);
  add("ids armed", ids.armed);
  add("time", ids.time);
  add("now", ids.now);
  add("waiting for own id", waiting_for_own_id);
  add("now", own_id_now);
  add("may write", may_write);
  add("write now", write_now);
  add("resend now", resend_now);
  add("drop now", drop_now);
  add("server list now", server_list_now);
  add("heartbeat now", heartbeat_now);
  add("announce now", announce_now);
  for (const std::string& server : new_servers) text += server + " ";
  return text;
}

}  // namespace alt_model
