/* A program in plain C that knows the library by its headers alone.
 *
 * Built as a module, so that the test that loads it does not itself link with the library. */
#include "abi_client.h"

#include <stdio.h>
#include <stdlib.h>
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
_Static_assert(sizeof(struct al_msg_header) == 72, "message header");
_Static_assert(offsetof(struct al_msg_header, msg_type) == 4, "message header");
_Static_assert(offsetof(struct al_msg_header, sequence) == 8, "message header");
_Static_assert(offsetof(struct al_msg_header, data_len) == 12, "message header");
_Static_assert(offsetof(struct al_msg_header, dst_addr) == 16, "message header");
_Static_assert(offsetof(struct al_msg_header, reserve1) == 64, "message header");
_Static_assert(offsetof(struct al_msg_header, reserve2) == 68, "message header");
_Static_assert(sizeof(struct al_msg) == 24, "message");
_Static_assert(offsetof(struct al_msg, msg_data) == 8, "message");
_Static_assert(offsetof(struct al_msg, next) == 16, "message");
_Static_assert(sizeof(struct al_msg_send_hist) == 32, "send history");
_Static_assert(offsetof(struct al_msg_send_hist, startcl) == 8, "send history");
_Static_assert(offsetof(struct al_msg_send_hist, sequence) == 16, "send history");
_Static_assert(offsetof(struct al_msg_send_hist, msg) == 24, "send history");
_Static_assert(sizeof(struct al_sync_data) == 144, "sync record");
_Static_assert(offsetof(struct al_sync_data, sync_svr) == 4, "sync record");
_Static_assert(offsetof(struct al_sync_data, reply_svr) == 69, "sync record");
_Static_assert(offsetof(struct al_sync_data, max_alert_id) == 136, "sync record");
_Static_assert(offsetof(struct al_sync_data, sync_flg) == 140, "sync record");
_Static_assert(sizeof(struct servername_altid) == 72, "highest id entry");
_Static_assert(offsetof(struct servername_altid, maxaltid) == 68, "highest id entry");
_Static_assert(sizeof(local_svrname_list) == 6500, "table of names");
_Static_assert(sizeof(send_hist) == sizeof(struct al_msg_send_hist), "a structure, no pointer");
_Static_assert(sizeof(g_last_resync_time) == 8 && sizeof(sequencenum) == 4, "counters");
_Static_assert(RESYN_START == 0 && REQ_DATA == 5 && RESYN_END == 6, "states");
_Static_assert(AL_MSGTYPE_SYNC_REPLY_NEW_SERVER == 0x1000000a, "types");
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
    FUNCTION(add_to_send_hist), FUNCTION(al_msg_del), FUNCTION(al_msg_new),
    FUNCTION(alert_shmcm_getratio), FUNCTION(del_from_send_hist), FUNCTION(ding),
    FUNCTION(dropmsg_from_list), FUNCTION(end_resynchronize), FUNCTION(find_seq),
    FUNCTION(get_alert_id), FUNCTION(get_alert_log), FUNCTION(get_all_svrname_maxid_from_local),
    FUNCTION(get_all_svrname_maxid_from_remote), FUNCTION(get_back_notcont_alert_id),
    FUNCTION(get_local_maxid_from_remote), FUNCTION(get_server_name),
    FUNCTION(get_svr_altid_msgdata), FUNCTION(get_unsync_svrname), FUNCTION(hton_msg_header),
    FUNCTION(init_send_hist), FUNCTION(initialize), FUNCTION(msg_to_string),
    FUNCTION(ntoh_msg_header), FUNCTION(re_send_msg),
    FUNCTION(recv_reply_maxalertid_localserver_msg), FUNCTION(recv_reply_new_server_msg),
    FUNCTION(recv_reply_single_alert_id_msg), FUNCTION(recv_reply_single_data_msg),
    FUNCTION(recv_reply_single_server_name_msg), FUNCTION(recv_request_alert_id_msg),
    FUNCTION(recv_request_data_msg), FUNCTION(recv_request_server_name_msg),
    FUNCTION(recv_send_alert_msg), FUNCTION(recv_send_heartbeat_msg),
    FUNCTION(recv_send_new_server_msg), FUNCTION(request_max_alertid_localserver),
    FUNCTION(request_single_alert_id), FUNCTION(request_single_data),
    FUNCTION(request_single_svrname), FUNCTION(send_msg), FUNCTION(send_new_server_msg),
    FUNCTION(send_reply_msg), FUNCTION(send_request_alert_id_msg), FUNCTION(send_request_data_msg),
    FUNCTION(send_request_heartbeat_msg), FUNCTION(send_request_msg),
    FUNCTION(send_request_server_name_msg), FUNCTION(should_drop_message),
    FUNCTION(start_resynchronize), FUNCTION(string_to_msg), FUNCTION(sync_other_new_server),
    FUNCTION(sync_other_single_svrname),
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
    OBJECT(begin_sync_data), OBJECT(check_newsvr_flag), OBJECT(check_newsvr_now),
    OBJECT(check_newsvr_time), OBJECT(check_svrlist_now), OBJECT(currecord_send),
    OBJECT(current_ratio), OBJECT(drop_now), OBJECT(g_last_resync_time), OBJECT(g_sync_step),
    OBJECT(local_svrname_list), OBJECT(max_alertid_localserver), OBJECT(previous_send),
    OBJECT(resend_now), OBJECT(send_hist), OBJECT(sequencenum), OBJECT(single_svrname_list),
    OBJECT(start_heartbeat_now), OBJECT(start_send_new_server_now), OBJECT(sync_single_altid_flag),
    OBJECT(sync_single_altid_now), OBJECT(sync_single_altid_time), OBJECT(sync_single_data),
    OBJECT(sync_single_svrname_flag), OBJECT(sync_single_svrname_list),
    OBJECT(sync_single_svrname_now), OBJECT(sync_single_svrname_time),
    OBJECT(timeout_variable_mutex), OBJECT(write_alert_now),
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

/* A request about an id to a datagram and back. 0, or the number of the step that failed. */
static int send_and_receive(void) {
  static const unsigned char start[16] = {0, 0, 0, 1, 0, 0, 0, 5, 0, 0, 0, 7, 0, 0, 0, 144};
  struct al_sync_data* data = calloc(1, sizeof *data);
  struct al_msg* msg = al_msg_new();
  if (data == NULL || msg == NULL) return 1;
  data->alert_id = 0x01020304;
  msg->msg_head->msg_type = AL_MSGTYPE_SYNC_REQUEST_ALERT_ID;
  msg->msg_head->sequence = 7;
  msg->msg_head->data_len = sizeof *data;
  msg->msg_data = data;
  char* datagram = msg_to_string(msg);
  al_msg_del(msg);
  if (datagram == NULL || memcmp(datagram, start, sizeof start) != 0) return 2;
  if (memcmp(datagram + AL_MSG_HEADER_SIZE, "\1\2\3\4", 4) != 0) return 3;
  msg = string_to_msg(datagram);
  if (msg == NULL || msg->msg_head->sequence != 7 || msg->msg_data != NULL) return 4;
  uint32_t id;
  memcpy(&id, datagram + AL_MSG_HEADER_SIZE, sizeof id);
  al_msg_del(msg);
  free(datagram);
  return id == 0x01020304 ? 0 : 5;
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
  if (check_is_update() != 1) return 5;
  const int step = send_and_receive();
  return step == 0 ? 0 : 10 + step;
}
