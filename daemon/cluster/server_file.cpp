#include "cluster/server_file.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <qelxml.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "alert_udp.h"

#pragma weak xmllib_last_error

namespace qel::daemon {

namespace {

constexpr char kProgram[] = "qelalertd";
constexpr char kCluster[] = "/root/cluster";
constexpr int kValueMax = (4 << 20) + 1;  // a value is never longer than the file that holds it
constexpr size_t kShownMax = 64;          // of a wrong value in a message
// Names of one message; a longer one is refused by its receiver.
constexpr size_t kNamesToldMax = size_t{AL_NAMES_PAYLOAD_MAX} / ALERT_NAME_SIZE;
constexpr std::string_view kNameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";

// cluster.xml while it is read; no policy section is loaded that could hide what it holds.
class ClusterFile {
 public:
  ClusterFile() : loaded_(xmllib_init(kProgram) == 0 && xmllib_load_config() == 0) {}
  ~ClusterFile() {
    if (loaded_) xmllib_unload_config();
    xmllib_term();
  }
  ClusterFile(const ClusterFile&) = delete;
  ClusterFile& operator=(const ClusterFile&) = delete;

  bool loaded() const { return loaded_; }
  // Nothing when there is no such element.
  std::optional<std::string> text(const std::string& key) const {
    int size = kValueMax;
    if (xmllib_get_value(key.c_str(), XMLLIB_TEXT, buffer_.get(), &size) != 0) return std::nullopt;
    return std::string(buffer_.get(), static_cast<size_t>(size));
  }
  bool has(const std::string& key) const { return text(key).has_value(); }

