#include "support/tick_clock.h"

#include <dlfcn.h>
#include <sys/times.h>

namespace alt_test {
namespace {

bool g_stopped = false;
clock_t g_now = 0;

}  // namespace

StoppedClock::StoppedClock(clock_t now) {
  set(now);
  g_stopped = true;
}

StoppedClock::~StoppedClock() { g_stopped = false; }

void StoppedClock::set(clock_t now) { g_now = now; }

void StoppedClock::advance(clock_t ticks) { g_now += ticks; }

clock_t StoppedClock::now() const { return g_now; }

}  // namespace alt_test

extern "C" __attribute__((visibility("default"))) clock_t xmllib_times(struct tms* times) {
  static const auto next =
      reinterpret_cast<clock_t (*)(struct tms*)>(dlsym(RTLD_NEXT, "xmllib_times"));
  return alt_test::g_stopped ? alt_test::g_now : next(times);
}
