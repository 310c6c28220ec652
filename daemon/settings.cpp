#include "settings.h"

#include <qellog.h>
#include <qelxml.h>
#include <unistd.h>

#include <array>
#include <cstring>

#include "alert_log.h"
#include "configuration/rules.h"
#include "log.h"

#pragma weak xmllib_last_error

namespace qel::daemon {

namespace {

using configuration::Key;
using configuration::key_at;

constexpr char kLogName[] = "qelalertd";
constexpr int kFirstLogSize = 4194304;  // until the configuration has been read
constexpr int kFirstLogLevel = kNotable;
constexpr int kTextSize = configuration::kTextMax + 1;

// The library resets its settings before it reads them, so a failed reading must be undone.
class LibrarySettings {
 public:
  void restore() const {
    alt_cmd_path = cmd_path_;
    alt_alert_name = alert_name_;
    sys_root_path = root_path_;
    alt_max_count = max_count_;
    alt_timeout = timeout_;
    alt_udp_port = udp_port_;
    alt_log_size = log_size_;
    alt_log_level = log_level_;
    alt_rlimit_core = rlimit_core_;
    g_resync_time_interval = resync_interval_;
    alt_log_handle = log_handle_;
    restore_paths();
  }
  // Where the store lies does not change under a running daemon.
  bool same_paths() const {
    return strcmp(alt_path_only, path_only_.data()) == 0 &&
           strcmp(alt_name_only, name_only_.data()) == 0 && strcmp(alt_cmd_path, cmd_path_) == 0;
  }
  int udp_port() const { return udp_port_; }
  void keep_udp_port() const { alt_udp_port = udp_port_; }
  void keep_paths() const {
    alt_cmd_path = cmd_path_;
    alt_alert_name = alert_name_;
    restore_paths();
  }

 private:
  void restore_paths() const {
    memcpy(alt_path_only, path_only_.data(), path_only_.size());
    memcpy(alt_name_only, name_only_.data(), name_only_.size());
  }
  static std::array<char, ALT_PATH_SIZE> path_only() {
    std::array<char, ALT_PATH_SIZE> text;
    memcpy(text.data(), alt_path_only, text.size());
    return text;
  }
  static std::array<char, ALT_NAME_SIZE> name_only() {
    std::array<char, ALT_NAME_SIZE> text;
    memcpy(text.data(), alt_name_only, text.size());
    return text;
  }

  char* cmd_path_ = alt_cmd_path;
  char* alert_name_ = alt_alert_name;
  char* root_path_ = sys_root_path;
  int max_count_ = alt_max_count;
  int timeout_ = alt_timeout;
  int udp_port_ = alt_udp_port;
  int log_size_ = alt_log_size;
  int log_level_ = alt_log_level;
  int rlimit_core_ = alt_rlimit_core;
  int64_t resync_interval_ = g_resync_time_interval;
  void* log_handle_ = alt_log_handle;
  std::array<char, ALT_PATH_SIZE> path_only_ = path_only();
  std::array<char, ALT_NAME_SIZE> name_only_ = name_only();
};

std::string xml_error() {
  return xmllib_last_error != nullptr ? xmllib_last_error() : "the configuration cannot be read";
}

bool open_log(int level, int size, void** handle, std::string* error) {
  const int result = log_init(kLogName, handle, level, size, nullptr);
  if (result == 0) return true;
  *error = "the diagnostic log \"" + std::string(kLogName) + "\" cannot be opened (code " +
           std::to_string(result) + ", level " + std::to_string(level) + ", size " +
           std::to_string(size) + ")";
  return false;
}

// The section while its optional keys are read.
class WebalertSection {
 public:
  WebalertSection()
      : loaded_(xmllib_init(kLogName) == 0 && xmllib_load_config() == 0 &&
                xmllib_load_policy("webalert") == 0) {}
  ~WebalertSection() {
    if (loaded_) {
      xmllib_unload_policy("webalert");
      xmllib_unload_config();
    }
    xmllib_term();
  }
  bool loaded() const { return loaded_; }

