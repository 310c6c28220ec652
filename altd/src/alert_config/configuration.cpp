// Reading the cluster's configuration. The diagnostic log is not open yet, so every message goes to
// standard output.
#include <qelxml.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alert_config.h"

namespace {

constexpr int kStringMax = 1024;  // bytes of a string value, with its NUL
constexpr int kPathMax = 2048;    // bytes of a path value, with its NUL

enum PathForm { kDirectory = 0, kFile = 1, kDirectoryOfItem = 2 };

// Prints what failed and gives the result of a failed pass.
int fail(const char* message) {
  puts(message);
  return -1;
}

int start(const char* name) {
  if (xmllib_init(name) != 0) return fail("Can not initialize xml library.");
  if (xmllib_load_config() != 0) return fail("Can not load config file.");
  return 0;
}

int load_section(const char* section) {
  return xmllib_load_policy(section) == 0 ? 0 : fail("Can not load policy file.");
}

int finish() {
  if (xmllib_unload_config() != 0) return fail("Unload config file failed.");
  if (xmllib_term() != 0) return fail("Terminate xml library failed.");
  return 0;
}

int read_section_all() {
  if (load_section("all") != 0) return -1;
  if (config_string("/root/all/path", &sys_root_path) != 0) return -1;
  if (config_int("/root/all/core", &alt_rlimit_core) != 0) return -1;
  xmllib_unload_policy("all");
  return 0;
}

int read_command_path() {
  return config_path("/root/alert/path", &alt_cmd_path, sys_root_path, kDirectoryOfItem);
}

int read_log_name() {
  if (config_path("/root/webalert/main/alertlog/name", &alt_alert_name, sys_root_path, kFile) != 0)
    return -1;
  alert_name_path(alt_alert_name, alt_path_only, alt_name_only);
  return 0;
}

int read_capacity() {
  return config_int("/root/webalert/main/alertlog/maxrecordcount", &alt_max_count);
}
int read_port() { return config_int("/root/webalert/daemon/udpport", &alt_udp_port); }
int read_timeout() { return config_int("/root/webalert/daemon/timeout", &alt_timeout); }

int read_client_webalert() {
  if (load_section("webalert") != 0) return -1;
  if (config_int("/root/webalert/use", &g_webalert_use) != 0) return -1;
  if (read_port() != 0 || read_log_name() != 0 || read_capacity() != 0 || read_timeout() != 0)
    return -1;
  xmllib_unload_policy("webalert");
  return 0;
}

int read_client_alert() {
  if (load_section("alert") != 0) return -1;
  if (read_command_path() != 0) return -1;
  if (config_int("/root/alert/log/size", &alt_log_size) != 0) return -1;
  if (config_int("/root/alert/log/level", &alt_log_level) != 0) return -1;
  xmllib_unload_policy("alert");
  return 0;
}

int read_daemon_alert() {
  if (load_section("alert") != 0) return -1;
  if (read_command_path() != 0) return -1;
  xmllib_unload_policy("alert");
  return 0;
}

// The section stays loaded: the caller looks for the dummy switch in it.
int read_daemon_webalert() {
  if (load_section("webalert") != 0) return -1;
  if (read_log_name() != 0 || read_capacity() != 0) return -1;
  if (config_int("/root/webalert/main/log/size", &alt_log_size) != 0) return -1;
  if (config_int("/root/webalert/main/log/level", &alt_log_level) != 0) return -1;
  if (read_timeout() != 0 || read_port() != 0) return -1;
  int seconds = 0;
  if (config_int("/root/webalert/daemon/sync/resynctimeinterval", &seconds) != 0) return -1;
  g_resync_time_interval = int64_t{seconds} * tckconf;
  return 0;
}

// Appends to a text in a buffer of kPathMax bytes; what does not fit is cut.
void append(char* path, const char* text) {
  const size_t used = strlen(path);
  snprintf(path + used, kPathMax - used, "%s", text);
}

bool ends_in_slash(const char* path) { return path[0] != '\0' && path[strlen(path) - 1] == '/'; }
void drop_last(char* path) { path[strlen(path) - 1] = '\0'; }

// `value` under `root`, with exactly one "/" where they meet.
void make_absolute(char* path, const char* value, const char* root) {
  path[0] = '\0';
  if (root != nullptr) append(path, root);
  if (value[0] != '/') {
    if (!ends_in_slash(path)) append(path, "/");
  } else if (ends_in_slash(path)) {
    drop_last(path);
  }
  append(path, value);
}

void shape_end(char* path, int form) {
  if (form == kDirectory && !ends_in_slash(path)) append(path, "/");
  if (form != kDirectoryOfItem) return;
  if (ends_in_slash(path)) drop_last(path);
  char* slash = strrchr(path, '/');
  if (slash != nullptr) slash[1] = '\0';
}

}  // namespace

int config_string(const char* key, char** s) {
  char value[kStringMax] = {};
  int size = sizeof value;
  if (xmllib_get_value(key, XMLLIB_TEXT, value, &size) != 0) {
    printf("read [%s] failed.\n", key);
    return -1;
  }
  char* copy = strdup(value);
  if (copy == nullptr) return fail("not enough memory.");
  *s = copy;
  return 0;
}

int config_int(const char* key, int* v) {
  int size = sizeof *v;
  return xmllib_get_value(key, XMLLIB_INT, v, &size) == 0 ? 0 : -1;
}

int config_path(const char* key, char** s, const char* root, int isfile) {
  char value[kPathMax] = {};
  int size = sizeof value;
  if (xmllib_get_value(key, XMLLIB_TEXT, value, &size) != 0) {
    printf("read [%s] failed.\n", key);
    return -1;
  }
  char path[kPathMax];
  make_absolute(path, value, root);
  shape_end(path, isfile);
  char* copy = strdup(path);
  if (copy == nullptr) {
    printf("call strdup failed");
    return -1;
  }
  *s = copy;
  return 0;
}

void alert_name_path(const char* alt_path_name, char* alt_path, char* alt_name) {
  char path[ALT_PATH_SIZE];
  snprintf(path, sizeof path, "%s", alt_path_name);
  size_t end = strlen(path);
  while (end > 1 && path[end - 1] == '/') path[--end] = '\0';
  char* slash = strrchr(path, '/');
  if (slash == nullptr) return;
  snprintf(alt_name, ALT_NAME_SIZE, "%.*s", ALT_NAME_SIZE - 1, slash + 1);
  slash[1] = '\0';
  snprintf(alt_path, ALT_PATH_SIZE, "%s", path);
}

int config_init(void) {
  if (start("alert") != 0) return -1;
  if (read_section_all() != 0 || read_client_webalert() != 0 || read_client_alert() != 0) return -1;
  return finish();
}

int config_alert(void) {
  if (start("webalert") != 0) return -1;
  if (read_section_all() != 0 || read_daemon_alert() != 0 || read_daemon_webalert() != 0) return -1;
  int dummy = 0;
  if (config_int("/root/dummyconf", &dummy) == 0 && dummy == 1) return 1;
  xmllib_unload_policy("webalert");
  return finish();
}
