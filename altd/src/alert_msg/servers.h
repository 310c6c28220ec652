// Questions to lists of servers.
#pragma once

#include <cstring>

#include "alert_udp.h"

namespace qel {

inline bool owns_address(const ty_svrlist* server, const char* addr) {
  for (int i = 0; i < server->ip_num; ++i) {
    if (ip_compare(server->ip_addr[i].ip, addr) == 0) return true;
  }
  return false;
}

// The first server of a list with this address, or of this name; null when there is none.
inline const ty_svrlist* find_server_by_address(const ty_svrlist* list, const char* addr) {
  while (list != nullptr && !owns_address(list, addr)) list = list->next;
  return list;
}
inline const ty_svrlist* find_server_by_name(const ty_svrlist* list, const char* name) {
  while (list != nullptr && strcmp(list->svr_name, name) != 0) list = list->next;
  return list;
}

inline bool is_local(const ty_svrlist* server) {
  return local_svr != nullptr && strcmp(server->svr_name, local_svr->svr_name) == 0;
}

}  // namespace qel
