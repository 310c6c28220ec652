#include "recovery.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "alert_index/layout.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_udp.h"
#include "common/paths.h"
#include "intake_line.h"
#include "log.h"
#include "redo_record.h"
#include "unique_fd.h"

namespace qel::daemon {

namespace {

constexpr char kResizeWorkFile[] = "alertlog_tmp.alt";
constexpr int kAllChanged = 255;

void remove_resize_leftover() {
  const Path path = store_path(kResizeWorkFile);
  if (remove(path.text) == 0) {
    DAEMON_LOG(kNotable, "removed %s, left by an interrupted resize", path.text);
  }
}

// The storable alerts of the intake that have been stamped, in their order.
std::vector<ALERT_RECORD_INFO> stamped_alerts() {
  const UniqueFd intake(open(store_path(alt_name_temp).text, O_RDONLY | O_CLOEXEC));
  struct stat status;
  if (!intake || fstat(intake.get(), &status) != 0) return {};
  std::string text(static_cast<size_t>(status.st_size), '\0');
  const ssize_t got = pread(intake.get(), text.data(), text.size(), 0);
  text.resize(got > 0 ? static_cast<size_t>(got) : 0);
  std::vector<ALERT_RECORD_INFO> alerts;
  for (size_t at = 0; at + kIntakeLine <= text.size();) {
    const char* line = text.data() + at;
    const LineForm form = form_of(line);
    ALERT_RECORD_INFO alert = parse_line(line);
    if (form == LineForm::kStamped && check_alert_record_info(&alert) == 0) alerts.push_back(alert);
    at += form == LineForm::kBroken ? next_whole_line(line, text.size() - at) : kIntakeLine;
  }
  return alerts;
}

int write_numbers(int fd, const ALERT_FILE_HEADER& header) {
  if (write_alert_header(fd, header, 1) == 0) return 0;
  DAEMON_LOG(kFailure, "the header of the alert log cannot be mended");
  return -1;
}

// Writes a record over the line that the header aims at.
int put_aimed_line(int fd, const ALERT_FILE_HEADER& header, const ALERT_RECORD_INFO& record) {
  char line[kRecordLine];
  format_record(line, record);
  const off_t offset = record_offset(static_cast<int>(header.nCurToWrite), get_header_length(fd));
  if (write_local_disk(fd, offset, line, sizeof line, sizeof line) != 0) return -1;
  DAEMON_LOG(kNotable, "completed the interrupted store of alert %u of %s", record.alert_id,
             record.szServer);
  return 0;
}

// In a full log the line aimed at may be torn by the store of an alert of another server, or of the
// first local one whose id the header does not hold yet: that store is done again. A header that
// aims behind the last line has counted the record that made the log full, so that one is whole.
int write_again(int fd, const std::vector<ALERT_RECORD_INFO>& stamped, ALERT_FILE_HEADER* header) {
  if (header->nCurToWrite >= header->nMaxCount) return 0;
  const auto remote = RedoRecord::left_over();
  if (remote && remote->line == header->nCurToWrite) {
    return put_aimed_line(fd, *header, remote->record);
  }
  const auto torn = std::find_if(stamped.begin(), stamped.end(), [&](const auto& alert) {
    return alert.alert_id > header->current_alert_id;
  });
  if (torn == stamped.end()) return 0;
  if (put_aimed_line(fd, *header, *torn) != 0) return -1;
  header->current_alert_id = torn->alert_id;
  return 0;
}

// The highest id among the stamped alerts that the log holds.
uint32_t highest_stored_id(const std::vector<ALERT_RECORD_INFO>& stamped) {
  uint32_t highest = 0;
  for (const ALERT_RECORD_INFO& alert : stamped) {
    if (alert.alert_id <= highest) continue;
    if (check_dup_alert(reinterpret_cast<const char*>(&alert)) == 1) highest = alert.alert_id;
  }
  return highest;
}

// The highest id among this server's records in the log.
uint32_t highest_local_id(uint32_t count) {
  std::vector<ALERT_RECORD_INFO> records(count);
  const int read = alert_get_last(records.data(), static_cast<int>(count));
  uint32_t highest = 0;
  for (int i = 0; i < read; ++i) {
    if (strcmp(records[i].szServer, local_svr->svr_name) == 0) {
      highest = std::max(highest, records[i].alert_id);
    }
  }
  return highest;
}

int aim_header(int fd, const std::vector<ALERT_RECORD_INFO>& stamped) {
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(fd, &header) != 0) return -1;
  if (header.nCurCount == 0) return 0;
  header.current_alert_id = std::max(
      {header.current_alert_id, highest_local_id(header.nCurCount), highest_stored_id(stamped)});
  if (header.nCurCount == header.nMaxCount) {
    const int oldest = get_nextto_write();
    if (oldest < 0) return -1;
    header.nCurToWrite = static_cast<uint32_t>(oldest);
  }
  return write_numbers(fd, header);
}

}  // namespace

// Only what one store can leave is cut off; any other size is judged by the library.
void cut_surplus_line() {
  const UniqueFd log(open(store_path(alt_name_only).text, O_RDWR | O_CLOEXEC));
  struct stat status;
  if (!log || fstat(log.get(), &status) != 0 || status.st_size == 0) return;
  ALERT_FILE_HEADER header = {};
  const int length = get_header_length(log.get());
  if (length < 0 || read_alert_header(log.get(), &header) != 0) return;
  const off_t counted = record_offset(static_cast<int>(header.nCurCount), length);
  const off_t surplus = status.st_size - counted;
  if (surplus <= 0 || surplus > static_cast<off_t>(kRecordLine)) return;
  if (ftruncate(log.get(), counted) == 0) {
    DAEMON_LOG(kNotable, "cut %d bytes of an interrupted store off the alert log",
               static_cast<int>(surplus));
  } else {
    DAEMON_LOG(kFailure, "cutting the alert log failed: %s", strerror(errno));
  }
}

void mend_files() {
  remove_resize_leftover();
  cut_surplus_line();
}

int complete_interrupted_store() {
  const UniqueFd log(open_file(alt_name_only, O_RDWR));
  ALERT_FILE_HEADER header = {};
  if (!log || read_alert_header(log.get(), &header) != 0) return -1;
  const std::vector<ALERT_RECORD_INFO> stamped = stamped_alerts();
  const bool full = header.nCurCount == header.nMaxCount;
  if (full && write_again(log.get(), stamped, &header) != 0) return -1;
  header.isChanged = kAllChanged;
  if (write_numbers(log.get(), header) != 0) return -1;
  if (recreate_index_files() != 0) return -1;
  RedoRecord::remove_left_over();
  return aim_header(log.get(), stamped);
}

int keep_alert_id(uint32_t alert_id) {
  const UniqueFd log(open_file(alt_name_only, O_RDWR));
  ALERT_FILE_HEADER header = {};
  if (!log || read_alert_header(log.get(), &header) != 0) return -1;
  if (header.current_alert_id >= alert_id) return 0;
  header.current_alert_id = alert_id;
  return write_numbers(log.get(), header);
}

}  // namespace qel::daemon
