// The tick beside its plain rules: random settings, and a daemon, peers and a clock that do as they
// please between ticks. After each tick all that the daemon can see must be the same.
#include <gtest/gtest.h>
#include <qelipc.h>

#include <algorithm>

#include "model/tick_model.h"
#include "support/process.h"
#include "support/protocol_test.h"
#include "support/random.h"
#include "support/tick_clock.h"

namespace alt_test {
namespace {

using alt_model::SharedRatio;
using alt_model::TickModel;
using alt_model::TickSettings;

// What the model calls by other names.
struct Pair {
  int* library;
  int TickModel::*model;
};
const Pair kPlain[] = {
    {&current_ratio, &TickModel::ratio},
    {&g_sync_step, &TickModel::step},
    {&start_count_time_for_maxalertid_localserver, &TickModel::waiting_for_own_id},
    {&start_write_local_logfile, &TickModel::may_write},
    {&write_alert_now, &TickModel::write_now},
    {&resend_now, &TickModel::resend_now},
    {&drop_now, &TickModel::drop_now},
    {&check_svrlist_now, &TickModel::server_list_now},
    {&start_heartbeat_now, &TickModel::heartbeat_now},
    {&start_send_new_server_now, &TickModel::announce_now},
    {&get_maxalertid_localserver_now, &TickModel::own_id_now}};
struct WaitPair {
  int* armed;
  int* time;
  int* now;
  alt_model::ArmedWait TickModel::*model;
};
const WaitPair kWaits[] = {
    {&check_newsvr_flag, &check_newsvr_time, &check_newsvr_now, &TickModel::new_server},
    {&sync_single_svrname_flag, &sync_single_svrname_time, &sync_single_svrname_now,
     &TickModel::names},
    {&sync_single_altid_flag, &sync_single_altid_time, &sync_single_altid_now, &TickModel::ids}};

TickModel seen_in_library() {
  TickModel seen;
  for (const Pair& each : kPlain) seen.*each.model = *each.library;
  for (const WaitPair& each : kWaits) seen.*each.model = {*each.armed, *each.time, *each.now};
  seen.last_progress = g_last_resync_time;
  seen.new_servers = names_of(new_server_list);
  return seen;
}

// One daemon's life, in a process of its own: its countdowns begin anew.
class Life {
 public:
  explicit Life(uint64_t seed) : random_(seed) { start(); }

  // What came apart; empty when nothing did.
  std::string run(int ticks) {
    for (int i = 0; i < ticks; ++i) {
      between_ticks();
      tick();
      const std::string library = seen_in_library().describe();
      if (library == model_.describe()) continue;
      return "tick " + std::to_string(i) + "\nlibrary: " + library +
             "\nmodel:   " + model_.describe();
    }
    return "";
  }

