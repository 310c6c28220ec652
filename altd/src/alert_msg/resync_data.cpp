// Catching up with a peer, the last phase of each name: its alerts; then the next name or peer.
#include <algorithm>
#include <cstring>

#include "alert_config.h"
#include "alert_log.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;
using qel::kMinor;
using qel::kNotable;
using qel::kTrace;

namespace {

// Sends a question to every address of a server with one sequence; the number that was accepted.
int ask_data(const ty_svrlist* server, al_sync_data* question) {
  int filed = 0;
  for (int i = 0; i < server->ip_num; ++i) {
    const ip46_addr& address = server->ip_addr[i];
    ALERT_LOG(kTrace, "================== server ip %d ===============", i);
    ALERT_LOG(kTrace, "Server name is: %s", server->svr_name);
    ALERT_LOG(kTrace, "server ip is: %s", address.ip);
    ALERT_LOG(kNotable, "send request for alert log of server(%s) to server(%s)",
              question->sync_svr, server->svr_name);
    if (send_request_data_msg(question, address.ip, AL_MSGTYPE_SYNC_REQUEST_DATA,
                              address.device_id) >= 0) {
      ++filed;
    } else {
      ALERT_LOG(kMinor, "send request for alert log of server(%s) to server(%s)IP(%s) failed",
                question->sync_svr, server->svr_name, address.ip);
    }
  }
  qel::end_request(question);
  return filed;
}

// Stores one record unless it is there; true when it was new.
bool take_record(const ALERT_RECORD_INFO& record, const char* addr) {
  qel::log_alert_record(kTrace, record);
  const char* image = reinterpret_cast<const char*>(&record);
  if (check_dup_alert(image) != 0) return false;
  ALERT_LOG(kNotable, "alert record from %s single data message ", addr);
  qel::log_alert_record(kNotable, record);
  ALERT_LOG(kTrace, "write the alert log to disk");
  if (udp_write_disk(image, sizeof record, 0) < 0) {
    ALERT_LOG(kMinor, "write alert log to disk failed");
  }
  return true;
}

// Stores what a data reply carries and moves the cursor to its last record, or, when it carries
// none, to the end of the name.
void take_records(const al_msg& msg, const char* buf, const char* addr) {
  char slots[AL_DATA_REPLY_SIZE] = {};
  memcpy(slots, buf + AL_MSG_HEADER_SIZE, msg.msg_head->data_len);
  const int told = static_cast<int>(msg.msg_head->reserve1);
  ALERT_LOG(kFailure, "receive alert data from %s, alert number is: %d", addr, told);
  if (told == 0) sync_single_data.alert_id = sync_single_data.max_alert_id;
  const auto count = std::min<uint32_t>(msg.msg_head->reserve1, AL_DATA_SLOTS);
  bool any_new = false;
  for (uint32_t i = 0; i < count; ++i) {
    ALERT_RECORD_INFO record;
    memcpy(&record, slots + size_t{AL_DATA_SLOT_SIZE} * i, sizeof record);
    any_new = take_record(record, addr) || any_new;
    sync_single_data.alert_id = record.alert_id;
  }
  if (any_new) qel::raise_new_alert_event();
}

// Moves the cursor behind what is held already. True when there is more to fetch of the name.
bool move_cursor_on() {
  if (sync_single_data.alert_id >= sync_single_data.max_alert_id) return false;
  uint32_t from_id = 0;
  if (get_back_notcont_alert_id(sync_single_data.sync_svr, sync_single_data.alert_id, &from_id) <
      0) {
    ALERT_LOG(kFailure, "call get_back_notcont_alert_id() failed");
  }
  if (from_id > sync_single_data.max_alert_id) return false;
  sync_single_data.alert_id = from_id;
  return true;
}

void note_finished_name() {
  ALERT_LOG(kNotable, "synchronize the alert log with server(%s) finished",
            sync_single_data.sync_svr);
  qel::add_name(sync_single_svrname_list, sync_single_data.sync_svr);
  ALERT_LOG(kTrace, "--------------- synced single server names ------------------");
  const int count = qel::count_names(sync_single_svrname_list);
  for (int i = 0; i < count; ++i) {
    ALERT_LOG(kTrace, "sync_single_svrname_list[%d]: %s", i, sync_single_svrname_list[i]);
  }
}

// How a data reply leaves the resynchronisation.
enum class Next { kGoesOn, kFinished, kFailed };

Next continue_with_next_name() {
  const int result = sync_other_single_svrname();
  if (result == 0) return Next::kGoesOn;
  if (result < 0) {
    ALERT_LOG(kFailure, "synchronize the alert log with new added server failed");
    return Next::kFailed;
  }
  if (new_server_list == nullptr) {
    ALERT_LOG(kNotable, "no other new added server,synchronize the alert log finished");
    return Next::kFinished;
  }
  ALERT_LOG(kNotable, "synchronize the alert log  with new added server(%s) finished",
            new_server_list->svr_name);
  if (sync_other_new_server() >= 0) return Next::kGoesOn;
  ALERT_LOG(kFailure, "synchronize with other new added servers failed");
  return Next::kFailed;
}

Next take_data(const al_msg& msg, const char* buf, const char* addr) {
  take_records(msg, buf, addr);
  if (move_cursor_on()) {
    if (request_single_data(&sync_single_data) >= 0) return Next::kGoesOn;
    ALERT_LOG(kFailure, "request alert log from the new added server failed");
    return Next::kFailed;
  }
  note_finished_name();
  return continue_with_next_name();
}

int handle_data(const al_msg& msg, const char* buf, const char* addr) {
  if (g_sync_step != REQ_DATA) return -1;
  if (new_server_list == nullptr) {
    end_resynchronize(1);
    return -1;
  }
  if (!qel::owns_address(new_server_list, addr)) return -1;
  if (msg.msg_head->data_len > AL_DATA_REPLY_SIZE) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const Next next = take_data(msg, buf, addr);
  if (next != Next::kGoesOn) end_resynchronize(next == Next::kFailed ? 1 : 0);
  return next == Next::kFailed ? -1 : 0;
}

void release_first() {
  ALERT_LOG(kNotable, "release server(%s) from new server list", new_server_list->svr_name);
  qel::remove_server(&new_server_list, new_server_list);
}

}  // namespace

