// Root as a guest of the store.
#pragma once

#include <sys/types.h>

#include <string>

namespace qel {

// While it lives, root works as the owner of a directory. The library makes what is missing, such
// as an index or the next diagnostic log; made by root, it would shut out the alert daemon and the
// programs that raise alerts. Nothing happens for other users, or when root is the owner.
class OwnerRights {
 public:
  explicit OwnerRights(const std::string& directory);
  ~OwnerRights();
  OwnerRights(const OwnerRights&) = delete;
  OwnerRights& operator=(const OwnerRights&) = delete;

 private:
  bool taken_ = false;
  gid_t group_before_ = 0;
};

}  // namespace qel
