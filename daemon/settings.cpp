#include "settings.h"

#include <qellog.h>
#include <qelxml.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>

#include "alert_log.h"
#include "log.h"

#pragma weak xmllib_last_error

namespace qel::daemon {

namespace {

constexpr char kLogName[] = "qelalertd";
constexpr int kFirstLogSize = 4194304;  // until the configuration has been read
constexpr int kFirstLogLevel = kNotable;
constexpr int kCapacityMax = 99999999;  // a line number has eight digits in the indexes
constexpr int kBatchMax = 6000;         // about what a full intake file holds
constexpr int kTextMax = 1024;

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

bool present(const char* key) {
  std::array<char, kTextMax> text;
  int size = text.size();
  return xmllib_get_value(key, XMLLIB_TEXT, text.data(), &size) == 0;
}

bool read_path(const char* key, std::string* value, std::string* error) {
  std::array<char, kTextMax> text;
  int size = text.size();
  if (xmllib_get_value(key, XMLLIB_TEXT, text.data(), &size) != 0) return true;
  if (text[0] != '/') {
    *error = std::string(key) + ": \"" + text.data() + "\" is not an absolute path";
    return false;
  }
  *value = text.data();
  return true;
}

bool read_number(const char* key, int lowest, int highest, int* value, std::string* error) {
  if (!present(key)) return true;
  int number = 0;
  int size = sizeof number;
  if (xmllib_get_value(key, XMLLIB_INT, &number, &size) != 0) {
    *error = xml_error();
    return false;
  }
  if (number < lowest || number > highest) {
    *error = std::string(key) + ": " + std::to_string(number) + " is not within " +
             std::to_string(lowest) + " to " + std::to_string(highest);
    return false;
  }
  *value = number;
  return true;
}

constexpr int kSecondsMax = 86400;

bool read_timing(Timing* timing, std::string* error) {
  struct Key {
    const char* name;
    int lowest;
    int highest;
    int* value;
  };
  const Key keys[] = {
      {"resend", 1, kSecondsMax, &timing->resend},
      {"retries", 2, 1000, &timing->retries},
      {"heartbeat", 1, kSecondsMax, &timing->heartbeat},
      {"announce", 1, kSecondsMax, &timing->announce},
      {"servercheck", 1, kSecondsMax, &timing->server_check},
      {"ratiocheck", 0, kSecondsMax, &timing->ratio_check},
      {"sync/newserver", 1, kSecondsMax, &timing->new_server},
      {"sync/names", 2, 999, &timing->names_wait},
      {"sync/ids", 1, 999, &timing->ids_wait},
      {"sync/recheck", 0, kSecondsMax, &timing->recheck},
      {"sync/batches", 0, 1000000, &timing->batches_per_second},
  };
  for (const Key& key : keys) {
    const std::string path = std::string("/root/webalert/daemon/") + key.name;
    if (!read_number(path.c_str(), key.lowest, key.highest, key.value, error)) return false;
  }
  // Two servers that answer each other's requests with a request of their own settle only when the
  // second one still finds the first one waiting.
  if (timing->new_server < timing->names_wait) return true;
  *error = "/root/webalert/daemon/sync/newserver: " + std::to_string(timing->new_server) +
           " is not below /root/webalert/daemon/sync/names, " + std::to_string(timing->names_wait);
  return false;
}

bool check_port(std::string* error) {
  if (alt_udp_port >= 1 && alt_udp_port <= 65535) return true;
  *error = "/root/webalert/daemon/udpport: " + std::to_string(alt_udp_port) +
           " is not within 1 to 65535";
  return false;
}

// A resynchronisation must outlast its longest wait without being judged stalled.
bool check_stall_time(const Timing& timing, std::string* error) {
  const int64_t drop = int64_t{timing.resend} * timing.retries + 1;
  const int64_t longest = std::max<int64_t>({timing.names_wait, timing.ids_wait, drop});
  const int64_t seconds = g_resync_time_interval / tckconf;
  if (seconds > longest) return true;
  *error = "/root/webalert/daemon/sync/resynctimeinterval: " + std::to_string(seconds) +
           " is not above the longest wait, " + std::to_string(longest);
  return false;
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
  const bool read = read_path("/root/webalert/daemon/socket", &settings->socket, error) &&
                    read_path("/root/webalert/daemon/pidfile", &settings->pid_file, error) &&
                    read_number("/root/webalert/daemon/durable", 0, 1, &durable, error) &&
                    read_number("/root/webalert/daemon/intake/batch", 1, kBatchMax,
                                &settings->intake_batch, error) &&
                    read_timing(&settings->timing, error) &&
                    check_stall_time(settings->timing, error);
  settings->durable = durable == 1;
  return read;
}

bool check_capacity(std::string* error) {
  if (alt_max_count >= 1 && alt_max_count <= kCapacityMax) return true;
  *error = "/root/webalert/main/alertlog/maxrecordcount: " + std::to_string(alt_max_count) +
           " is not within 1 to " + std::to_string(kCapacityMax);
  return false;
}

// Reads the library's settings with a log open. Its messages about failures go to standard output;
// the reason is told by the XML library.
bool read_library(void* log, std::string* error) {
  tckconf = sysconf(_SC_CLK_TCK);
  if (alert_log_lib_init(log) == -1) {
    *error = xml_error();
    return false;
  }
  return check_capacity(error) && check_port(error);
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
