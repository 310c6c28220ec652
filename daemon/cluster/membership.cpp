#include "cluster/membership.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "alert_msg.h"
#include "alert_udp.h"

namespace qel::daemon {

namespace {

// A list that is being made. Once it has changed places with one of the library's, its end frees
// what the library had before.
class ServerList {
 public:
  ServerList() = default;
  ~ServerList() { release_svrlist(&head_); }
  ServerList(const ServerList&) = delete;
  ServerList& operator=(const ServerList&) = delete;

  const ty_svrlist* head() const { return head_; }
  bool append(const ty_svrlist* server) { return add_to_server_list(&head_, server) == 0; }
  void change_places(ty_svrlist** list) { std::swap(head_, *list); }

 private:
  ty_svrlist* head_ = nullptr;
};

struct Free {
  void operator()(void* memory) const { free(memory); }
};

// A node to copy; its name stays the entry's.
bool append_entry(ServerList* list, const ServerEntry& entry) {
  const size_t size = sizeof(ty_svrlist) + entry.addresses.size() * sizeof(ip46_addr);
  const std::unique_ptr<ty_svrlist, Free> node(static_cast<ty_svrlist*>(calloc(1, size)));
  if (node == nullptr) return false;
  node->svr_name = const_cast<char*>(entry.name.c_str());
  for (const ServerAddress& address : entry.addresses) {
    ip46_addr& copy = node->ip_addr[node->ip_num++];
    address.ip.copy(copy.ip, sizeof copy.ip - 1);
    copy.device_id = address.interconnect;
  }
  return list->append(node.get());
}

const ty_svrlist* find_named(const ty_svrlist* list, const std::string& name) {
  while (list != nullptr && name != list->svr_name) list = list->next;
  return list;
}

bool contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::vector<ServerEntry> entries_of(const ty_svrlist* list) {
  std::vector<ServerEntry> entries;
  for (; list != nullptr; list = list->next) {
    ServerEntry& entry = entries.emplace_back(ServerEntry{list->svr_name, {}});
    for (int i = 0; i < list->ip_num; ++i) {
      entry.addresses.push_back({list->ip_addr[i].ip, list->ip_addr[i].device_id});
    }
  }
  return entries;
}

// ---- what changes -------------------------------------------------------------------------------

const ServerEntry* find_entry(const std::vector<ServerEntry>& servers, const std::string& name) {
  const auto found = std::find_if(servers.begin(), servers.end(),
                                  [&](const ServerEntry& server) { return server.name == name; });
  return found != servers.end() ? &*found : nullptr;
}

MembershipChange difference(const std::vector<ServerEntry>& before,
                            const std::vector<ServerEntry>& after, const std::string& local_name) {
  MembershipChange change;
  for (const ServerEntry& server : after) {
    const ServerEntry* old = find_entry(before, server.name);
    const bool same = old != nullptr && old->addresses == server.addresses;
    if (server.name == local_name) {
      change.own_addresses_changed = !same;
    } else if (!same) {
      (old != nullptr ? change.changed : change.added).push_back(server.name);
    }
  }
  for (const ServerEntry& server : before) {
    if (find_entry(after, server.name) == nullptr) change.removed.push_back(server.name);
  }
  return change;
}

// ---- the lists ----------------------------------------------------------------------------------

// The lists that take the place of the library's.
struct FreshLists {
  ServerList all;
  ServerList local;
  ServerList to_synchronise;
  ServerList silent;
};

// The servers of `old` that are still there, in the same order.
bool append_known(ServerList* list, const ty_svrlist* old, const ty_svrlist* all) {
  for (; old != nullptr; old = old->next) {
    const ty_svrlist* known = find_named(all, old->svr_name);
    if (known != nullptr && !list->append(known)) return false;
  }
  return true;
}

bool append_added(ServerList* list, const std::vector<std::string>& added, const ty_svrlist* all) {
  return std::all_of(added.begin(), added.end(),
                     [&](const std::string& name) { return list->append(find_named(all, name)); });
}

bool make_lists(const std::vector<ServerEntry>& servers, const ServerEntry& local,
                const MembershipChange& change, FreshLists* fresh) {
  const bool first_call = server_list_head == nullptr;
  const auto append = [&](const ServerEntry& server) { return append_entry(&fresh->all, server); };
  return std::all_of(servers.begin(), servers.end(), append) &&
         append_entry(&fresh->local, local) &&
         append_known(&fresh->to_synchronise, new_server_list, fresh->all.head()) &&
         append_known(&fresh->silent, servers_not_reply, fresh->all.head()) &&
         (first_call || append_added(&fresh->to_synchronise, change.added, fresh->all.head()));
}

// The peer of a running resynchronisation is the first of new_server_list.
bool peer_is_affected(const MembershipChange& change) {
  return g_sync_step != RESYN_END && new_server_list != nullptr &&
         (contains(change.removed, new_server_list->svr_name) ||
          contains(change.changed, new_server_list->svr_name));
}

}  // namespace

bool install_servers(const std::vector<ServerEntry>& servers, const std::string& local_name,
                     MembershipChange* change, std::string* error) {
  const ServerEntry* local = find_entry(servers, local_name);
  if (local == nullptr) {
    *error = "this server, \"" + local_name + "\", is not among the servers of the cluster";
    return false;
  }
  const std::vector<ServerEntry> before = entries_of(server_list_head);
  if (before == servers) {
    *change = {};
    return true;
  }
  MembershipChange found = difference(before, servers, local_name);
  FreshLists fresh;
  if (!make_lists(servers, *local, found, &fresh)) {
    *error = "not enough memory for the list of servers";
    return false;
  }
  if (peer_is_affected(found)) end_resynchronize(0);
  fresh.all.change_places(&server_list_head);
  fresh.local.change_places(&local_svr);
  fresh.to_synchronise.change_places(&new_server_list);
  fresh.silent.change_places(&servers_not_reply);
  *change = std::move(found);
  return true;
}

void release_servers() {
  for (ty_svrlist** list : {&server_list_head, &local_svr, &new_server_list, &servers_not_reply,
                            &sync_server_list, &servers_alert_msg_not_reply}) {
    release_svrlist(list);
  }
}

}  // namespace qel::daemon
