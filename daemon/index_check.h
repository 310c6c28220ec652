// Whether the indexes can be believed.
#pragma once

#include <ctime>

#include "alert_types.h"

namespace qel::daemon {

// Builds the indexes again unless each of them has the count of the log and the size that goes with
// it: lookups trust them. False when they still do not.
bool mend_indexes();

enum class Held { kNo, kYes, kUnknown };

// Lookups by an index, and a full disk leaves indexes that lack entries or were only half built and
// look like whole ones. So a "no" counts only when the index has as many entries as the log and no
// store has failed since the indexes were last compared with it.
class IndexCheck {
 public:
  // A store has failed. What it has left behind the counted lines would cost the whole log and is
  // cut off; whatever it has done to the indexes is to be looked at.
  void store_failed();

  // The indexes are in doubt.
  void doubt() { in_doubt_ = true; }

  // Mends indexes that are in doubt, once a second at most: that reads the whole log. True when
  // there is no doubt any more.
  bool settle();

  // Whether the log holds an alert with this server and id. While doubt stands, a "no" is unknown,
  // and nothing should be stored.
  Held look_up(const ALERT_RECORD_INFO& record);

 private:
  bool try_to_mend();

  bool in_doubt_ = false;
  clock_t next_try_ = 0;
};

}  // namespace qel::daemon
