// Which alerts a reader has had already.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>
#include <vector>

#include "alerts/alert_list.h"

namespace qel {

// Alerts arrive late, in any order, and a log may be lost and filled again by the other servers; a
// server that has lost its ids may even give them again. So neither a time nor an id tells whether
// an alert was shown: all of its content but the time of writing does, as a 64-bit hash.
//
// Alerts that have left the log are remembered for a while: about as many as twice the log holds,
// and at least kForgottenAfter.
class SeenAlerts {
 public:
  // Those of `alerts` that were not seen before, in the same order. All count as seen from then on.
  AlertList take_new(const AlertList& alerts);

  // Fills it from a file that save has written. False when there is no such file; throws a Failure
  // when it cannot be read or holds something else.
  bool load(const std::string& path);
  // Replaces the file as a whole. Throws a Failure; an older file is then as it was.
  void save(const std::string& path) const;

  static constexpr size_t kForgottenAfter = 20000;

 private:
  using Hashes = std::unordered_set<uint64_t>;

  bool has_too_many(size_t held) const;
  void forget_oldest(const AlertList& held);

  // When recent_ is large enough it becomes older_, and what was there is forgotten.
  Hashes recent_;
  Hashes older_;
};

}  // namespace qel
