#include "log_sync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "common/paths.h"
#include "log.h"
#include "unique_fd.h"

namespace qel::daemon {

bool LogSync::sync() {
  if (!settings_.durable || !unsynced_) return true;
  const UniqueFd log(open(store_path(alt_name_only).text, O_RDONLY | O_CLOEXEC));
  if (!log && errno == ENOENT && !written_) return true;  // nothing was there to be synced
  if (!log || fdatasync(log.get()) != 0) {
    DAEMON_LOG(kFailure, "the alert log does not reach the disk: %s", strerror(errno));
    return false;
  }
  unsynced_ = false;
  return true;
}

}  // namespace qel::daemon
