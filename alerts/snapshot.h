// The alerts of the log at one moment.
#pragma once

#include <vector>

#include "alerts/alert_list.h"
#include "alerts/query.h"

namespace qel {

// The order of alerts: by raise time, and where that is equal by server and id, so every server of
// a cluster shows its alerts in the same order.
bool is_earlier(const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b);

// A copy of the whole log, read while a Session lives.
class Snapshot {
 public:
  // Throws NoLog, or another Failure that tells why the log cannot be read.
  Snapshot();
  // Of records that read_lines has read.
  explicit Snapshot(std::vector<ALERT_RECORD_INFO> records);
  Snapshot(const Snapshot&) = delete;  // the order points into the records
  Snapshot& operator=(const Snapshot&) = delete;
  Snapshot(Snapshot&&) = default;
  Snapshot& operator=(Snapshot&&) = default;

  // Oldest first. Valid as long as the snapshot.
  const AlertList& alerts() const { return order_; }
  AlertList matching(const Query& query) const;
  const std::vector<ALERT_RECORD_INFO>& records() const { return records_; }

 private:
  std::vector<ALERT_RECORD_INFO> records_;
  AlertList order_;
};

}  // namespace qel
