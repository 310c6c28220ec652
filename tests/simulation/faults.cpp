#include "faults.h"

#include <set>
#include <utility>

#include "store_content.h"

namespace qel::simulation {

namespace {

constexpr unsigned kKindPercent = 60;  // that a run has faults of a kind
constexpr int kPauseMax = 40;          // seconds between the beginnings of two faults
constexpr int kDurationMax = 120;      // seconds
constexpr Time kRetry = kSecond;
constexpr int kRestartMax = 20;           // seconds until a server that has died is started again
constexpr unsigned kRelapsePercent = 30;  // that a server also dies while it starts
constexpr unsigned kPowerPercent = 30;    // that a death within a call is that of the whole host
constexpr int kChangesToDeathMax = 40;    // of files; a store takes about ten

}  // namespace

const std::vector<Faults::Kind>& Faults::all_kinds() {
  static const std::vector<Kind> kinds = {
      {"lost datagrams", &Faults::lose_datagrams},
      {"repeated datagrams", &Faults::repeat_datagrams},
      {"refused datagrams", &Faults::refuse_datagrams},
      {"late datagrams", &Faults::delay_datagrams},
      {"interconnects down", &Faults::cut_interconnect},
      {"interfaces down", &Faults::unplug_interface},
      {"partitions", &Faults::part_servers},
      {"stretched time-outs", &Faults::stretch_timeouts},
      {"full disks", &Faults::fill_disk},
      {"kills", &Faults::kill_server},
      {"kills within a call", &Faults::kill_within_call},
      {"losses of power", &Faults::lose_power},
      {"stops", &Faults::stop_server},
      {"lost stores", &Faults::lose_store},
  };
  return kinds;
}

Faults::Faults(Cluster* cluster, Ledger* ledger) : cluster_(cluster), ledger_(ledger) {
  for (const Kind& kind : all_kinds()) {
    if (cluster_->random().chance(kKindPercent)) kinds_.push_back(kind);
  }
  for (int server = 0; server < cluster_->size(); ++server) {
    cluster_->server(server).when_node_dies([this, server] { node_died(server); });
  }
}

std::string Faults::kinds() const {
  std::string text;
  for (const Kind& kind : kinds_) text += (text.empty() ? "" : ", ") + std::string(kind.name);
  return text.empty() ? "nothing" : text;
}

// ---- beginning and end --------------------------------------------------------------------------

void Faults::begin() {
  if (!kinds_.empty()) next();
}

void Faults::next() {
  alt_test::Random& random = cluster_->random();
  cluster_->queue().after(random.between(1, kPauseMax) * kSecond, [this] {
    if (!quiet_) {
      const Kind& kind = cluster_->random().pick(kinds_);
      (this->*kind.begin)(cluster_->random().between(1, kDurationMax) * kSecond);
    }
    if (!kinds_.empty()) next();
  });
}

void Faults::add(const std::string& what, Time duration, EventQueue::Action end) {
  const int number = next_number_++;
  cluster_->trace().event(what + " for " + std::to_string(duration / kSecond) + " s");
  ends_[number] = std::move(end);
  cluster_->queue().after(duration, [this, number] { this->end(number); });
}

void Faults::end(int number) {
  const auto fault = ends_.extract(number);
  if (!fault.empty()) fault.mapped()();
}

void Faults::heal() {
  quiet_ = true;
  kinds_.clear();
  while (!ends_.empty()) end(ends_.begin()->first);
  cluster_->network().heal();
  cluster_->trace().event("all faults end");
}

// ---- the network --------------------------------------------------------------------------------

void Faults::worsen(unsigned Weather::*field, unsigned percent, const char* what, Time duration) {
  if (weather_.*field != 0) return;
  weather_.*field = percent;
  cluster_->network().set_weather(weather_);
  add(std::to_string(percent) + "% of all datagrams " + what, duration, [this, field] {
    weather_.*field = 0;
    cluster_->network().set_weather(weather_);
  });
}

void Faults::lose_datagrams(Time duration) {
  static const std::vector<unsigned> kPercents = {2, 20, 50, 80};
  worsen(&Weather::lost_percent, cluster_->random().pick(kPercents), "are lost", duration);
}

void Faults::repeat_datagrams(Time duration) {
  worsen(&Weather::repeated_percent, 30, "come twice", duration);
}

void Faults::refuse_datagrams(Time duration) {
  worsen(&Weather::refused_percent, 20, "are refused", duration);
}

void Faults::delay_datagrams(Time duration) {
  constexpr Time kLate = 500 * kMillisecond;
  const Time usual = Weather().delay_max;
  if (weather_.delay_max == kLate) return;
  weather_.delay_max = kLate;
  cluster_->network().set_weather(weather_);
  add("datagrams are late", duration, [this, usual] {
    weather_.delay_max = usual;
    cluster_->network().set_weather(weather_);
  });
}

void Faults::cut_interconnect(Time duration) {
  const int interconnect = pick_interconnect();
  cluster_->network().set_interconnect(interconnect, false);
  add("interconnect " + std::to_string(interconnect) + " is down", duration,
      [this, interconnect] { cluster_->network().set_interconnect(interconnect, true); });
}

void Faults::unplug_interface(Time duration) {
  const int server = cluster_->random().between(0, cluster_->size() - 1);
  const int interconnect = pick_interconnect();
  cluster_->network().set_interface(server, interconnect, false);
  add(cluster_->server(server).name() + " is off interconnect " + std::to_string(interconnect),
      duration, [this, server, interconnect] {
        cluster_->network().set_interface(server, interconnect, true);
      });
}

void Faults::part_servers(Time duration) {
  std::set<int> inside;
  std::string names;
  for (int server = 0; server < cluster_->size(); ++server) {
    if (!cluster_->random().chance(50)) continue;
    inside.insert(server);
    names += " " + cluster_->server(server).name();
  }
  cluster_->network().part(inside);
  add("parted from the rest:" + names, duration, [this] { cluster_->network().part({}); });
}

void Faults::stretch_timeouts(Time duration) {
  cluster_->set_timeout_ratio(cluster_->random().between(2, 5));
  add("time-outs are stretched", duration, [this] { cluster_->set_timeout_ratio(1); });
}

// ---- the servers --------------------------------------------------------------------------------

// One that runs; -1 when none does.
int Faults::pick_server() {
  std::vector<int> running;
  for (int server = 0; server < cluster_->size(); ++server) {
    if (cluster_->server(server).runs()) running.push_back(server);
  }
  return running.empty() ? -1 : cluster_->random().pick(running);
}

void Faults::take_down(int server, bool clean) {
  cluster_->server(server).disk().pardon_node();
  if (clean) {
    cluster_->server(server).stop();
  } else {
    cluster_->server(server).kill();
  }
}

void Faults::start(int server) {
  if (cluster_->server(server).runs()) return;
  cluster_->trace().event(cluster_->server(server).name() + " starts");
  if (relapses_ && cluster_->random().chance(kRelapsePercent)) doom(server);
  if (!cluster_->server(server).start()) restart_soon(server);
}

void Faults::doom(int server) {
  cluster_->server(server).disk().doom_node(cluster_->random().between(1, kChangesToDeathMax));
}

// Within a call.
void Faults::node_died(int server) {
  if (cluster_->random().chance(kPowerPercent)) cluster_->server(server).disk().lose_power();
  restart_soon(server);
}

void Faults::restart_soon(int server) {
  cluster_->trace().event(cluster_->server(server).name() + " is down");
  cluster_->queue().after(cluster_->random().between(1, kRestartMax) * kSecond,
                          [this, server] { start(server); });
}

void Faults::fill_disk(Time duration) {
  const int server = pick_server();
  if (server < 0) return;
  cluster_->server(server).disk().fill(30);
  add("the disk of " + cluster_->server(server).name() + " is full now and then", duration,
      [this, server] { cluster_->server(server).disk().fill(0); });
}

void Faults::kill_within_call(Time duration) {
  const int server = pick_server();
  if (server < 0) return;
  doom(server);
  relapses_ = true;
  add(cluster_->server(server).name() + " may die at any change of a file", duration,
      [this, server] {
        relapses_ = false;
        cluster_->server(server).disk().pardon_node();
      });
}

void Faults::kill_server(Time duration) {
  const int server = pick_server();
  if (server < 0) return;
  take_down(server, false);
  add(cluster_->server(server).name() + " is killed, down", duration,
      [this, server] { start(server); });
}

void Faults::lose_power(Time duration) {
  const int server = pick_server();
  if (server < 0) return;
  take_down(server, false);
  cluster_->server(server).disk().lose_power();
  add(cluster_->server(server).name() + " loses power, down", duration,
      [this, server] { start(server); });
}

void Faults::stop_server(Time duration) {
  const int server = pick_server();
  if (server < 0) return;
  take_down(server, true);
  add(cluster_->server(server).name() + " stops, down", duration,
      [this, server] { start(server); });
}

void Faults::lose_store(Time duration) {
  const int server = store_is_missing_ ? -1 : pick_server();
  if (server < 0) return;
  store_is_missing_ = true;
  take_down(server, cluster_->random().chance(50));
  note_stores(server);
  cluster_->server(server).disk().replace();
  ledger_->lost(cluster_->server(server).name());
  add(cluster_->server(server).name() + " loses its store, down at least", duration,
      [this, server] {
        quiet_ = true;
        return_with_empty_store(server);
      });
}

// What the others hold when a store is lost.
void Faults::note_stores(int lost) const {
  for (int server = 0; server < cluster_->size(); ++server) {
    if (server == lost) continue;
    Server& other = cluster_->server(server);
    for (const auto& record : parse_log(other.disk().durable_log())) {
      ledger_->seen(record.message, other.name());
    }
  }
}

void Faults::return_with_empty_store(int server) {
  if (!ends_.empty() || !all_others_run(server)) {
    cluster_->queue().after(kRetry, [this, server] { return_with_empty_store(server); });
    return;
  }
  start(server);
  wait_until_it_writes(server);
}

void Faults::wait_until_it_writes(int server) {
  if (cluster_->server(server).runs() && cluster_->server(server).status().may_write) {
    cluster_->trace().event(cluster_->server(server).name() + " may write");
    store_is_missing_ = false;
    quiet_ = kinds_.empty();
    return;
  }
  cluster_->queue().after(kRetry, [this, server] { wait_until_it_writes(server); });
}

bool Faults::all_others_run(int server) const {
  for (int other = 0; other < cluster_->size(); ++other) {
    if (other != server && !cluster_->server(other).runs()) return false;
  }
  return true;
}

}  // namespace qel::simulation
