/* A program in plain C that knows the library by its headers alone.
 *
 * Built as a module, so that the test that loads it does not itself link with the library. */
#include "abi_client.h"

#include <stdio.h>
#include <string.h>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_lock.h"
#include "alert_log.h"
#include "alert_msg.h"
#include "alert_types.h"
#include "alert_udp.h"

_Static_assert(sizeof(ALERT_RECORD_INFO) == 680, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, alert_id) == 0, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szEventID) == 4, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szLevel) == 12, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szServer) == 20, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szModType) == 85, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szWriteTime) == 117, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szServerTime) == 141, "record");
_Static_assert(offsetof(ALERT_RECORD_INFO, szAlertMessage) == 165, "record");
_Static_assert(sizeof(((ALERT_RECORD_INFO*)0)->szAlertMessage) == 512, "record");
_Static_assert(sizeof(ALERT_FIELD_INFO) == 28, "column");
_Static_assert(offsetof(ALERT_FIELD_INFO, nFieldLen) == 16, "column");
_Static_assert(sizeof(ALERT_FILE_HEADER) == 248, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, nCurCount) == 4, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, nCurToWrite) == 8, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, nMaxRecordSize) == 12, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, isChanged) == 16, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, current_alert_id) == 20, "log header");
_Static_assert(offsetof(ALERT_FILE_HEADER, alertField) == 24, "log header");
_Static_assert(sizeof(ALERT_SEARCH_INFO) == 163, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, stopTime) == 24, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, szLevel) == 48, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, szServer) == 56, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, szModule) == 121, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, szEventId) == 153, "search");
_Static_assert(offsetof(ALERT_SEARCH_INFO, szSort) == 161, "search");
_Static_assert(sizeof(TIME_INDEX) == 28, "time entry");
_Static_assert(offsetof(TIME_INDEX, index) == 24, "time entry");
_Static_assert(sizeof(INDEX_HEADER) == 28, "index header");
_Static_assert(offsetof(INDEX_HEADER, idxname) == 4, "index header");
_Static_assert(sizeof(INDEX_RECORD_INFO) == 76, "index entry");
_Static_assert(offsetof(INDEX_RECORD_INFO, szKeyVal) == 8, "index entry");
_Static_assert(sizeof(INDEX_NODE) == 136, "index node");
_Static_assert(offsetof(INDEX_NODE, szIdxval) == 4, "index node");
_Static_assert(offsetof(INDEX_NODE, szAppend) == 69, "index node");
_Static_assert(sizeof(struct ip46_addr) == 52, "address");
_Static_assert(offsetof(struct ip46_addr, device_id) == 48, "address");
_Static_assert(offsetof(struct ty_svrlist, svr_name) == 8, "server");
_Static_assert(offsetof(struct ty_svrlist, ip_num) == 16, "server");
_Static_assert(offsetof(struct ty_svrlist, ip_addr) == 20, "server");
_Static_assert(ALERT_ERR_HEADER_FORMAT == -8323067, "result");
_Static_assert(ALERT_ERR_RECORD_OVERFLOW == -8323066, "result");
_Static_assert(sizeof(tckconf) == 8 && sizeof(g_resync_time_interval) == 8, "64-bit settings");

/* clang-format off */
#define FUNCTION(name) {#name, (void (*)(void))name, NULL}
#define OBJECT(name) {#name, NULL, &name}

