// Virtual time.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <utility>

namespace qel::simulation {

using Time = int64_t;  // microseconds since the simulation began

inline constexpr Time kMillisecond = 1000;
inline constexpr Time kSecond = 1000 * kMillisecond;
inline constexpr Time kMinute = 60 * kSecond;

// What happens, in the order of time; what happens at the same moment, in the order in which it was
// arranged.
class EventQueue {
 public:
  using Action = std::function<void()>;

  Time now() const { return now_; }
  void after(Time delay, Action action) {
    events_.emplace(std::pair(now_ + delay, next_number_++), std::move(action));
  }
  // Carries out everything up to this moment, what is arranged meanwhile included.
  void run_until(Time end) {
    while (!events_.empty() && events_.begin()->first.first <= end) {
      const auto event = events_.extract(events_.begin());
      now_ = event.key().first;
      event.mapped()();
    }
    now_ = end;
  }

 private:
  Time now_ = 0;
  uint64_t next_number_ = 0;
  std::map<std::pair<Time, uint64_t>, Action> events_;
};

}  // namespace qel::simulation
