#include "configuration/servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <map>
#include <utility>

#include "alert_msg.h"
#include "alert_udp.h"

namespace qel::configuration {

namespace {

static_assert(kServersMax == AL_SVRNAME_COUNT && kServerNameMax == ALERT_NAME_SIZE - 1);

// Names of one message; a longer one is refused by its receiver.
constexpr size_t kNamesToldMax = size_t{AL_NAMES_PAYLOAD_MAX} / ALERT_NAME_SIZE;
constexpr std::string_view kNameCharacters =
    "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";

using Servers = std::vector<ServerEntry>;

std::string at(const std::string& key, size_t position) {
  return key + "[" + std::to_string(position) + "]";
}

std::string server_key(size_t position) { return at(std::string(kCluster) + "/server", position); }

std::string address_key(size_t server, size_t position) {
  return at(server_key(server) + "/address", position);
}

// A server in a sentence.
std::string label_of(const ServerEntry& server, size_t position) {
  return "server " + (server.name.empty() ? std::to_string(position) : shown(server.name));
}

// ---- single values ------------------------------------------------------------------------------

bool is_server_name(const std::string& text) {
  return !text.empty() && text.size() <= size_t{kServerNameMax} &&
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

std::string canonical_text(int family, const void* address) {
  char text[INET6_ADDRSTRLEN];
  return inet_ntop(family, address, text, sizeof text);
}

// Datagrams come with the canonical text of their sender, which is compared as text. Gives the
// fault of a text that is no address to use; *text stays as it is then.
const char* make_canonical(std::string* text) {
  in_addr four;
  in6_addr six;
  const bool is_six = inet_pton(AF_INET6, text->c_str(), &six) == 1;
  const bool mapped = is_six && IN6_IS_ADDR_V4MAPPED(&six);
  if (mapped) {
    memcpy(&four, &six.s6_addr[sizeof six - sizeof four], sizeof four);
  } else if (!is_six && inet_pton(AF_INET, text->c_str(), &four) != 1) {
    return "is not a numeric IPv4 or IPv6 address";
  }
  const bool as_six = is_six && !mapped;
  const char* const fault = as_six ? fault_of(six) : fault_of(four);
  if (*fault == '\0') {
    *text = as_six ? canonical_text(AF_INET6, &six) : canonical_text(AF_INET, &four);
  }
  return fault;
}

bool parse_interconnect(const std::string& text, int* number) {
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, *number);
  return read.ec == std::errc() && read.ptr == end && *number >= 0;
}

// ---- the servers --------------------------------------------------------------------------------

class Reading {
 public:
  Reading(const TextOf& text_of, Servers* servers) : text_of_(text_of), servers_(servers) {}

  std::vector<Fault> read(const std::string& local) {
    if (!text_of_(kCluster)) {
      refuse(kCluster, "missing");
      return std::move(faults_);
    }
    for (size_t position = 1; text_of_(server_key(position)); ++position) {
      if (position > size_t{kServersMax}) {
        refuse(server_key(position), "more than " + std::to_string(kServersMax) + " servers");
        break;
      }
      read_server(position);
    }
    if (servers_->empty()) servers_->push_back({local, {}});
    check_address_counts();
    check_local(local);
    return std::move(faults_);
  }

 private:
  void refuse(const std::string& key, const std::string& reason) {
    faults_.push_back({key, reason});
  }
  // `text` of the server that is being read.
  void refuse_value(const std::string& key, const std::string& text, const std::string& reason) {
    refuse(key, shown(text) + " of " + label() + " " + reason);
  }
  std::string label() const { return label_of(servers_->back(), servers_->size()); }

  void read_server(size_t position) {
    servers_->emplace_back();
    address_counts_.push_back(0);
    read_name(position);
    for (size_t n = 1; text_of_(address_key(position, n)); ++n) {
      const std::string key = address_key(position, n);
      if (n > size_t{kAddressesMax}) {
        refuse(key, label() + " has more than " + std::to_string(kAddressesMax) + " addresses");
        break;
      }
      ++address_counts_.back();
      read_address(key);
    }
  }

  void read_name(size_t position) {
    const std::string key = server_key(position) + "/name";
    const std::optional<std::string> name = text_of_(key);
    names_taken_ = names_taken_ && name && is_server_name(*name);
    if (!name) return refuse(key, "missing");
    servers_->back().name = *name;
    if (!is_server_name(*name)) {
      return refuse(key, shown(*name) + " is not a short host name of 1 to " +
                             std::to_string(kServerNameMax) + " letters, digits, \"-\" and \"_\"");
    }
    const auto [first, is_new] = positions_.emplace(*name, position);
    if (is_new) return;
    refuse(key, shown(*name) + " is also the name of server " + std::to_string(first->second));
  }

  void read_address(const std::string& key) {
    const std::optional<std::string> ip = read_ip(key + "/ip");
    const std::optional<int> interconnect = read_interconnect(key + "/interconnect");
    if (ip && interconnect) servers_->back().addresses.push_back({*ip, *interconnect});
  }

