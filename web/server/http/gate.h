// What every request must pass before anything else looks at it.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "message.h"
#include "token_bucket.h"
#include "users.h"

namespace qel::web {

// The name of this server, short and full.
std::vector<std::string> own_host_names();

struct GateOptions {
  // Names that a Host header may have besides localhost, 127.0.0.1 and [::1], such as those of
  // own_host_names. A page of another site, whose name is made to lead here, has another one.
  std::vector<std::string> names{};
  Rate client_rate{200, 400};      // requests of one client
  size_t clients_max = 10000;      // of which the rate is kept; those longest silent go first
  std::shared_ptr<Users> users{};  // null: nobody is asked who he is
};

class Gate {
 public:
  explicit Gate(GateOptions options);

  // The answer to a request that does not pass.
  std::optional<Response> refuse(const Request& request, Instant now);

 private:
  struct Client {
    std::string address;
    TokenBucket bucket;
  };

  bool is_own_host(const Request& request) const;
  bool comes_too_often(const std::string& address, Instant now);

  GateOptions options_;
  std::list<Client> clients_;  // who came last is first
  std::unordered_map<std::string, std::list<Client>::iterator> by_address_;
};

}  // namespace qel::web
