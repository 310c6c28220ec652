// The list of the highest id of each server, as it travels in announcements.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "alert_log.h"
#include "alert_msg/steps.h"
#include "common/log.h"

using qel::kFailure;

namespace {

using Entries = qel::Block<servername_altid>;

constexpr size_t kHostNameSize = 256;

// The number of names in local_svrname_list after it was filled from the log.
int list_local_names() {
  memset(local_svrname_list, 0, sizeof local_svrname_list);
  const int listed = get_server_name(local_svrname_list);
  if (listed < 0) ALERT_LOG(kFailure, "get server name in the alert log file failed");
  if (listed > 0) ALERT_LOG(qel::kNotable, "there is no alert log now");
  const int count = listed == 0 ? qel::count_names(local_svrname_list) : 0;
  ALERT_LOG(qel::kTrace, "get server name in the alert log file succeeded");
  return count;
}

// Reads a line "name id"; false when it is none, or the name is too long.
bool parse_entry(const char* line, servername_altid* entry) {
  char name[ALERT_NAME_SIZE + 1];  // one more than fits, to see what is too long
  static_assert(ALERT_NAME_SIZE == 65, "the width in the format");
  if (sscanf(line, "%65s %d", name, &entry->maxaltid) != 2) return false;
  if (strlen(name) >= ALERT_NAME_SIZE) return false;
  qel::copy_name(entry->servername, name);
  return true;
}

// The character behind the next line feed; null when there is none.
const char* next_line(const char* text) {
  const char* end = strchr(text, '\n');
  return end != nullptr ? end + 1 : nullptr;
}

}  // namespace

servername_altid* get_all_svrname_maxid_from_local(int* count) {
  ALERT_TRACE_FUNCTION();
  *count = 0;
  const int names = list_local_names();
  if (names == 0) return nullptr;
  Entries entries = qel::make_block<servername_altid>(sizeof(servername_altid) * names);
  if (entries == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return nullptr;
  }
  for (int i = 0; i < names; ++i) {
    servername_altid& entry = entries.get()[i];
    memcpy(entry.servername, local_svrname_list[i], sizeof entry.servername);
    uint32_t id = 0;
    if (get_alert_id(entry.servername, 0, &id, 0) != 0) id = 0;
    entry.maxaltid = static_cast<int>(id);
  }
  *count = names;
  return entries.release();
}

int get_svr_altid_msgdata(char* msgdata) {
  ALERT_TRACE_FUNCTION();
  int count;
  const Entries entries(get_all_svrname_maxid_from_local(&count));
  size_t length = static_cast<size_t>(snprintf(msgdata, AL_ALTID_TEXT_SIZE, "%d\n", count));
  for (int i = 0; i < count; ++i) {
    const servername_altid& entry = entries.get()[i];
    length += static_cast<size_t>(snprintf(msgdata + length, AL_ALTID_TEXT_SIZE - length, "%s %d\n",
                                           entry.servername, entry.maxaltid));
  }
  return static_cast<int>(length + 1);
}

servername_altid* get_all_svrname_maxid_from_remote(const char* buf, int* count) {
  ALERT_TRACE_FUNCTION();
  *count = 0;
  int told = 0;
  if (sscanf(buf, "%d", &told) != 1 || told < 1) return nullptr;
  // No more than there are lines, whatever was told.
  const auto lines = std::count(buf, buf + strlen(buf), '\n');
  const auto room = static_cast<size_t>(std::min<ptrdiff_t>(told, lines));
  Entries entries = qel::make_block<servername_altid>(sizeof(servername_altid) * (room + 1));
  if (entries == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return nullptr;
  }
  const char* line = next_line(buf);
  for (size_t i = 0; i < room && line != nullptr; ++i, line = next_line(line)) {
    if (parse_entry(line, entries.get() + *count)) ++*count;
  }
  return *count > 0 ? entries.release() : nullptr;
}

int get_local_maxid_from_remote(const char* buf) {
  ALERT_TRACE_FUNCTION();
  char local[kHostNameSize];
  if (get_local_server(local) == -1) return 0;
  int count;
  const Entries entries(get_all_svrname_maxid_from_remote(buf, &count));
  for (int i = 0; i < count; ++i) {
    const servername_altid& entry = entries.get()[i];
    // A leading part of the local name is enough, on purpose.
    if (strncmp(entry.servername, local, strlen(entry.servername)) == 0) return entry.maxaltid;
  }
  return 0;
}
