// The alerts of the log at one moment.
#pragma once

#include <vector>

#include "alerts/alert_list.h"
#include "alerts/query.h"

namespace qel {

// A copy of the whole log, read while a Session lives. The order is by raise time, and where that
// is equal by server and id: so every server of a cluster shows its alerts in the same order.
class Snapshot {
 public:
  // Throws NoLog, or another Failure that tells why the log cannot be read.
  Snapshot();
  Snapshot(const Snapshot&) = delete;  // the order points into the records
  Snapshot& operator=(const Snapshot&) = delete;
  Snapshot(Snapshot&&) = default;
  Snapshot& operator=(Snapshot&&) = default;

  // Oldest first. Valid as long as the snapshot.
  const AlertList& alerts() const { return order_; }
  AlertList matching(const Query& query) const;

 private:
  std::vector<ALERT_RECORD_INFO> records_;
  AlertList order_;
};

}  // namespace qel
