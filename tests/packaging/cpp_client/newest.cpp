// A program in C++, built outside the tree against the installed CMake package: waits for an alert
// to be stored and prints the newest one. It uses a platform library by itself, too.
#include <alert_log.h>
#include <qelipc.h>

#include <chrono>
#include <iostream>
#include <thread>

int main() {
  constexpr int kRounds = 100;
  constexpr std::chrono::milliseconds kPause(100);
  if (alert_log_lib_init(nullptr) != 0 || shmcm_attach() != 0) return 1;
  ALERT_RECORD_INFO newest = {};
  int count = 0;
  for (int round = 0; round < kRounds && count != 1; ++round) {
    if (round > 0) std::this_thread::sleep_for(kPause);
    count = alert_get_last(&newest, 1);
  }
  if (count == 1) std::cout << newest.szAlertMessage << '\n';
  shmcm_detach();
  alert_log_lib_term();
  return count == 1 ? 0 : 1;
}
