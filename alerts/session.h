// Start and end of the alert log library, and its configuration.
#pragma once

#include <optional>
#include <string>

namespace qel {

// The library is started as long as a Session lives; there is one at a time. The constructor throws
// a Failure that tells why it could not start.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
};

// The file that the library's diagnostic messages go to.
std::string diagnostic_log_path();

// The text at `key` of the policy section; nothing when the key is absent. Throws a Failure when
// the configuration cannot be read. Not while a Session lives: a process has one configuration.
std::optional<std::string> read_policy_text(const char* section, const char* key);

// Where the alert daemon is asked: QELALERT_SOCKET, else what the configuration has, else the usual
// path. As above.
std::string daemon_socket_path();

// The short name of this server, as it stands in alerts. Throws a Failure.
std::string local_server_name();

}  // namespace qel