 private:
  void start() {
    for (const Pair& each : kPlain) model_.*each.model = *each.library;
    g_last_resync_time = model_.last_progress = clock_.now();
    for (int i = 0; i < 20; ++i) change_setting();
    settings_.read_ratio = random_.between(0, 3);
    apply_settings();
  }
  void change_setting() {
    int TickSettings::*const all[] = {&TickSettings::resend,     &TickSettings::retries,
                                      &TickSettings::heartbeat,  &TickSettings::ids,
                                      &TickSettings::names,      &TickSettings::announce,
                                      &TickSettings::new_server, &TickSettings::server_list};
    const std::vector<int> values = {-3, 0, 1, 2, 3, 5, 8, 20, 70, 400, 999, 1000, 1500};
    settings_.*all[random_.below(std::size(all))] = random_.pick(values);
    settings_.stall = random_.between(-5, 900);
    apply_settings();
  }
  void apply_settings() {
    g_resend_timeout = settings_.resend;
    g_alert_retry_count = settings_.retries;
    g_hb_timeout = settings_.heartbeat;
    g_get_altid_timeout = settings_.ids;
    g_get_srvname_timeout = settings_.names;
    g_sendtonewsvr_interval = settings_.announce;
    g_alert_chksrvlist_interval = settings_.server_list;
    g_alert_cheknewsvr_interval = settings_.new_server;
    g_alert_getradio_interval = settings_.read_ratio;
    g_resync_time_interval = settings_.stall;
  }
  void between_ticks() {
    if (random_.chance(5)) clock_.advance(random_.between(-100, 2000));
    clock_.advance(random_.between(0, 40));
    answer_requests();
    if (random_.chance(3)) change_setting();
    if (random_.chance(5)) model_.ratio = current_ratio = random_.between(-1, 6);
    if (random_.chance(5)) model_.step = g_sync_step = random_.between(0, 6);
    if (random_.chance(5)) model_.may_write = start_write_local_logfile = random_.between(0, 1);
    if (random_.chance(5)) {
      model_.waiting_for_own_id = start_count_time_for_maxalertid_localserver = 1;
    }
    if (random_.chance(10)) arm_wait();
    if (random_.chance(10)) resynchronise();
    if (random_.chance(5)) change_new_servers();
  }
  void answer_requests() {
    for (const Pair& each : kPlain) {
      const bool request = each.library != &current_ratio && each.library != &g_sync_step &&
                           each.library != &start_write_local_logfile &&
                           each.library != &start_count_time_for_maxalertid_localserver;
      if (request && random_.chance(70)) *each.library = model_.*each.model = 0;
    }
    for (const WaitPair& each : kWaits) {
      if (random_.chance(70)) *each.now = (model_.*each.model).now = 0;
    }
  }
  void arm_wait() {
    const WaitPair& wait = kWaits[random_.below(std::size(kWaits))];
    *wait.armed = (model_.*wait.model).armed = random_.between(0, 2);
    if (random_.chance(50)) *wait.time = (model_.*wait.model).time = random_.between(-2, 30);
  }
  void resynchronise() {
    const int keep_peer = random_.between(0, 2);
    if (random_.chance(50)) {
      ::start_resynchronize("node2");
      model_.start_resynchronize(settings_);
    } else {
      ::end_resynchronize(keep_peer);
      model_.end_resynchronize(settings_, keep_peer == 1);
    }
  }
  // A name that stands behind the first place is not added again.
  void change_new_servers() {
    std::vector<std::string>& names = model_.new_servers;
    if (random_.chance(20)) {
      release_svrlist(&new_server_list);
      names.clear();
      return;
    }
    const ty_svrlist* server = server_list_head;
    for (uint64_t i = random_.below(3); i > 0; --i) server = server->next;
    add_to_server_list(&new_server_list, server);
    const auto behind_first = names.begin() + (names.empty() ? 0 : 1);
    if (std::find(behind_first, names.end(), server->svr_name) == names.end()) {
      names.emplace_back(server->svr_name);
    }
  }
  void tick() {
    const SharedRatio shared = {random_.between(1, 5), random_.chance(10), random_.chance(10),
                                random_.chance(10)};
    if (shmcm_setratio(shared.ratio, 60) != 0) throw std::runtime_error("no shared state");
    const Interception attach(Site::kRatioAttach, fails(shared.attach_fails));
    const Interception read(Site::kRatioRead, fails(shared.read_fails));
    const Interception detach(Site::kRatioDetach, fails(shared.detach_fails));
    ding();
    model_.ding(settings_, shared, clock_.now());
  }
  static Interception::Decide fails(bool failing) {
    return [failing](size_t) { return failing ? EACCES : kPass; };
  }

  Random random_;
  StoppedClock clock_{1000000};
  TickSettings settings_;
  TickModel model_;
};

class RandomTick : public ProtocolTest {};

TEST_F(RandomTick, DaemonSeesWhatThePlainRulesGive) {
  log_.set_levels(0);
  for (const uint64_t seed : test_seeds({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12})) {
    const std::string apart = text_of_process([&] { return Life(seed).run(1500); });
    ASSERT_EQ(apart, "") << "repeat: " << repeat_command(seed);
  }
}

}  // namespace
}  // namespace alt_test
