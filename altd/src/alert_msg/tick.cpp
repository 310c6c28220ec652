// The tick: countdowns that raise request flags.
#include <qelipc.h>

#include <algorithm>
#include <cstring>

#include "alert_config.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kDump;
using qel::kMinor;

namespace {

constexpr int kWaitMin = 1;
constexpr int kWaitMax = 999;
constexpr int kRatioPause = 10;
constexpr int kWritePause = 2;
constexpr int kFirstNewServer = 15;
constexpr int kFirstServerCheck = 300;

// The countdowns that only the tick knows.
struct Countdowns {
  bool started = false;
  int write = kWritePause;
  int resend = 0;
  int drop = 0;
  int heartbeat = 0;
  int own_id = 0;
  int new_server = kFirstNewServer;
  int server_check = kFirstServerCheck;
  int ratio = 0;
} countdown;

// Wraps like the counters that it is compared with.
int product(int left, int right) {
  return static_cast<int>(static_cast<unsigned>(left) * static_cast<unsigned>(right));
}

int stretched(int setting) { return product(current_ratio, setting); }

int drop_period() {
  const int period = product(stretched(g_resend_timeout), g_alert_retry_count);
  return static_cast<int>(static_cast<unsigned>(period) + 1U);
}

bool run_out(int* counter) {
  *counter = static_cast<int>(static_cast<unsigned>(*counter) - 1U);
  return *counter < 1;
}

void first_values() {
  countdown.started = true;
  countdown.resend = qel::held_wait(g_resend_timeout);
  countdown.drop = drop_period();
  countdown.heartbeat = qel::held_wait(g_hb_timeout);
  countdown.own_id = qel::held_wait(g_get_altid_timeout);
  sync_single_svrname_time = qel::held_wait(g_get_srvname_timeout);
  sync_single_altid_time = qel::held_wait(g_get_altid_timeout);
}

void count_own_id() {
  if (start_count_time_for_maxalertid_localserver == 0 || !run_out(&countdown.own_id)) return;
  countdown.own_id = stretched(g_get_altid_timeout);
  get_maxalertid_localserver_now = 1;
  start_count_time_for_maxalertid_localserver = 0;
}

void watch_for_stall() {
  if (g_sync_step == RESYN_END) return;
  if (QEL_TIMES(nullptr) - g_last_resync_time <= g_resync_time_interval) return;
  ALERT_LOG(kMinor, "resync abnormally stoped. resync again.");
  end_resynchronize(1);
}

// Reloaded by every tick, so that the ratio is read at every tick or never.
void count_ratio() {
  if (!run_out(&countdown.ratio)) return;
  countdown.ratio = kRatioPause;
  int period = 0;
  static_cast<void>(alert_shmcm_getratio(&current_ratio, &period));
}

// While writing is not permitted the counter falls on, so that the flag comes with the first tick
// after the permission.
void count_write() {
  if (!run_out(&countdown.write) || start_write_local_logfile == 0) return;
  countdown.write = kWritePause;
  write_alert_now = 1;
}

void count_periodic(int* counter, int reload, int* flag) {
  if (!run_out(counter)) return;
  *counter = reload;
  *flag = 1;
}

// Counts on while it is not armed; progress is noted when it fires.
void count_armed(int* counter, int reload, int* armed, int* flag) {
  if (!run_out(counter) || *armed == 0) return;
  *counter = reload;
  *armed = 0;
  *flag = 1;
  g_last_resync_time = QEL_TIMES(nullptr);
}

void count_all() {
  if (!countdown.started) first_values();
  count_own_id();
  watch_for_stall();
  count_ratio();
  count_write();
  count_periodic(&countdown.heartbeat, stretched(g_hb_timeout), &start_heartbeat_now);
  count_periodic(&countdown.new_server, g_sendtonewsvr_interval, &start_send_new_server_now);
  count_periodic(&countdown.resend, stretched(g_resend_timeout), &resend_now);
  count_periodic(&countdown.drop, drop_period(), &drop_now);
  count_periodic(&countdown.server_check, g_alert_chksrvlist_interval, &check_svrlist_now);
  ALERT_LOG(kDump, "g_sync_step = %d", g_sync_step);
  count_armed(&check_newsvr_time, g_alert_cheknewsvr_interval, &check_newsvr_flag,
              &check_newsvr_now);
  count_armed(&sync_single_svrname_time, qel::held_wait(g_get_srvname_timeout),
              &sync_single_svrname_flag, &sync_single_svrname_now);
  count_armed(&sync_single_altid_time, qel::held_wait(g_get_altid_timeout), &sync_single_altid_flag,
              &sync_single_altid_now);
}

// The attachment that a failed detach leaves is used by the next call.
int attachments = 0;

int attach() {
  if (attachments != 0) return 0;
  const int result = shmcm_attach();
  if (result != 0) {
    ALERT_LOG(kMinor, "shmcm_attach() failed. (ret=%d)", result);
    return -1;
  }
  ALERT_LOG(kDump, "shmcm_attach() succeeded.");
  ++attachments;
  return 0;
}

int detach() {
  const int result = shmcm_detach();
  if (result != 0) {
    ALERT_LOG(kMinor, "shmcm_detach() failed. (ret=%d)", result);
    return -1;
  }
  ALERT_LOG(kDump, "shmcm_detach() succeeded.");
  --attachments;
  return 0;
}

int read_ratio(int* ratio, int* period) {
  const int result = shmcm_getratio(ratio, period);
  if (result == 0) {
    ALERT_LOG(kDump, "shmcm_getratio() succeeded.");
    return 0;
  }
  ALERT_LOG(kMinor, "shmcm_getratio() failed. (ret=%d)", result);
  *ratio = 1;
  return -1;
}

}  // namespace

int qel::held_wait(int setting) { return std::clamp(stretched(setting), kWaitMin, kWaitMax); }

void initialize(void) {
  ALERT_TRACE_FUNCTION();
  pthread_mutex_init(&timeout_variable_mutex, nullptr);
  memset(local_svrname_list, 0, sizeof local_svrname_list);
  memset(single_svrname_list, 0, sizeof single_svrname_list);
  memset(sync_single_svrname_list, 0, sizeof sync_single_svrname_list);
  begin_sync_data = {};
  sync_single_data = {};
}

void ding(void) {
  countdown.ratio = g_alert_getradio_interval;
  pthread_mutex_lock(&timeout_variable_mutex);
  count_all();
  pthread_mutex_unlock(&timeout_variable_mutex);
}

int alert_shmcm_getratio(int* ratio, int* period) {
  ALERT_LOG(qel::kTrace, "Enter function: %s", __func__);
  if (attach() != 0) {
    *ratio = 1;
    return -1;  // without the leave message
  }
  int result = read_ratio(ratio, period);
  if (*ratio < 1) *ratio = 1;
  if (detach() != 0) result = -1;
  ALERT_LOG(qel::kTrace, "Leave function: %s", __func__);
  return result;
}
