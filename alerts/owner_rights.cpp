#include "alerts/owner_rights.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "alerts/failure.h"

namespace qel {

OwnerRights::OwnerRights(const std::string& directory) {
  struct stat status {};
  if (geteuid() != 0 || stat(directory.c_str(), &status) != 0 || status.st_uid == 0) return;
  group_before_ = getegid();
  if (setegid(status.st_gid) != 0) {
    throw Failure(kFailed, with_errno("cannot take the group of " + directory, errno));
  }
  taken_ = seteuid(status.st_uid) == 0;
  if (taken_) return;
  const int error = errno;
  (void)!setegid(group_before_);
  throw Failure(kFailed, with_errno("cannot take the rights of the owner of " + directory, error));
}

OwnerRights::~OwnerRights() {
  if (!taken_) return;
  (void)!seteuid(0);
  (void)!setegid(group_before_);
}

}  // namespace qel
