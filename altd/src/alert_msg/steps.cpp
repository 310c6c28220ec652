#include "alert_msg/steps.h"

#include <algorithm>
#include <cstring>

#include "common/fixed_text.h"
#include "common/log.h"

namespace qel {

const ty_svrlist* find_sender(const char* addr) {
  const ty_svrlist* sender = find_server_by_address(server_list_head, addr);
  if (sender == nullptr) ALERT_LOG(kMinor, "received message from unknown server: %s", addr);
  return sender;
}

void remove_server(ty_svrlist** list, ty_svrlist* server) {
  unlink_one_svr(list, server);
  free(server->svr_name);
  free(server);
}

int count_names(const char (*names)[ALERT_NAME_SIZE]) {
  int count = 0;
  while (count < AL_SVRNAME_COUNT && names[count][0] != '\0') ++count;
  return count;
}

void copy_name(char (&field)[ALERT_NAME_SIZE], const char* name) {
  take_text(field, name, strnlen(name, sizeof field));
}

void read_sync_data(const char* buf, size_t length, al_sync_data* data) {
  *data = {};
  memcpy(data, buf + AL_MSG_HEADER_SIZE, std::min(length, sizeof *data));
  data->sync_svr[sizeof data->sync_svr - 1] = '\0';
  data->reply_svr[sizeof data->reply_svr - 1] = '\0';
}

Block<al_sync_data> make_question(const al_sync_data& cursor) {
  auto question = make_block<al_sync_data>(sizeof(al_sync_data));
  if (question == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return nullptr;
  }
  question->alert_id = cursor.alert_id;
  memcpy(question->sync_svr, cursor.sync_svr, sizeof question->sync_svr);
  return question;
}

}  // namespace qel
