// Start and end of the library.
#include <cstdio>

#include "alert_config.h"
#include "common/log.h"

namespace {

int start_daemon(void* handle) {
  const int configured = config_alert();
  if (configured == -1) return -1;
  if (alt_log_handle == nullptr) alt_log_handle = handle;
  return configured;
}

int start_client() {
  if (config_init() == -1) return -1;
  const int opened = log_init("alert", &alt_log_handle, alt_log_level, alt_log_size, alt_log_path);
  if (opened != 0) {
    printf("Log initialize failed: errcode = %d.\n", opened);
    return -1;
  }
  if (g_webalert_use != 1) {
    ALERT_LOG(qel::kNotable, "webalert is set to can not be used.<use = %d>", g_webalert_use);
    return -2;
  }
  return 0;
}

}  // namespace

int alert_log_lib_init(void* handle) {
  init_global_var();
  return handle != nullptr ? start_daemon(handle) : start_client();
}

void alert_log_lib_term(void) {
  if (alt_log_handle != nullptr) log_term(alt_log_handle);
}