const struct abi_symbol abi_symbols[] = {
    FUNCTION(alert_log_lib_init), FUNCTION(alert_log_lib_term), FUNCTION(alert_name_path),
    FUNCTION(config_alert), FUNCTION(config_init), FUNCTION(config_int), FUNCTION(config_path),
    FUNCTION(config_string), FUNCTION(init_global_var), FUNCTION(QEL_TIMES),
    FUNCTION(get_semaphore), FUNCTION(lock_reg), FUNCTION(lock_semaphore), FUNCTION(read_line),
    FUNCTION(read_local_disk), FUNCTION(set_file_flag), FUNCTION(unlock_semaphore),
    FUNCTION(write_line), FUNCTION(write_local_disk), FUNCTION(adjust_alert_record),
    FUNCTION(alert_get_last), FUNCTION(alert_log_lib_write), FUNCTION(alert_search),
    FUNCTION(check_alert_record_info), FUNCTION(check_file_size), FUNCTION(check_is_update),
    FUNCTION(check_string), FUNCTION(create_file), FUNCTION(file_check),
    FUNCTION(get_alert_by_count), FUNCTION(get_alert_line), FUNCTION(get_current_localtime),
    FUNCTION(get_header_length), FUNCTION(get_nounique_field_line), FUNCTION(init_header_data),
    FUNCTION(mkdir_path), FUNCTION(open_file), FUNCTION(prepare_header_field),
    FUNCTION(qsort_searchNode_array), FUNCTION(quick_compare), FUNCTION(read_alert_header),
    FUNCTION(read_alert_record), FUNCTION(udp_write_disk), FUNCTION(write_alert_header),
    FUNCTION(write_alert_record), FUNCTION(check_dup_alert), FUNCTION(check_index_file_status),
    FUNCTION(create_index_content), FUNCTION(delete_index_record), FUNCTION(get_nextto_write),
    FUNCTION(init_index_header), FUNCTION(insert_node_by_key), FUNCTION(modify_index_file),
    FUNCTION(move_index_record), FUNCTION(move_line), FUNCTION(output_index_file),
    FUNCTION(qsort_indexNode_array), FUNCTION(read_index_header), FUNCTION(read_index_record),
    FUNCTION(read_index_srv_id_record), FUNCTION(recreate_index_files),
    FUNCTION(remove_destroyed_file), FUNCTION(search_by_date), FUNCTION(search_by_nounique_key),
    FUNCTION(search_by_nounique_line_key), FUNCTION(search_index_write_location),
    FUNCTION(search_special_alt_id_record), FUNCTION(search_special_record),
    FUNCTION(srv_alt_id_index_write_location), FUNCTION(write_index_header),
    FUNCTION(write_index_record), FUNCTION(write_index_srv_id_record),
    FUNCTION(add_to_new_serverlist_all), FUNCTION(add_to_server_list),
    FUNCTION(check_server_in_list), FUNCTION(get_local_server), FUNCTION(ip_compare),
    FUNCTION(release_svrlist), FUNCTION(unlink_one_svr),
    OBJECT(alt_alert_name), OBJECT(alt_cmd_path), OBJECT(alt_comment), OBJECT(alt_log_handle),
    OBJECT(alt_log_level), OBJECT(alt_log_path), OBJECT(alt_log_size), OBJECT(alt_max_count),
    OBJECT(alt_mod_type), OBJECT(alt_name_only), OBJECT(alt_name_temp), OBJECT(alt_path_only),
    OBJECT(alt_rlimit_core), OBJECT(alt_timeout), OBJECT(alt_udp_method), OBJECT(alt_udp_port),
    OBJECT(alert_pid_file_name), OBJECT(eid), OBJECT(is_service), OBJECT(sys_root_path),
    OBJECT(tckconf), OBJECT(g_alert_cheknewsvr_interval), OBJECT(g_alert_chksrvlist_interval),
    OBJECT(g_alert_getradio_interval), OBJECT(g_alert_retry_count), OBJECT(g_get_altid_timeout),
    OBJECT(g_get_srvname_timeout), OBJECT(g_hb_timeout), OBJECT(g_resend_timeout),
    OBJECT(g_resync_time_interval), OBJECT(g_sendtonewsvr_interval), OBJECT(g_tmpfile_maxsize),
    OBJECT(g_tmpfile_read_count), OBJECT(g_tmpfile_read_interval), OBJECT(g_webalert_use),
    OBJECT(record_field_lenth), OBJECT(record_field_name), OBJECT(idx_name), OBJECT(index_create),
    OBJECT(get_maxalertid_localserver_now), OBJECT(start_count_time_for_maxalertid_localserver),
    OBJECT(start_write_local_logfile), OBJECT(local_svr), OBJECT(new_server_list),
    OBJECT(server_list_head), OBJECT(servers_alert_msg_not_reply), OBJECT(servers_not_reply),
    OBJECT(sync_server_list),
    {NULL, NULL, NULL},
};
/* clang-format on */

static void point_to(const char* directory) {
  static char commands[ALT_PATH_SIZE];
  init_global_var();
  snprintf(alt_path_only, ALT_PATH_SIZE, "%s/log/", directory);
  snprintf(alt_name_only, ALT_NAME_SIZE, "alertlog.alt");
  snprintf(commands, sizeof commands, "%s/cmd/", directory);
  alt_cmd_path = commands;
}

static int store_one(uint32_t id, const char* server) {
  ALERT_RECORD_INFO record;
  memset(&record, 0, sizeof record);
  record.alert_id = id;
  strcpy(record.szEventID, "42");
  strcpy(record.szLevel, "1");
  strcpy(record.szServer, server);
  strcpy(record.szModType, "disk");
  strcpy(record.szWriteTime, "2024/01/01 00:00:00.000");
  snprintf(record.szServerTime, sizeof record.szServerTime, "2024/01/01 00:00:00.%03u",
           (unsigned)id);
  strcpy(record.szAlertMessage, "message");
  return udp_write_disk((const char*)&record, sizeof record, 1);
}

int abi_client_run(const char* directory) {
  point_to(directory);
  if (store_one(1, "a") != 0 || store_one(2, "b") != 0 || store_one(3, "a") != 0) return 1;
  ALERT_SEARCH_INFO info;
  memset(&info, 0, sizeof info);
  strcpy(info.szServer, "a");
  ALERT_RECORD_INFO page[2];
  int size = 2;
  int number = 0;
  if (alert_search(info, &size, &number, page) != 2) return 2;
  if (size != 2 || number != 0 || page[0].alert_id != 3 || page[1].alert_id != 1) return 3;
  if (alert_get_last(page, 1) != 1 || page[0].alert_id != 3) return 4;
  return check_is_update() == 1 ? 0 : 5;
}
