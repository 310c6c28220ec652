#include "relay.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "loopback.h"
#include "program.h"
#include "support/random.h"

namespace qel::system_test {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kReceiveBuffer = 4 << 20;
constexpr int kReceivedAtOnceMax = 1000;
constexpr int kPause_ms = 100;  // between two looks when nothing is to do
constexpr size_t kDatagramMax = 65536;

bool has_bit(uint32_t bits, int position) { return (bits >> position & 1U) != 0; }

}  // namespace

// Between the test and the process.
struct Relay::Shared {
  std::atomic<int> lost_percent{0};
  std::atomic<int> repeated_percent{0};
  std::atomic<int> delay_ms_max{0};
  std::atomic<uint32_t> dead_interconnects{0};
  std::atomic<uint32_t> island{0};
  std::atomic<bool> listens{false};
  std::atomic<uint64_t> passed{0};
  std::atomic<uint64_t> lost{0};
  std::atomic<uint64_t> repeated{0};
  std::atomic<uint64_t> delivered{0};
};

void Relay::Unmap::operator()(Shared* shared) const { munmap(shared, sizeof *shared); }

class Relay::Process {
 public:
  Process(int servers, int interconnects, int port, uint64_t seed, Shared* shared)
      : port_(port), random_(seed), shared_(shared) {
    for (int from = 0; from < servers; ++from) {
      for (int to = 0; to < servers; ++to) {
        for (int k = 0; from != to && k < interconnects; ++k) open(from, to, k);
      }
    }
  }

  int run() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    shared_->listens = true;
    std::vector<pollfd> waiting;
    for (const Way& way : ways_) waiting.push_back({way.socket.get(), POLLIN, 0});
    while (true) {
      poll(waiting.data(), waiting.size(), time_to_next());
      for (size_t i = 0; i < waiting.size(); ++i) {
        if ((waiting[i].revents & POLLIN) != 0) receive(ways_[i]);
      }
      deliver_due();
    }
  }

 private:
  // From one server to another on one interconnect.
  struct Way {
    int from;
    int to;
    int interconnect;
    UniqueFd socket;  // where the sender believes the receiver to be
  };
  struct Delayed {
    size_t back;  // the way back: its socket is where the receiver believes the sender to be
    int to;
    int interconnect;
    std::string bytes;
  };

  void open(int from, int to, int interconnect) {
    Way way = {from, to, interconnect,
               bound_socket(loopback_address(to, interconnect, view_of(from)), port_)};
    if (!way.socket) throw std::runtime_error("the relay cannot listen");
    setsockopt(way.socket.get(), SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    ways_.push_back(std::move(way));
  }

  size_t way_back(const Way& way) const {
    size_t i = 0;
    while (ways_[i].from != way.to || ways_[i].to != way.from ||
           ways_[i].interconnect != way.interconnect) {
      ++i;
    }
    return i;
  }

  void receive(const Way& way) {
    for (int i = 0; i < kReceivedAtOnceMax; ++i) {
      std::string bytes(kDatagramMax, '\0');
      const ssize_t size = recv(way.socket.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
      if (size < 0) return;
      bytes.resize(static_cast<size_t>(size));
      take(way, bytes);
    }
  }

  void take(const Way& way, const std::string& bytes) {
    if (is_cut(way) || random_.chance(static_cast<unsigned>(shared_->lost_percent))) {
      ++shared_->lost;
      return;
    }
    delay(way, bytes);
    if (random_.chance(static_cast<unsigned>(shared_->repeated_percent))) {
      ++shared_->repeated;
      delay(way, bytes);
    }
    ++shared_->passed;
  }

  bool is_cut(const Way& way) const {
    return has_bit(shared_->dead_interconnects, way.interconnect) ||
           has_bit(shared_->island, way.from) != has_bit(shared_->island, way.to);
  }

  void delay(const Way& way, const std::string& bytes) {
    const milliseconds delay(random_.between(0, shared_->delay_ms_max));
    delayed_.insert({Clock::now() + delay, {way_back(way), way.to, way.interconnect, bytes}});
  }

  int time_to_next() const {
    if (delayed_.empty()) return kPause_ms;
    const auto left = std::chrono::ceil<milliseconds>(delayed_.begin()->first - Clock::now());
    return std::clamp<int>(static_cast<int>(left.count()), 0, kPause_ms);
  }

  void deliver_due() {
    const auto now = Clock::now();
    while (!delayed_.empty() && delayed_.begin()->first <= now) {
      deliver(delayed_.begin()->second);
      delayed_.erase(delayed_.begin());
    }
  }

  // Nobody listens where a daemon is down: the datagram is lost, as it would be.
  void deliver(const Delayed& datagram) {
    const sockaddr_in to =
        socket_address(loopback_address(datagram.to, datagram.interconnect), port_);
    (void)!sendto(ways_[datagram.back].socket.get(), datagram.bytes.data(), datagram.bytes.size(),
                  0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    ++shared_->delivered;
  }

  int port_;
  alt_test::Random random_;
  Shared* shared_;
  std::vector<Way> ways_;
  std::multimap<Clock::time_point, Delayed> delayed_;
};

Relay::Relay(int servers, int interconnects, int port, uint64_t seed) {
  void* memory =
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
  shared_.reset(new (memory) Shared);
  process_ = std::make_unique<alt_test::Child>(
      [&] { return Process(servers, interconnects, port, seed, shared_.get()).run(); });
  if (!eventually([this] { return shared_->listens.load(); })) {
    throw std::runtime_error("the relay does not listen");
  }
}

Relay::~Relay() = default;

void Relay::set(const Conditions& conditions) {
  shared_->lost_percent = conditions.lost_percent;
  shared_->repeated_percent = conditions.repeated_percent;
  shared_->delay_ms_max = conditions.delay_ms_max;
  shared_->dead_interconnects = conditions.dead_interconnects;
  shared_->island = conditions.island;
}

Relay::Counters Relay::counters() const {
  return {shared_->passed, shared_->lost, shared_->repeated, shared_->delivered};
}

}  // namespace qel::system_test
