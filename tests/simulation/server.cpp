#include "server.h"

#include <cstdlib>
#include <utility>

#include "configuration.h"

namespace qel::simulation {

namespace {

constexpr int64_t kBeginning = 1704067200;             // 2024-01-01, when every simulation begins
constexpr Time kTick = kSecond / 100;                  // of xmllib_times
constexpr Time kClockErrorMax = 10 * kMinute;          // of a host's wall clock
constexpr Time kUptimeMax = kMinute * 60 * 24 * 1000;  // what the tick clock counts from
constexpr Time kBusyMax = 10 * kMillisecond;           // until a node gets to what waits for it
constexpr ptrdiff_t kBatchMax = 64;                    // datagrams that a node takes at once

Time below(alt_test::Random* random, Time limit) {
  return static_cast<Time>(random->below(static_cast<uint64_t>(limit)));
}

}  // namespace

Server::Server(const std::string& name, const std::string& root, const Surroundings* surroundings)
    : name_(name),
      root_(root),
      surroundings_(*surroundings),
      disk_(store_directory(root, name), surroundings->random),
      wall_clock_ahead_(below(surroundings->random, kClockErrorMax)) {}

Server::~Server() {
  if (runs()) kill();
}

std::string Server::store() const { return store_directory(root_, name_); }

// ---- the host -----------------------------------------------------------------------------------

int64_t Server::wall_clock_us() const {
  return kBeginning * kSecond + wall_clock_ahead_ + surroundings_.queue->now();
}

int64_t Server::tick_clock() const {
  return (tick_clock_ahead_ + surroundings_.queue->now()) / kTick;
}

bool Server::can_bind(const std::string& address) const {
  return surroundings_.network->has_address(address);
}

bool Server::send(const std::string& from, const std::string& to, const std::string& bytes) {
  if (disk_.node_is_dead()) return true;
  promises_.sends(to, bytes, disk_.durable_log());
  return surroundings_.network->send(from, to, bytes);
}

int Server::timeout_ratio() const { return surroundings_.timeout_ratio; }

FileChange Server::change_file(bool takes_room) {
  return program_runs_ ? disk_.change_by_program(takes_room) : disk_.change(takes_room);
}

void Server::synced(const std::string& content) {
  if (!disk_.node_is_dead()) disk_.synced(content);
}

void Server::log(const std::string& text) {
  if (!disk_.node_is_dead()) surroundings_.trace->message(name_, text);
}

// ---- life and death -----------------------------------------------------------------------------

template <typename Call>
void Server::in_node(Call call) {
  {
    const Running running(this);
    call();
  }
  if (!disk_.node_is_dead()) return;
  leave();
  if (died_) died_();
}

bool Server::start() {
  ++lives_;
  tick_clock_ahead_ = below(surroundings_.random, kUptimeMax);
  module_ =
      std::make_unique<ModuleCopy>(root_ + "/modules/" + name_ + "." + std::to_string(lives_));
  setenv("QEL_CONFIG_DIR", configuration_directory(root_, name_).c_str(), 1);
  node_.reset(module_->make_node()(this));
  std::string error;
  bool started;
  {
    const Running running(this);
    started = node_->start(&error);
  }
  const bool dead = disk_.node_is_dead();
  if (started && !dead) {
    arrange(below(surroundings_.random, kSecond), &Server::tick);
    return true;
  }
  surroundings_.trace->event(name_ + (dead ? " dies while it starts" : " does not start"));
  if (!dead) surroundings_.trace->message(name_, error);
  kill();
  return false;
}

void Server::stop() {
  in_node([&] { node_->stop(); });
  if (runs()) leave();
}

void Server::kill() {
  disk_.kill_node();
  leave();
}

void Server::leave() {
  {
    const Running running(this);
    node_.reset();
  }
  module_.reset();
  waiting_.clear();
  receiving_ = draining_ = intake_held_ = false;
  disk_.expect_new_node();
}

// ---- the event loop -----------------------------------------------------------------------------

void Server::arrange(Time delay, void (Server::*step)()) {
  surroundings_.queue->after(delay, [this, step, life = lives_] {
    if (runs() && life == lives_) (this->*step)();
  });
}

void Server::tick() {
  arrange(kSecond, &Server::tick);
  in_node([&] { node_->tick(); });
}

void Server::drain_soon() {
  if (draining_) return;
  draining_ = true;
  arrange(1 + below(surroundings_.random, kBusyMax), &Server::drain);
}

void Server::drain() {
  draining_ = false;
  in_node([&] { intake_held_ = node_->drain_round(); });
  if (intake_held_) drain_soon();
}

void Server::arrive(const std::string& from, const std::string& bytes) {
  if (!runs()) return;
  waiting_.push_back({bytes, from});
  if (receiving_) return;
  receiving_ = true;
  arrange(1 + below(surroundings_.random, kBusyMax), &Server::receive);
}

void Server::receive() {
  receiving_ = false;
  const std::vector<Incoming> datagrams = take_waiting();
  for (ptrdiff_t at = 0; at < std::ssize(datagrams) && runs(); at += kBatchMax) {
    const auto first = datagrams.begin() + at;
    const auto last = datagrams.end() - first > kBatchMax ? first + kBatchMax : datagrams.end();
    in_node([&] { node_->receive({first, last}); });
  }
}

std::vector<Incoming> Server::take_waiting() {
  for (const Incoming& datagram : waiting_) promises_.received(datagram.sender, datagram.bytes);
  return std::exchange(waiting_, {});
}

bool Server::raise(const ModuleCopy& program, const std::string& time, const std::string& message,
                   bool* accepted) {
  if (intake_held_) return false;
  setenv("QEL_CONFIG_DIR", configuration_directory(root_, name_).c_str(), 1);
  program_runs_ = true;
  {
    const Running running(this);
    *accepted = program.raise_alert()(name_.c_str(), time.c_str(), message.c_str()) == 0;
  }
  program_runs_ = false;
  if (runs()) drain_soon();
  return true;
}

NodeStatus Server::status() {
  const Running running(this);
  return node_->status();
}

bool Server::rebuild_indexes() {
  const Running running(this);
  return node_->rebuild_indexes();
}

}  // namespace qel::simulation
