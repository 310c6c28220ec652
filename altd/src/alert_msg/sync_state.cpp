// What the library and the daemon tell each other about the state of the synchronisation.
#include <cstring>

#include "alert_msg.h"
#include "alert_udp.h"
#include "common/log.h"

int get_maxalertid_localserver_now = 0;
int start_count_time_for_maxalertid_localserver = 0;
int start_write_local_logfile = 0;

void add_to_new_serverlist_all(void) {
  ALERT_TRACE_FUNCTION();
  if (local_svr == nullptr) {
    ALERT_LOG(qel::kFailure, "local_svr is NULL");
    return;
  }
  get_maxalertid_localserver_now = 0;
  start_write_local_logfile = 0;
  start_count_time_for_maxalertid_localserver = 1;
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (strcmp(server->svr_name, local_svr->svr_name) != 0) {
      add_to_server_list(&new_server_list, server);
    }
  }
}
