#include "alerts/store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alerts/failure.h"
#include "alerts/owner_rights.h"
#include "alerts/session.h"
#include "common/paths.h"
#include "common/unique_fd.h"

namespace qel {
namespace {

constexpr int kTimeIndex = 0;
constexpr size_t kStoredMeanwhile = 256;  // alerts, between a look at the log and its reading
constexpr int kLooksAtEmptyLog = 20;
constexpr useconds_t kBetweenLooks_us = 5000;

UniqueFd open_for_reading(const std::string& path) {
  UniqueFd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (fd) return fd;
  if (errno == ENOENT) throw NoLog(path);
  throw Failure(kFailed, with_errno("cannot read " + path, errno));
}

off_t size_of(const UniqueFd& fd, const std::string& path) {
  struct stat status {};
  if (fstat(fd.get(), &status) != 0) throw Failure(kFailed, with_errno(path, errno));
  return status.st_size;
}

// A log is empty for a moment while it is made.
UniqueFd open_log(const std::string& path) {
  UniqueFd fd = open_for_reading(path);
  for (int looks = 0; size_of(fd, path) == 0 && looks < kLooksAtEmptyLog; ++looks) {
    usleep(kBetweenLooks_us);
    fd = open_for_reading(path);
  }
  return fd;
}

Failure damaged(const LogState& log) {
  return {kFailed, log.path + " is damaged: " + std::to_string(log.bytes) +
                       " bytes do not fit its count of " + std::to_string(log.count) +
                       " alerts; the alert daemon judges it when it next opens it"};
}

// What to blame for a time index that the library could not open; empty when nothing shows.
std::string index_fault() {
  const std::string path = store_path(idx_name[kTimeIndex]).text;
  if (access(path.c_str(), R_OK) == 0) return {};
  if (errno != ENOENT) return with_errno("cannot read " + path, errno);
  return creation_fault(path, log_path());  // the log's header notes that it was built
}

// The library tells its reasons only in the diagnostic log, so look for the likely ones.
Failure read_fault() {
  const LogState log = read_log_state();
  if (log.bytes != log.bytes_expected) return damaged(log);
  const std::string fault = index_fault();
  const std::string reason = fault.empty() ? "cannot read the alerts in " + log.path : fault;
  return {kFailed, reason + " (details in " + diagnostic_log_path() + ")"};
}

// What the library is asked for: more than the log held when it was looked at, since the daemons
// store on. The count bounds the memory by the file's size.
size_t wanted_of(const LogState& log) {
  return std::min(size_t{log.count} + kStoredMeanwhile, size_t{INT_MAX});
}

std::vector<ALERT_RECORD_INFO> read_newest_of(const LogState& log) {
  // A longer file may just be growing.
  if (log.bytes < log.bytes_expected) throw damaged(log);
  if (log.count == 0) return {};
  std::vector<ALERT_RECORD_INFO> alerts(wanted_of(log));
  const int delivered = alert_get_last(alerts.data(), static_cast<int>(alerts.size()));
  if (delivered < 0) throw read_fault();
  alerts.resize(static_cast<size_t>(delivered));
  return alerts;
}

}  // namespace

std::string log_path() { return store_path(alt_name_only).text; }
std::string intake_path() { return store_path(alt_name_temp).text; }

std::string creation_fault(const std::string& path, const std::string& also) {
  const std::string places[] = {alt_path_only, alt_cmd_path, also};
  const auto* const closed = std::find_if(
      std::begin(places), std::end(places),
      [](const std::string& place) { return !place.empty() && access(place.c_str(), W_OK) != 0; });
  if (closed == std::end(places)) return {};
  return with_errno("cannot create " + path + ": no write access to " + *closed, errno);
}

LogState read_log_state() {
  const std::string path = log_path();
  const UniqueFd fd = open_log(path);
  // The library would delete an empty log, and reading must not change anything.
  if (size_of(fd, path) == 0) throw Failure(kFailed, path + " is damaged: it is empty");
  ALERT_FILE_HEADER header{};
  const int header_length = get_header_length(fd.get());
  if (header_length < 0 || read_alert_header(fd.get(), &header) != 0) {
    throw Failure(kFailed, path + " is damaged: it has no readable header");
  }
  return {.path = path,
          .bytes = size_of(fd, path),  // after the header: a store writes the line before it
          .bytes_expected = header_length + static_cast<off_t>(header.nCurCount * kRecordLine),
          .capacity = header.nMaxCount,
          .count = header.nCurCount,
          .current_alert_id = header.current_alert_id};
}

StillStore::StillStore(Purpose purpose)
    : directory_(open(alt_path_only, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  const int kind = purpose == Purpose::kRead ? LOCK_SH : LOCK_EX;
  while (directory_ && flock(directory_.get(), kind) != 0 && errno == EINTR) {
  }
}

std::vector<ALERT_RECORD_INFO> read_lines() {
  const StillStore still(StillStore::Purpose::kRead);
  const LogState log = read_log_state();
  if (log.bytes != log.bytes_expected) throw damaged(log);
  const UniqueFd fd = open_for_reading(log.path);
  std::vector<ALERT_RECORD_INFO> alerts(log.count);
  for (uint32_t line = 0; line < log.count; ++line) {
    if (read_alert_record(fd.get(), static_cast<int>(line), &alerts[line]) == 0) continue;
    throw Failure(kFailed, log.path + " is damaged: line " + std::to_string(line) +
                               " cannot be read (details in " + diagnostic_log_path() + ")");
  }
  return alerts;
}

std::vector<ALERT_RECORD_INFO> read_all() {
  const OwnerRights as_owner(alt_path_only);
  LogState log = read_log_state();
  std::vector<ALERT_RECORD_INFO> alerts = read_newest_of(log);
  // When all that was asked for came, alerts stored since may have pushed out the oldest.
  while (alerts.size() == wanted_of(log) && read_log_state().count > log.count) {
    log = read_log_state();
    alerts = read_newest_of(log);
  }
  if (alerts.size() < log.count) {
    message(std::string(store_path(idx_name[kTimeIndex]).text) + " lists only " +
            std::to_string(alerts.size()) + " of " + std::to_string(log.count) + " alerts");
  }
  return alerts;
}

}  // namespace qel
