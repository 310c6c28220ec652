// The settings and their defaults.
#include "alert_config.h"

namespace {

// The settings are plain char pointers by contract; nothing writes through them.
char* literal(const char* text) { return const_cast<char*>(text); }

}  // namespace

char* alt_mod_type;
char* alt_comment;
char* alt_cmd_path;
char* alt_alert_name;
char* alt_name_temp;
char* alt_log_path;
char* sys_root_path;
int alt_max_count;
int alt_timeout;
int alt_udp_port;
int alt_udp_method;
int alt_log_size;
int alt_log_level;
int alt_rlimit_core;
int g_webalert_use;
int64_t g_resync_time_interval;
char alt_path_only[ALT_PATH_SIZE];
char alt_name_only[ALT_NAME_SIZE];
void* alt_log_handle;
int eid;

int64_t tckconf;
int is_service;
char* alert_pid_file_name;
int g_tmpfile_maxsize;
int g_tmpfile_read_count;
int g_tmpfile_read_interval;
int g_resend_timeout;
int g_alert_retry_count;
int g_sendtonewsvr_interval;
int g_get_altid_timeout;
int g_alert_getradio_interval;
int g_alert_chksrvlist_interval;
int g_alert_cheknewsvr_interval;
int g_hb_timeout;
int g_get_srvname_timeout;

void init_global_var(void) {
  alt_mod_type = literal("webalert");
  alt_comment = literal("alert log message");
  alt_cmd_path = literal("/alert/bin/");
  alt_alert_name = literal("/alert/log/alertlog.alt");
  alt_name_temp = literal("alerttmp.alt");
  alt_max_count = 10000;
  alt_timeout = 60;
  alt_udp_port = 29003;
  alt_udp_method = 0;
  alt_log_path = nullptr;
  alt_log_size = 4194304;
  alt_log_level = 4;
  sys_root_path = nullptr;
  alt_rlimit_core = 0;
  g_webalert_use = 0;
  g_resync_time_interval = 0;
  alt_path_only[0] = '\0';
  alt_name_only[0] = '\0';
  alt_log_handle = nullptr;
  eid = 0;
}
