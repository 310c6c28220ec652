// The tick clock of the library, at the test's command.
//
// An executable with this unit defines xmllib_times, from which QEL_TIMES reads, in place of the
// platform library's; without a StoppedClock the call is only passed on.
#ifndef QEL_ALTD_TESTS_SUPPORT_TICK_CLOCK_H
#define QEL_ALTD_TESTS_SUPPORT_TICK_CLOCK_H

#include <ctime>

namespace alt_test {

// While it lives, the clock stands at the tick that the test last gave it. One at a time.
class StoppedClock {
 public:
  explicit StoppedClock(clock_t now);
  ~StoppedClock();
  StoppedClock(const StoppedClock&) = delete;
  StoppedClock& operator=(const StoppedClock&) = delete;

  void set(clock_t now);
  void advance(clock_t ticks);
  clock_t now() const;
};

}  // namespace alt_test

#endif
