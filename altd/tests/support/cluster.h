// The cluster as an initialised daemon knows it.
#ifndef QEL_ALTD_TESTS_SUPPORT_CLUSTER_H
#define QEL_ALTD_TESTS_SUPPORT_CLUSTER_H

#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "alert_msg.h"
#include "alert_udp.h"

namespace alt_test {

// A node of its own, as the daemon would make it.
inline ty_svrlist* new_server(const std::string& name,
                              std::initializer_list<const char*> addresses = {}) {
  const size_t size = sizeof(ty_svrlist) + addresses.size() * sizeof(ip46_addr);
  auto* server = static_cast<ty_svrlist*>(calloc(1, size));
  server->svr_name = strdup(name.c_str());
  for (const char* address : addresses) {
    ip46_addr& entry = server->ip_addr[server->ip_num++];
    strncpy(entry.ip, address, sizeof(entry.ip) - 1);
    entry.device_id = server->ip_num;
  }
  return server;
}

inline std::vector<std::string> names_of(const ty_svrlist* list) {
  std::vector<std::string> names;
  for (; list != nullptr; list = list->next) names.emplace_back(list->svr_name);
  return names;
}

// While it lives, this process is the daemon of `local` in a cluster with the others.
class Cluster {
 public:
  explicit Cluster(const std::string& local, std::initializer_list<const char*> others = {}) {
    local_svr = new_server(local);
    server_list_head = new_server(local);
    ty_svrlist* last = server_list_head;
    for (const char* other : others) last = last->next = new_server(other);
  }
  ~Cluster() {
    release_svrlist(&local_svr);
    release_svrlist(&server_list_head);
    release_svrlist(&new_server_list);
    get_maxalertid_localserver_now = 0;
    start_count_time_for_maxalertid_localserver = 0;
    start_write_local_logfile = 0;
  }
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;
};

}  // namespace alt_test

#endif
