// Damaged indexes, and how the front end gets rid of them.
#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace qel::web {

// What is known of the indexes. Damaged ones are removed while nothing is stored or searched;
// whoever opens one next builds it from the log. Not more than once in a minute, so that what
// cannot be mended does not keep the disks busy.
class IndexRepair {
 public:
  // What is wrong; empty when nothing is known.
  const std::string& fault() const { return fault_; }

  // A search by the indexes has found something else than there is.
  void found_damaged();
  // One has found what there is. That ends a fault once the indexes were removed: before, it may
  // just not have met the damage.
  void found_sound();
  // Removes the indexes if there is a fault and that is not done yet.
  void repair();

 private:
  using Clock = std::chrono::steady_clock;

  std::string fault_;
  bool removed_ = false;  // since the fault was found
  std::optional<Clock::time_point> last_removal_;
};

}  // namespace qel::web
