#include "log_header.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "alert_log.h"
#include "common/paths.h"
#include "unique_fd.h"

namespace qel::daemon {

std::optional<ALERT_FILE_HEADER> read_log_header() {
  const UniqueFd log(open(store_path(alt_name_only).text, O_RDONLY | O_CLOEXEC));
  struct stat status;
  ALERT_FILE_HEADER header = {};
  const bool readable = log && fstat(log.get(), &status) == 0 && status.st_size > 0 &&
                        read_alert_header(log.get(), &header) == 0;
  return readable ? std::optional(header) : std::nullopt;
}

uint32_t current_alert_id() {
  const auto header = read_log_header();
  return header ? header->current_alert_id : 0;
}

bool log_is_full() {
  const auto header = read_log_header();
  return header && header->nCurCount >= header->nMaxCount;
}

}  // namespace qel::daemon
