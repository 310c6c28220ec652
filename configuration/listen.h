// Where a server listens: a numeric IPv4 address and a port, such as "127.0.0.1:29080", or an IPv6
// address in brackets, "[::1]:29080".
#pragma once

#include <string_view>

namespace qel::configuration {

bool is_listen_address(std::string_view text);

// Others than this host itself get there. False for a text that is no such address.
bool is_open_to_others(std::string_view text);

}  // namespace qel::configuration
