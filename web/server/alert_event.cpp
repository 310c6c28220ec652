#include "alert_event.h"

#include <qelipc.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <system_error>

// An addition to the calls that every IPC library of the product has: it may be missing.
#pragma weak semevt_wait_alert

namespace qel::web {
namespace {

constexpr int kWait_ms = 500;  // the end of the program waits for it
constexpr std::chrono::milliseconds kPauseAfterFault{500};

}  // namespace

AlertEvent::AlertEvent() : bell_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!bell_) throw std::system_error(errno, std::generic_category(), "cannot make an eventfd");
  if (semevt_wait_alert != nullptr) waiter_ = std::thread([this] { wait_and_ring(); });
}

AlertEvent::~AlertEvent() {
  ending_ = true;
  if (waiter_.joinable()) waiter_.join();
}

void AlertEvent::clear() const {
  uint64_t count;
  (void)!read(bell_.get(), &count, sizeof count);
}

void AlertEvent::wait_and_ring() const {
  unsigned seen = 0;
  while (!ending_) {
    const int result = semevt_wait_alert(&seen, kWait_ms);
    const uint64_t one = 1;
    if (result == 1) (void)!write(bell_.get(), &one, sizeof one);
    if (result == -1) std::this_thread::sleep_for(kPauseAfterFault);
  }
}

}  // namespace qel::web
