// Lists of servers.
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alert_udp.h"
#include "common/log.h"

using qel::kFailure;
using qel::kNotable;
using qel::kTrace;

ty_svrlist* server_list_head = nullptr;
ty_svrlist* local_svr = nullptr;
ty_svrlist* new_server_list = nullptr;
ty_svrlist* servers_not_reply = nullptr;
ty_svrlist* sync_server_list = nullptr;
ty_svrlist* servers_alert_msg_not_reply = nullptr;

namespace {

constexpr size_t kComparedSize = 64;  // an address text in its IPv6 form, with its NUL
constexpr size_t kHostNameSize = 256;

// The first node is not compared, on purpose.
bool named_behind_head(const ty_svrlist* list, const char* name) {
  if (list == nullptr) return false;
  for (const ty_svrlist* node = list->next; node != nullptr; node = node->next) {
    if (strcmp(node->svr_name, name) == 0) return true;
  }
  return false;
}

ty_svrlist* copy_server(const ty_svrlist* server) {
  const size_t size =
      offsetof(ty_svrlist, ip_addr) + static_cast<size_t>(server->ip_num) * sizeof(ip46_addr);
  auto* node = static_cast<ty_svrlist*>(calloc(1, std::max(size, sizeof(ty_svrlist))));
  if (node == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return nullptr;
  }
  node->ip_num = server->ip_num;
  for (int i = 0; i < server->ip_num; ++i) node->ip_addr[i] = server->ip_addr[i];
  node->svr_name = strdup(server->svr_name);
  if (node->svr_name == nullptr) {
    ALERT_LOG(kFailure, "call strdup failed");
    free(node);
    return nullptr;
  }
  return node;
}

// The link that leads to p, or to the end of the list when p is null or not in it.
ty_svrlist** link_to(ty_svrlist** list, const ty_svrlist* p) {
  ty_svrlist** link = list;
  while (*link != nullptr && *link != p) link = &(*link)->next;
  return link;
}

void put_compared(char* text, const char* address) {
  const bool ipv4 = strchr(address, ':') == nullptr;
  snprintf(text, kComparedSize, "%s%s", ipv4 ? "::ffff:" : "", address);
}

}  // namespace

int add_to_server_list(ty_svrlist** svr_list, const ty_svrlist* svr) {
  ALERT_TRACE_FUNCTION();
  if (svr_list == nullptr || svr == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (named_behind_head(*svr_list, svr->svr_name)) {
    ALERT_LOG(kNotable, "repeat server %s.", svr->svr_name);
    return 0;
  }
  ALERT_LOG(kTrace, "create a new server node");
  ty_svrlist* node = copy_server(svr);
  if (node == nullptr) return -1;
  *link_to(svr_list, nullptr) = node;
  ALERT_LOG(kNotable, "------------- server list --------------");
  for (const ty_svrlist* at = *svr_list; at != nullptr; at = at->next) {
    ALERT_LOG(kNotable, "%s", at->svr_name);
  }
  return 0;
}

void unlink_one_svr(ty_svrlist** list, ty_svrlist* p) {
  ALERT_TRACE_FUNCTION();
  if (list == nullptr || p == nullptr) return;
  ty_svrlist** link = link_to(list, p);
  if (*link != nullptr) *link = p->next;
}

void release_svrlist(ty_svrlist** list) {
  ALERT_TRACE_FUNCTION();
  while (list != nullptr && *list != nullptr) {
    ty_svrlist* first = *list;
    unlink_one_svr(list, first);
    free(first->svr_name);
    free(first);
  }
}

int check_server_in_list(const ty_svrlist* list, const ty_svrlist* svr) {
  if (svr == nullptr) return 0;
  for (; list != nullptr; list = list->next) {
    for (int i = 0; i < list->ip_num; ++i) {
      for (int j = 0; j < svr->ip_num; ++j) {
        if (ip_compare(list->ip_addr[i].ip, svr->ip_addr[j].ip) == 0) return 1;
      }
    }
  }
  return 0;
}

int ip_compare(const char* addr1, const char* addr2) {
  char first[kComparedSize];
  char second[kComparedSize];
  put_compared(first, addr1);
  put_compared(second, addr2);
  return strcasecmp(first, second) == 0 ? 0 : 1;
}

int get_local_server(char* buf) {
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  if (gethostname(buf, kHostNameSize) != 0) {
    ALERT_LOG(kFailure, "gethostname failed");
    return -1;
  }
  buf[kHostNameSize - 1] = '\0';
  buf[strcspn(buf, ".")] = '\0';
  return 0;
}
