// What the configuration tells the front end.
#pragma once

#include <string>
#include <vector>

namespace qel::web {

struct WebSettings {
  std::string listen;       // numeric address and port
  std::string socket;       // path of its Unix socket
  std::string certificate;  // files, empty for none
  std::string key;
  std::string users;
  std::vector<std::string> names;  // of this server, besides those that it has by itself
  std::string daemon_socket;
};

// With `listen` in place of the configured address, unless it is empty. Throws a Failure that names
// the key and the reason: for each rule that "qelalert config check" has for these keys. Not while
// a Session lives.
WebSettings read_settings(const std::string& listen = {});

}  // namespace qel::web