 private:
  bool loaded_;
};

bool refuse(const char* key, const std::string& reason, std::string* error) {
  *error = std::string(key) + ": " + reason;
  return false;
}

bool present(const Key& key) {
  std::array<char, kTextSize> text;
  int size = text.size();
  return xmllib_get_value(key.path, XMLLIB_TEXT, text.data(), &size) == 0;
}

bool read_path(const Key& key, std::string* value, std::string* error) {
  std::array<char, kTextSize> text;
  int size = text.size();
  if (xmllib_get_value(key.path, XMLLIB_TEXT, text.data(), &size) != 0) return true;
  const std::string fault = configuration::path_fault(text.data());
  if (!fault.empty()) return refuse(key.path, fault, error);
  *value = text.data();
  return true;
}

// A number that the library has read.
bool check_number(const Key& key, int number, std::string* error) {
  const std::string fault = configuration::number_fault(key, number);
  return fault.empty() || refuse(key.path, fault, error);
}

bool read_number(const Key& key, int* value, std::string* error) {
  if (!present(key)) return true;
  int number = 0;
  int size = sizeof number;
  if (xmllib_get_value(key.path, XMLLIB_INT, &number, &size) != 0) {
    *error = xml_error();
    return false;
  }
  if (!check_number(key, number, error)) return false;
  *value = number;
  return true;
}

bool read_timing(Timing* timing, std::string* error) {
  struct Slot {
    const Key& key;
    int* value;
  };
  const Slot slots[] = {
      {key_at("/root/webalert/daemon/resend"), &timing->resend},
      {key_at("/root/webalert/daemon/retries"), &timing->retries},
      {key_at("/root/webalert/daemon/heartbeat"), &timing->heartbeat},
      {key_at("/root/webalert/daemon/announce"), &timing->announce},
      {key_at("/root/webalert/daemon/servercheck"), &timing->server_check},
      {key_at("/root/webalert/daemon/ratiocheck"), &timing->ratio_check},
      {key_at("/root/webalert/daemon/sync/newserver"), &timing->new_server},
      {key_at("/root/webalert/daemon/sync/names"), &timing->names_wait},
      {key_at("/root/webalert/daemon/sync/ids"), &timing->ids_wait},
      {key_at("/root/webalert/daemon/sync/recheck"), &timing->recheck},
      {key_at("/root/webalert/daemon/sync/batches"), &timing->batches_per_second},
  };
  for (const Slot& slot : slots) {
    if (!read_number(slot.key, slot.value, error)) return false;
  }
  return true;
}

bool check_times(const Timing& timing, std::string* error) {
  const std::vector<configuration::Fault> faults = configuration::faults_between(
      {timing.resend, timing.retries, timing.new_server, timing.names_wait, timing.ids_wait,
       g_resync_time_interval / tckconf});
  return faults.empty() || refuse(faults[0].key.c_str(), faults[0].reason, error);
}

void give_to_library(const Timing& timing) {
  g_resend_timeout = timing.resend;
  g_alert_retry_count = timing.retries;
  g_hb_timeout = timing.heartbeat;
  g_sendtonewsvr_interval = timing.announce;
  g_alert_chksrvlist_interval = timing.server_check;
  g_alert_getradio_interval = timing.ratio_check;
  g_alert_cheknewsvr_interval = timing.new_server;
  g_get_srvname_timeout = timing.names_wait;
  g_get_altid_timeout = timing.ids_wait;
}

bool read_own(Settings* settings, std::string* error) {
  const WebalertSection section;
  if (!section.loaded()) {
    *error = xml_error();
    return false;
  }
  int durable = settings->durable ? 1 : 0;
  const bool read =
      read_path(key_at("/root/webalert/daemon/socket"), &settings->socket, error) &&
      read_path(key_at("/root/webalert/daemon/pidfile"), &settings->pid_file, error) &&
      read_number(key_at("/root/webalert/daemon/durable"), &durable, error) &&
      read_number(key_at("/root/webalert/daemon/intake/batch"), &settings->intake_batch, error) &&
      read_timing(&settings->timing, error) && check_times(settings->timing, error);
  settings->durable = durable == 1;
  return read;
}

// Reads the library's settings with a log open. Its messages about failures go to standard output;
// the reason is told by the XML library.
bool read_library(void* log, std::string* error) {
  tckconf = sysconf(_SC_CLK_TCK);
  if (alert_log_lib_init(log) == -1) {
    *error = xml_error();
    return false;
  }
  return check_number(key_at("/root/webalert/main/alertlog/maxrecordcount"), alt_max_count,
                      error) &&
         check_number(key_at("/root/webalert/daemon/udpport"), alt_udp_port, error);
}

// Opens the log with the level and size that were just configured, in place of `provisional`.
bool replace_log(void* provisional, std::string* error) {
  void* configured = nullptr;
  if (!open_log(alt_log_level, alt_log_size, &configured, error)) return false;
  log_term(provisional);
  alt_log_handle = configured;
  return true;
}

}  // namespace

bool load_configuration(Settings* settings, std::string* error) {
  const bool running = alt_log_handle != nullptr;
  const LibrarySettings before;
  void* const log_before = alt_log_handle;
  void* provisional = nullptr;
  if (!open_log(kFirstLogLevel, kFirstLogSize, &provisional, error)) return false;
  Settings fresh;
  if (!read_library(provisional, error) || !read_own(&fresh, error) ||
      !replace_log(provisional, error)) {
    log_term(provisional);
    before.restore();
    return false;
  }
  if (running) {
    log_term(log_before);
    if (alt_udp_port != before.udp_port()) {
      before.keep_udp_port();
      DAEMON_LOG(kMinor, "the UDP port stays %d until the next start", alt_udp_port);
    }
    if (!before.same_paths()) {
      before.keep_paths();
      DAEMON_LOG(kMinor, "the store stays in %s until the next start", alt_path_only);
    }
    fresh.socket = settings->socket;
    fresh.pid_file = settings->pid_file;
  }
  *settings = fresh;
  give_to_library(settings->timing);
  return true;
}

void close_log() {
  alert_log_lib_term();
  alt_log_handle = nullptr;
}

}  // namespace qel::daemon
