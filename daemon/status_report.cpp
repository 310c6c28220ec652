#include "status_report.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "alert_log.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "common/paths.h"
#include "intake_line.h"
#include "unique_fd.h"
#include "version.h"

namespace qel::daemon {

namespace {

using nlohmann::json;

// The raise time of the record at a line; empty when it cannot be read.
std::string raise_time(int log_fd, int line) {
  ALERT_RECORD_INFO record = {};
  return line >= 0 && read_alert_record(log_fd, line, &record) == 0 ? record.szServerTime : "";
}

std::string newest_raise_time() {
  ALERT_RECORD_INFO record = {};
  return alert_get_last(&record, 1) == 1 ? record.szServerTime : "";
}

json log_status() {
  json status = {{"path", store_path(alt_name_only).text}};
  const UniqueFd log(open(store_path(alt_name_only).text, O_RDONLY | O_CLOEXEC));
  struct stat file;
  ALERT_FILE_HEADER header = {};
  const bool readable = log && fstat(log.get(), &file) == 0 && file.st_size > 0 &&
                        read_alert_header(log.get(), &header) == 0;
  if (!readable) return status;
  status["capacity"] = header.nMaxCount;
  status["count"] = header.nCurCount;
  status["full"] = header.nCurCount >= header.nMaxCount;
  status["current_alert_id"] = header.current_alert_id;
  const bool empty = header.nCurCount == 0;
  status["oldest"] = empty ? "" : raise_time(log.get(), get_nextto_write());
  status["newest"] = empty ? "" : newest_raise_time();
  return status;
}

json intake_status(const IntakeDrain& intake) {
  const Path path = store_path(alt_name_temp);
  struct stat file;
  const int64_t bytes = stat(path.text, &file) == 0 ? file.st_size : 0;
  return {{"path", path.text},
          {"bytes", bytes},
          {"waiting", intake.waiting_bytes() / static_cast<int64_t>(kIntakeLine)},
          {"stored", intake.counters().stored},
          {"set_aside", intake.counters().set_aside}};
}

}  // namespace

std::string status_report(const std::string& started, const IntakeDrain& intake) {
  const json status = {{"server", local_svr != nullptr ? local_svr->svr_name : ""},
                       {"version", kVersion},
                       {"pid", getpid()},
                       {"started", started},
                       {"state", start_write_local_logfile != 0 ? "running" : "waiting for peers"},
                       {"log", log_status()},
                       {"intake", intake_status(intake)},
                       {"peers", json::array()}};
  return status.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace qel::daemon
