#include "alert_lock/store_guard.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>

#include "common/log.h"

namespace qel {

StoreGuard::StoreGuard() : directory_(open(alt_path_only, O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (!directory_.valid()) return;
  int result;
  do {
    result = flock(directory_.get(), LOCK_EX);
  } while (result == -1 && errno == EINTR);
  if (result == -1) {
    ALERT_LOG(kMinor, "lock store directory(%s) failed: %d", alt_path_only, errno);
  }
}

}  // namespace qel
