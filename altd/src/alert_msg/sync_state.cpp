// The state that the library and the daemon share.
#include "alert_msg/steps.h"
#include "common/log.h"

int g_sync_step = RESYN_END;
al_sync_data sync_single_data;
al_sync_data begin_sync_data;
char local_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];
char single_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];
char sync_single_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];

uint32_t max_alertid_localserver = 0;

pthread_mutex_t timeout_variable_mutex = PTHREAD_MUTEX_INITIALIZER;
int current_ratio = 1;
clock_t g_last_resync_time = 0;

int check_newsvr_time = 30;
int check_newsvr_flag = 0;
int sync_single_svrname_time = 0;
int sync_single_svrname_flag = 0;
int sync_single_altid_time = 0;
int sync_single_altid_flag = 0;
int start_count_time_for_maxalertid_localserver = 0;
int start_write_local_logfile = 0;

int write_alert_now = 0;
int resend_now = 0;
int drop_now = 0;
int check_svrlist_now = 0;
int start_heartbeat_now = 0;
int start_send_new_server_now = 0;
int check_newsvr_now = 0;
int sync_single_svrname_now = 0;
int sync_single_altid_now = 0;
int get_maxalertid_localserver_now = 0;

void add_to_new_serverlist_all(void) {
  ALERT_TRACE_FUNCTION();
  if (local_svr == nullptr) {
    ALERT_LOG(qel::kFailure, "local_svr is NULL");
    return;
  }
  get_maxalertid_localserver_now = 0;
  start_write_local_logfile = 0;
  al_sync_data question = {};
  qel::copy_name(question.sync_svr, local_svr->svr_name);
  if (request_max_alertid_localserver(&question) < 0) {
    ALERT_LOG(qel::kFailure, "send request all alert id message failed");
  }
  start_count_time_for_maxalertid_localserver = 1;
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (!qel::is_local(server)) static_cast<void>(add_to_server_list(&new_server_list, server));
  }
}
