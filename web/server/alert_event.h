// The new-alert event of the host as something that an event loop can wait for.
#pragma once

#include <atomic>
#include <thread>

#include "common/unique_fd.h"

namespace qel::web {

// A thread that sleeps in the IPC library and only rings; nothing else of the program runs on it.
// Where the IPC library of the product does not know how to wait there is no thread, and whoever
// owns this looks at the log now and then.
class AlertEvent {
 public:
  AlertEvent();
  ~AlertEvent();
  AlertEvent(const AlertEvent&) = delete;
  AlertEvent& operator=(const AlertEvent&) = delete;

  // Readable when the event has been raised since the last clear().
  int fd() const { return bell_.get(); }
  void clear() const;

 private:
  void wait_and_ring() const;

  UniqueFd bell_;
  std::atomic<bool> ending_ = false;
  std::thread waiter_;
};

}  // namespace qel::web