 private:
  bool loaded_;
  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(kValueMax);
};

std::string at(const std::string& key, size_t position) {
  return key + "[" + std::to_string(position) + "]";
}

std::string server_key(size_t position) { return at(std::string(kCluster) + "/server", position); }

std::string address_key(size_t server, size_t position) {
  return at(server_key(server) + "/address", position);
}

std::string quoted(const std::string& text) {
  return "\"" + (text.size() <= kShownMax ? text : text.substr(0, kShownMax) + "...") + "\"";
}

bool refuse(const std::string& key, const std::string& reason, std::string* error) {
  *error = "cluster.xml: " + key + ": " + reason;
  return false;
}

// ---- single values ------------------------------------------------------------------------------

// One value of a server.
struct Value {
  std::string key;
  std::string server;
  std::string text;
};

bool refuse(const Value& value, const std::string& reason, std::string* error) {
  return refuse(value.key, quoted(value.text) + " of server " + quoted(value.server) + " " + reason,
                error);
}

bool read_value(const ClusterFile& file, const std::string& key, const std::string& server,
                Value* value, std::string* error) {
  std::optional<std::string> text = file.text(key);
  if (!text) return refuse(key, "missing at server " + quoted(server), error);
  *value = {key, server, std::move(*text)};
  return true;
}

bool is_server_name(const std::string& text) {
  return !text.empty() && text.size() <= kServerNameMax &&
         text.find_first_not_of(kNameCharacters) == std::string::npos;
}

// Why messages cannot be sent to the address or received there; empty when they can.
const char* fault_of(in_addr address) {
  const in_addr_t number = ntohl(address.s_addr);
  if (number == INADDR_ANY) return "is a wildcard address";
  if (number == INADDR_BROADCAST) return "is a broadcast address";
  return IN_MULTICAST(number) ? "is a multicast address" : "";
}

const char* fault_of(const in6_addr& address) {
  if (IN6_IS_ADDR_UNSPECIFIED(&address)) return "is a wildcard address";
  if (IN6_IS_ADDR_MULTICAST(&address)) return "is a multicast address";
  return IN6_IS_ADDR_LINKLOCAL(&address) ? "is a link-local address, which needs a scope" : "";
}

bool put_canonical(int family, const void* address, const char* fault, Value* value,
                   std::string* error) {
  if (*fault != '\0') return refuse(*value, fault, error);
  char text[INET6_ADDRSTRLEN];
  value->text = inet_ntop(family, address, text, sizeof text);
  return true;
}

// Datagrams come with the canonical text of their sender, which is compared as text.
bool make_canonical(Value* ip, std::string* error) {
  in_addr four;
  in6_addr six;
  const bool is_six = inet_pton(AF_INET6, ip->text.c_str(), &six) == 1;
  const bool mapped = is_six && IN6_IS_ADDR_V4MAPPED(&six);
  if (is_six && !mapped) return put_canonical(AF_INET6, &six, fault_of(six), ip, error);
  if (mapped) {
    memcpy(&four, &six.s6_addr[sizeof six - sizeof four], sizeof four);
  } else if (inet_pton(AF_INET, ip->text.c_str(), &four) != 1) {
    return refuse(*ip, "is not a numeric IPv4 or IPv6 address", error);
  }
  return put_canonical(AF_INET, &four, fault_of(four), ip, error);
}

bool parse_interconnect(const Value& value, int* number, std::string* error) {
  const char* const end = value.text.data() + value.text.size();
  const auto read = std::from_chars(value.text.data(), end, *number);
  if (read.ec == std::errc() && read.ptr == end && *number >= 0) return true;
  return refuse(value, "is not a whole number from 0 to " + std::to_string(INT_MAX), error);
}

// ---- the servers --------------------------------------------------------------------------------

bool read_address(const ClusterFile& file, const std::string& key, const std::string& server,
                  ServerAddress* address, std::string* error) {
  Value ip;
  Value interconnect;
  if (!read_value(file, key + "/ip", server, &ip, error) || !make_canonical(&ip, error) ||
      !read_value(file, key + "/interconnect", server, &interconnect, error) ||
      !parse_interconnect(interconnect, &address->interconnect, error)) {
    return false;
  }
  address->ip = ip.text;
  return true;
}

bool check_interconnect(const ServerEntry& server, const std::string& key, int interconnect,
                        std::string* error) {
  const auto same = std::find_if(
      server.addresses.begin(), server.addresses.end(),
      [&](const ServerAddress& address) { return address.interconnect == interconnect; });
  if (same == server.addresses.end()) return true;
  return refuse({key + "/interconnect", server.name, std::to_string(interconnect)},
                "is also the interconnect of its address " + same->ip, error);
}

bool read_addresses(const ClusterFile& file, size_t position, ServerEntry* server,
                    std::string* error) {
  for (size_t n = 1; file.has(address_key(position, n)); ++n) {
    const std::string key = address_key(position, n);
    if (n > kAddressesMax) {
      return refuse(key,
                    "server " + quoted(server->name) + " has more than " +
                        std::to_string(kAddressesMax) + " addresses",
                    error);
    }
    ServerAddress address;
    if (!read_address(file, key, server->name, &address, error) ||
        !check_interconnect(*server, key, address.interconnect, error)) {
      return false;
    }
    server->addresses.push_back(std::move(address));
  }
  return true;
}

bool read_server(const ClusterFile& file, size_t position, ServerEntry* server,
                 std::string* error) {
  const std::string key = server_key(position) + "/name";
  const std::optional<std::string> name = file.text(key);
  if (!name) return refuse(key, "missing", error);
  if (!is_server_name(*name)) {
    return refuse(key,
                  quoted(*name) + " is not a short host name of 1 to " +
                      std::to_string(kServerNameMax) + " letters, digits, \"-\" and \"_\"",
                  error);
  }
  server->name = *name;
  return read_addresses(file, position, server, error);
}

bool read_all(const ClusterFile& file, std::vector<ServerEntry>* servers, std::string* error) {
  if (!file.has(kCluster)) return refuse(kCluster, "missing", error);
  for (size_t position = 1; file.has(server_key(position)); ++position) {
    if (position > kServersMax) {
      return refuse(server_key(position), "more than " + std::to_string(kServersMax) + " servers",
                    error);
    }
    if (!read_server(file, position, &servers->emplace_back(), error)) return false;
  }
  return true;
}

// ---- what must hold between them ----------------------------------------------------------------

using Servers = std::vector<ServerEntry>;

Servers::const_iterator find_named(const Servers& servers, const std::string& name) {
  return std::find_if(servers.begin(), servers.end(),
                      [&](const ServerEntry& server) { return server.name == name; });
}

bool check_names(const Servers& servers, std::string* error) {
  for (size_t i = 0; i < servers.size(); ++i) {
    const auto first = static_cast<size_t>(find_named(servers, servers[i].name) - servers.begin());
    if (first < i) {
      return refuse(
          server_key(i + 1) + "/name",
          quoted(servers[i].name) + " is also the name of server " + std::to_string(first + 1),
          error);
    }
  }
  return true;
}

bool check_addresses(const Servers& servers, std::string* error) {
  std::map<std::string, std::string> owners;  // by address
  for (size_t i = 0; i < servers.size(); ++i) {
    const auto& [name, addresses] = servers[i];
    if (addresses.empty() && servers.size() > 1) {
      return refuse(address_key(i + 1, 1), "missing at server " + quoted(name), error);
    }
    for (size_t n = 0; n < addresses.size(); ++n) {
      const auto [owner, is_new] = owners.emplace(addresses[n].ip, name);
      if (is_new) continue;
      return refuse({address_key(i + 1, n + 1) + "/ip", name, addresses[n].ip},
                    "is also an address of server " + quoted(owner->second), error);
    }
  }
  return true;
}

bool check_local(const Servers& servers, const std::string& local, std::string* error) {
  if (find_named(servers, local) != servers.end()) return true;
  return refuse(kCluster, "this server, " + quoted(local) + ", is not among its servers", error);
}

bool share_an_interconnect(const ServerEntry& one, const ServerEntry& other) {
  return std::any_of(one.addresses.begin(), one.addresses.end(), [&](const ServerAddress& address) {
    return std::any_of(other.addresses.begin(), other.addresses.end(), [&](const auto& candidate) {
      return candidate.interconnect == address.interconnect;
    });
  });
}

void warn_of_names(const Servers& servers, std::vector<std::string>* warnings) {
  for (const ServerEntry& one : servers) {
    for (const ServerEntry& other : servers) {
      if (&one == &other || !other.name.starts_with(one.name)) continue;
      warnings->push_back("the name of server " + quoted(one.name) + " begins the name of server " +
                          quoted(other.name) + ", which may take alert ids of the first for its " +
                          "own");
    }
  }
}

void warn_of_interconnects(const Servers& servers, const ServerEntry& local,
                           std::vector<std::string>* warnings) {
  for (const ServerEntry& server : servers) {
    if (&server == &local || share_an_interconnect(local, server)) continue;
    warnings->push_back("server " + quoted(server.name) +
                        " is on no interconnect of this server, " + quoted(local.name) +
                        ": they exchange no alerts");
  }
}

}  // namespace

bool local_server_name(std::string* name, std::string* error) {
  char text[256] = {};
  if (get_local_server(text) == 0 && text[0] != '\0' && strlen(text) <= kServerNameMax) {
    *name = text;
    return true;
  }
  *error = "the host name \"" + std::string(text) + "\" is no server name of 1 to " +
           std::to_string(kServerNameMax) + " characters";
  return false;
}

bool read_servers(std::vector<ServerEntry>* servers, std::string* error) {
  std::string local;
  if (!local_server_name(&local, error)) return false;
  const ClusterFile file;
  if (!file.loaded()) {
    *error = xmllib_last_error != nullptr ? xmllib_last_error() : "cluster.xml: cannot be read";
    return false;
  }
  Servers found;
  if (!read_all(file, &found, error)) return false;
  if (found.empty()) found.push_back({local, {}});
  if (!check_names(found, error) || !check_addresses(found, error) ||
      !check_local(found, local, error)) {
    return false;
  }
  *servers = std::move(found);
  return true;
}

std::vector<std::string> server_warnings(const std::vector<ServerEntry>& servers,
                                         const std::string& local_name) {
  std::vector<std::string> warnings;
  warn_of_names(servers, &warnings);
  const auto local = find_named(servers, local_name);
  if (local != servers.end()) warn_of_interconnects(servers, *local, &warnings);
  if (servers.size() > kNamesToldMax) {
    warnings.push_back("with more than " + std::to_string(kNamesToldMax) +
                       " servers, a server that holds alerts of all of them cannot tell their " +
                       "names: no other one catches up with it");
  }
  return warnings;
}

}  // namespace qel::daemon
