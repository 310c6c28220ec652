#include "gate.h"

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

#include "problem.h"
#include "text.h"

namespace qel::web {

namespace {

// The header's value without its port, in small letters.
std::string host_name(std::string_view value) {
  const size_t bracket = value.find(']');  // of an IPv6 address, which has colons of its own
  const size_t colon = value.find(':', bracket == std::string_view::npos ? 0 : bracket);
  return lower_case(value.substr(0, colon));
}

Response ask_for_credentials() {
  Response response = problem(Problem::kUnauthorized, "user and password are needed");
  response.headers.emplace_back("WWW-Authenticate", "Basic realm=\"alerts\", charset=\"UTF-8\"");
  return response;
}

}  // namespace

std::vector<std::string> own_host_names() {
  char name[HOST_NAME_MAX + 1] = {};
  if (gethostname(name, HOST_NAME_MAX) != 0) return {};
  const std::string own = name;
  std::vector<std::string> names{own, own.substr(0, own.find('.'))};
  addrinfo hints{};
  hints.ai_flags = AI_CANONNAME;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(name, nullptr, &hints, &found) != 0) return names;
  if (found->ai_canonname != nullptr) names.emplace_back(found->ai_canonname);
  freeaddrinfo(found);
  return names;
}

Gate::Gate(GateOptions options) : options_(std::move(options)) {
  for (std::string& name : options_.names) name = lower_case(name);
  for (const char* name : {"localhost", "127.0.0.1", "[::1]"}) options_.names.emplace_back(name);
}

std::optional<Response> Gate::refuse(const Request& request, Instant now) {
  if (!is_own_host(request)) {
    return problem(Problem::kWrongHost, "the Host header names none of this server's names");
  }
  if (comes_too_often(request.client, now)) {
    return problem_for_now(Problem::kTooManyRequests, "requests come too fast", 1);
  }
  if (options_.users == nullptr) return {};
  switch (options_.users->check(request.header("Authorization"), now)) {
    case Users::Verdict::kKnown:
      return {};
    case Users::Verdict::kNotNow:
      return problem_for_now(Problem::kTooManyRequests, "passwords are tried too fast", 1);
    case Users::Verdict::kUnknown:
      break;
  }
  return ask_for_credentials();
}

// Whoever reaches the Unix socket is no page of another site.
bool Gate::is_own_host(const Request& request) const {
  if (request.client == kUnixClient) return true;
  const auto is_host = [](const NamedText& header) {
    return same_but_for_case(header.first, "Host");
  };
  const auto& headers = request.headers;
  if (std::count_if(headers.begin(), headers.end(), is_host) != 1) return false;
  const std::string name = host_name(request.header("Host"));
  return std::find(options_.names.begin(), options_.names.end(), name) != options_.names.end();
}

bool Gate::comes_too_often(const std::string& address, Instant now) {
  const auto found = by_address_.find(address);
  if (found != by_address_.end()) {
    clients_.splice(clients_.begin(), clients_, found->second);
  } else {
    clients_.push_front({address, TokenBucket(options_.client_rate)});
    by_address_[address] = clients_.begin();
  }
  if (clients_.size() > options_.clients_max) {
    by_address_.erase(clients_.back().address);
    clients_.pop_back();
  }
  return !clients_.front().bucket.take(now);
}

}  // namespace qel::web
