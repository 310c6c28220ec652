// Ticks of a daemon whose clock and settings are the test's. The countdowns of `ding` belong to the
// process: one such test a process, as ctest runs them.
#ifndef QEL_ALTD_TESTS_SUPPORT_TICK_RUN_H
#define QEL_ALTD_TESTS_SUPPORT_TICK_RUN_H

#include <gtest/gtest.h>

#include <array>
#include <stdexcept>
#include <string>

#include "support/protocol_test.h"
#include "support/tick_clock.h"

namespace alt_test {

struct RequestFlag {
  const char* name;
  int* flag;
};
inline const std::array<RequestFlag, 10> kRequestFlags = {
    {{"write_alert_now", &write_alert_now},
     {"resend_now", &resend_now},
     {"drop_now", &drop_now},
     {"check_svrlist_now", &check_svrlist_now},
     {"start_heartbeat_now", &start_heartbeat_now},
     {"start_send_new_server_now", &start_send_new_server_now},
     {"check_newsvr_now", &check_newsvr_now},
     {"sync_single_svrname_now", &sync_single_svrname_now},
     {"sync_single_altid_now", &sync_single_altid_now},
     {"get_maxalertid_localserver_now", &get_maxalertid_localserver_now}}};

// All time-outs are long, so that only what a test shortens is seen.
class TickTest : public ProtocolTest {
 protected:
  static constexpr clock_t kStart = 5000000;

  TickTest() {
    for (int* setting :
         {&g_resend_timeout, &g_hb_timeout, &g_get_altid_timeout, &g_get_srvname_timeout,
          &g_sendtonewsvr_interval, &g_alert_chksrvlist_interval, &g_alert_cheknewsvr_interval}) {
      *setting = kLong;
    }
    g_alert_retry_count = 10;
    g_alert_getradio_interval = 5;
    g_resync_time_interval = 1000;
    g_last_resync_time = kStart;
  }

  void tick() {
    if (tick_++ == 0 && ticked_) throw std::runtime_error("one test a process, as ctest does");
    ticked_ = true;
    ding();
  }
  // Ticks up to number `last`, and what was raised at which one. The daemon clears what it sees.
  Texts raised_to(int last) {
    Texts raised;
    while (tick_ < last) {
      tick();
      for (const RequestFlag& each : kRequestFlags) {
        if (*each.flag != 0) raised.push_back(std::to_string(tick_) + " " + each.name);
        *each.flag = 0;
      }
    }
    return raised;
  }
  // Of one flag alone: the ticks at which it was raised.
  std::vector<int> ticks_of(const std::string& name, int last) {
    std::vector<int> ticks;
    for (const std::string& each : raised_to(last)) {
      const size_t blank = each.find(' ');
      if (each.substr(blank + 1) == name) ticks.push_back(std::stoi(each));
    }
    return ticks;
  }
  using Ticks = std::vector<int>;

  static constexpr int kLong = 900;
  StoppedClock clock_{kStart};

 private:
  static inline bool ticked_ = false;
  int tick_ = 0;
};

}  // namespace alt_test

#endif
