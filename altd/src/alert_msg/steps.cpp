#include "alert_msg/steps.h"

#include <algorithm>
#include <cstring>

#include "common/fixed_text.h"
#include "common/log.h"

namespace qel {

bool owns_address(const ty_svrlist* server, const char* addr) {
  for (int i = 0; i < server->ip_num; ++i) {
    if (ip_compare(server->ip_addr[i].ip, addr) == 0) return true;
  }
  return false;
}

const ty_svrlist* find_server_by_address(const ty_svrlist* list, const char* addr) {
  while (list != nullptr && !owns_address(list, addr)) list = list->next;
  return list;
}

const ty_svrlist* find_server_by_name(const ty_svrlist* list, const char* name) {
  while (list != nullptr && strcmp(list->svr_name, name) != 0) list = list->next;
  return list;
}

const ty_svrlist* find_sender(const char* addr) {
  const ty_svrlist* sender = find_server_by_address(server_list_head, addr);
  if (sender == nullptr) ALERT_LOG(kMinor, "received message from unknown server: %s", addr);
  return sender;
}

bool is_local(const ty_svrlist* server) {
  return local_svr != nullptr && strcmp(server->svr_name, local_svr->svr_name) == 0;
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

}  // namespace qel