int request_single_data(al_sync_data* syncdata) {
  ALERT_TRACE_FUNCTION();
  if (syncdata == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const ty_svrlist* server = qel::find_server_by_name(server_list_head, syncdata->reply_svr);
  if (server == nullptr) {
    ALERT_LOG(kNotable, "the server(%s) now is not in the server list", syncdata->reply_svr);
    if (sync_other_new_server() >= 0) return 0;
    ALERT_LOG(kFailure, "synchronize with other new added servers failed");
    return -1;
  }
  qel::Block<al_sync_data> question = qel::make_question(*syncdata);
  if (question == nullptr) return -1;
  ALERT_LOG(kTrace, "alert id: %d, sync server: %s", static_cast<int>(syncdata->alert_id),
            syncdata->sync_svr);
  if (ask_data(server, question.release()) == 0) return -1;
  g_sync_step = REQ_DATA;
  ALERT_LOG(kFailure, "request alert(ID: %d) of server %s from %s",
            static_cast<int>(syncdata->alert_id), syncdata->sync_svr, server->svr_name);
  return 0;
}

int recv_reply_single_data_msg(al_msg* msg, const char* buf, const char* addr) {
  ALERT_TRACE_FUNCTION();
  g_last_resync_time = QEL_TIMES(nullptr);
  int result = -1;
  if (msg == nullptr || buf == nullptr || addr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
  } else {
    result = handle_data(*msg, buf, addr);
  }
  if (msg != nullptr) qel::settle_request(msg);
  return result;
}

int sync_other_new_server(void) {
  ALERT_TRACE_FUNCTION();
  g_sync_step = RESYN_END;
  if (new_server_list != nullptr) release_first();
  while (new_server_list != nullptr && qel::is_local(new_server_list)) release_first();
  if (new_server_list == nullptr) {
    ALERT_LOG(kFailure, "synchronize alert log with new added servers finished");
    end_resynchronize(0);
    return 0;
  }
  if (request_single_svrname() >= 0) return 0;
  ALERT_LOG(kFailure, "request server name from new added server(%s) failed",
            new_server_list->svr_name);
  return -1;
}
