#include "alerts/session.h"

#include <fcntl.h>
#include <qelxml.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "alert_config.h"
#include "alert_udp.h"
#include "alerts/failure.h"
#include "alerts/owner_rights.h"
#include "common/environment.h"
#include "common/unique_fd.h"
#include "configuration/keys.h"

// An addition to the calls that every XML library of the product has: it may be missing.
extern "C" const char* xmllib_last_error(void) __attribute__((weak));

namespace qel {
namespace {

// The library tells on standard output why it cannot start; there it would be taken for data.
class StdoutToStderr {
 public:
  StdoutToStderr() {
    fflush(stdout);
    saved_ = UniqueFd(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    dup2(STDERR_FILENO, STDOUT_FILENO);
  }
  ~StdoutToStderr() {
    fflush(stdout);
    if (saved_) {
      dup2(saved_.get(), STDOUT_FILENO);
    } else {
      close(STDOUT_FILENO);  // as it was before
    }
  }
  StdoutToStderr(const StdoutToStderr&) = delete;
  StdoutToStderr& operator=(const StdoutToStderr&) = delete;

 private:
  UniqueFd saved_;
};

std::string last_xml_error() { return xmllib_last_error != nullptr ? xmllib_last_error() : ""; }

std::string diagnostic_log_directory() {
  return alt_log_path != nullptr ? alt_log_path
                                 : environment_or("QEL_LOG_DIR", "/var/log/qelalert");
}

// The configuration is read first, so without a fault in it the diagnostic log is to blame.
std::string start_failure() {
  std::string reason = last_xml_error();
  if (!reason.empty()) return reason;
  const std::string path = diagnostic_log_path();
  const std::string target =
      access(path.c_str(), F_OK) == 0 ? path : diagnostic_log_directory() + "/";
  const std::string text =
      "cannot write the diagnostic log " + path + " (QEL_LOG_DIR may name another directory)";
  return access(target.c_str(), W_OK) == 0 ? text : with_errno(text, errno);
}

// The XML library, started for one read.
class Configuration {
 public:
  explicit Configuration(const char* section) {
    if (xmllib_init("qelalert") == 0 && xmllib_load_config() == 0 &&
        xmllib_load_policy(section) == 0) {
      return;
    }
    const std::string reason = last_xml_error();
    xmllib_term();
    throw Failure(kFailed, reason.empty() ? "cannot read the configuration" : reason);
  }
  ~Configuration() { xmllib_term(); }
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
};

}  // namespace

Session::Session() {
  const StdoutToStderr redirected;
  const OwnerRights as_owner(diagnostic_log_directory());
  const int result = alert_log_lib_init(nullptr);
  if (result == 0) return;
  if (result == -2) {
    alert_log_lib_term();
    throw Failure(kFailed,
                  "the alert log is not in use on this server: /root/webalert/use is not 1");
  }
  throw Failure(kFailed, start_failure());
}

Session::~Session() { alert_log_lib_term(); }

std::string diagnostic_log_path() { return diagnostic_log_directory() + "/alert.log"; }

std::optional<std::string> read_policy_text(const char* section, const char* key) {
  constexpr int kTextMax = 4096;  // bytes with the NUL, as long as the longest path
  const Configuration configuration(section);
  char text[kTextMax] = {};
  int size = sizeof text;
  if (xmllib_get_value(key, XMLLIB_TEXT, text, &size) != 0) return std::nullopt;
  return text;
}

std::string daemon_socket_path() {
  const char* const chosen = environment_or("QELALERT_SOCKET", nullptr);
  if (chosen != nullptr) return chosen;
  constexpr char kKey[] = "/root/webalert/daemon/socket";
  const std::string path = read_policy_text("webalert", kKey).value_or("");
  return path.empty() ? configuration::default_path(kKey) : path;
}

std::string local_server_name() {
  constexpr size_t kHostNameSize = 256;  // what get_local_server asks for
  char name[kHostNameSize] = {};
  if (get_local_server(name) != 0) throw Failure(kFailed, "cannot find the name of this server");
  return name;
}

}  // namespace qel
