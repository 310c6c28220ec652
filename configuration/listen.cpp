#include "configuration/listen.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

namespace qel::configuration {

namespace {

enum class Reach { kNone, kThisHost, kOthers };

bool is_port(std::string_view text) {
  uint16_t port = 0;
  const char* const end = text.data() + text.size();
  const auto read = std::from_chars(text.data(), end, port);
  return read.ec == std::errc() && read.ptr == end;
}

Reach reach_of_ipv4(const std::string& text) {
  in_addr address;
  if (inet_pton(AF_INET, text.c_str(), &address) != 1) return Reach::kNone;
  return ntohl(address.s_addr) >> 24U == IN_LOOPBACKNET ? Reach::kThisHost : Reach::kOthers;
}

Reach reach_of_ipv6(const std::string& text) {
  in6_addr address;
  if (inet_pton(AF_INET6, text.c_str(), &address) != 1) return Reach::kNone;
  return IN6_IS_ADDR_LOOPBACK(&address) ? Reach::kThisHost : Reach::kOthers;
}

// Who reaches a listener there; nobody where the text is no address.
Reach reach_of(std::string_view text) {
  const size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || !is_port(text.substr(colon + 1))) return Reach::kNone;
  const std::string_view host = text.substr(0, colon);
  const bool in_brackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return in_brackets ? reach_of_ipv6(std::string(host.substr(1, host.size() - 2)))
                     : reach_of_ipv4(std::string(host));
}

}  // namespace

bool is_listen_address(std::string_view text) { return reach_of(text) != Reach::kNone; }

bool is_open_to_others(std::string_view text) { return reach_of(text) == Reach::kOthers; }

}  // namespace qel::configuration
