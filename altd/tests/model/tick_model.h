// The tick by its plain rules: one counter after another, no code of the library.
#ifndef QEL_ALTD_TESTS_MODEL_TICK_MODEL_H
#define QEL_ALTD_TESTS_MODEL_TICK_MODEL_H

#include <cstdint>
#include <string>
#include <vector>

namespace alt_model {

struct TickSettings {
  int resend = 0;
  int retries = 0;
  int heartbeat = 0;
  int ids = 0;
  int names = 0;
  int announce = 0;
  int server_list = 0;
  int new_server = 0;
  int read_ratio = 0;
  int64_t stall = 0;
};

// The host's shared state as one tick meets it.
struct SharedRatio {
  int ratio = 1;
  bool attach_fails = false;
  bool read_fails = false;
  bool detach_fails = false;
};

// A flag that arms a countdown, the countdown, and the request that it ends in.
struct ArmedWait {
  int armed = 0;
  int time = 0;
  int now = 0;
};

class TickModel {
 public:
  void ding(const TickSettings& settings, const SharedRatio& shared, int64_t clock);
  void start_resynchronize(const TickSettings& settings);
  void end_resynchronize(const TickSettings& settings, bool keep_peer);
  // Everything that the daemon can see.
  std::string describe() const;

  int ratio = 1;
  int64_t last_progress = 0;
  int step = 6;
  ArmedWait new_server = {0, 30, 0};
  ArmedWait names;
  ArmedWait ids;
  int waiting_for_own_id = 0;
  int may_write = 0;
  int write_now = 0;
  int resend_now = 0;
  int drop_now = 0;
  int server_list_now = 0;
  int heartbeat_now = 0;
  int announce_now = 0;
  int own_id_now = 0;
  std::vector<std::string> new_servers;

 private:
  void set_first_values(const TickSettings& settings);
  void read_ratio(const SharedRatio& shared);

  bool started_ = false;
  bool attached_ = false;
  int write_ = 2;
  int resend_ = 0;
  int drop_ = 0;
  int heartbeat_ = 0;
  int own_id_ = 0;
  int announce_ = 15;
  int server_list_ = 300;
};

}  // namespace alt_model

#endif