  std::optional<std::string> read_value(const std::string& key) {
    std::optional<std::string> text = text_of_(key);
    if (!text) refuse(key, "missing at " + label());
    return text;
  }

  std::optional<std::string> read_ip(const std::string& key) {
    std::optional<std::string> ip = read_value(key);
    if (!ip) return std::nullopt;
    const char* const fault = make_canonical(&*ip);
    if (*fault != '\0') {
      refuse_value(key, *ip, fault);
      return std::nullopt;
    }
    const auto [owner, is_new] = owners_.emplace(*ip, label());
    if (!is_new) refuse_value(key, *ip, "is also an address of " + owner->second);
    return ip;
  }

  std::optional<int> read_interconnect(const std::string& key) {
    const std::optional<std::string> text = read_value(key);
    if (!text) return std::nullopt;
    int number = 0;
    if (!parse_interconnect(*text, &number)) {
      refuse_value(key, *text, "is not a whole number from 0 to " + std::to_string(INT_MAX));
      return std::nullopt;
    }
    const auto& addresses = servers_->back().addresses;
    const auto same =
        std::find_if(addresses.begin(), addresses.end(),
                     [&](const ServerAddress& address) { return address.interconnect == number; });
    if (same != addresses.end()) {
      refuse_value(key, std::to_string(number),
                   "is also the interconnect of its address " + same->ip);
    }
    return number;
  }

  void check_address_counts() {
    if (servers_->size() < 2) return;
    for (size_t i = 0; i < servers_->size(); ++i) {
      if (address_counts_[i] > 0) continue;
      refuse(address_key(i + 1, 1), "missing at " + label_of((*servers_)[i], i + 1));
    }
  }

  // A name that could not be read might be the one.
  void check_local(const std::string& local) {
    const bool alone = positions_.empty();
    if (!names_taken_ || alone || positions_.contains(local)) return;
    refuse(kCluster, "this server, " + shown(local) + ", is not among its servers");
  }

  const TextOf& text_of_;
  Servers* const servers_;
  std::vector<Fault> faults_;
  std::vector<size_t> address_counts_;         // elements, whether their values are good or not
  std::map<std::string, size_t> positions_;    // by name
  std::map<std::string, std::string> owners_;  // labels by address
  bool names_taken_ = true;
};

// ---- warnings -----------------------------------------------------------------------------------

bool share_an_interconnect(const ServerEntry& one, const ServerEntry& other) {
  return std::any_of(one.addresses.begin(), one.addresses.end(), [&](const ServerAddress& address) {
    return std::any_of(other.addresses.begin(), other.addresses.end(), [&](const auto& candidate) {
      return candidate.interconnect == address.interconnect;
    });
  });
}

void warn_of_names(const Servers& servers, std::vector<Fault>* warnings) {
  for (size_t i = 0; i < servers.size(); ++i) {
    for (size_t k = 0; k < servers.size(); ++k) {
      if (i == k || !servers[k].name.starts_with(servers[i].name)) continue;
      warnings->push_back(
          {server_key(i + 1) + "/name", "the name of server " + shown(servers[i].name) +
                                            " begins the name of server " + shown(servers[k].name) +
                                            ", which may take alert ids of the first for its own"});
    }
  }
}

void warn_of_interconnects(const Servers& servers, const ServerEntry& local,
                           std::vector<Fault>* warnings) {
  for (size_t i = 0; i < servers.size(); ++i) {
    if (&servers[i] == &local || share_an_interconnect(local, servers[i])) continue;
    warnings->push_back({server_key(i + 1), "server " + shown(servers[i].name) +
                                                " is on no interconnect of this server, " +
                                                shown(local.name) + ": they exchange no alerts"});
  }
}

}  // namespace

bool local_server_name(std::string* name, std::string* error) {
  char text[256] = {};
  if (get_local_server(text) == 0 && text[0] != '\0' && strlen(text) <= size_t{kServerNameMax}) {
    *name = text;
    return true;
  }
  *error = "the host name \"" + std::string(text) + "\" is no server name of 1 to " +
           std::to_string(kServerNameMax) + " characters";
  return false;
}

std::vector<Fault> read_servers(const TextOf& text_of, const std::string& local,
                                std::vector<ServerEntry>* servers) {
  servers->clear();
  return Reading(text_of, servers).read(local);
}

std::vector<Fault> warnings_about(const std::vector<ServerEntry>& servers,
                                  const std::string& local) {
  std::vector<Fault> warnings;
  warn_of_names(servers, &warnings);
  const auto own = std::find_if(servers.begin(), servers.end(),
                                [&](const ServerEntry& server) { return server.name == local; });
  if (own != servers.end()) warn_of_interconnects(servers, *own, &warnings);
  if (servers.size() > kNamesToldMax) {
    warnings.push_back({kCluster, "with more than " + std::to_string(kNamesToldMax) +
                                      " servers, a server that holds alerts of all of them "
                                      "cannot tell their names: no other one catches up with it"});
  }
  return warnings;
}

}  // namespace qel::configuration
