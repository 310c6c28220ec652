#include "index_repair.h"

#include <unistd.h>

#include <cerrno>

#include "alert_index.h"
#include "alerts/store.h"
#include "common/paths.h"

namespace qel::web {

void IndexRepair::found_damaged() {
  fault_ =
      "the search by the indexes does not find what is in the log; the log itself answers while "
      "they are built again";
  removed_ = false;
  repair();
}

void IndexRepair::found_sound() {
  if (removed_) fault_.clear();
}

void IndexRepair::repair() {
  constexpr std::chrono::minutes kPause{1};
  const Clock::time_point now = Clock::now();
  const bool too_soon = last_removal_.has_value() && now - *last_removal_ < kPause;
  if (fault_.empty() || removed_ || too_soon) return;
  const StillStore still(StillStore::Purpose::kChange);
  removed_ = true;
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    removed_ = (unlink(store_path(idx_name[type]).text) == 0 || errno == ENOENT) && removed_;
  }
  last_removal_ = now;
}

}  // namespace qel::web
