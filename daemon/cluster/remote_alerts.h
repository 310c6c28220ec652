// Alerts of other servers, on their way into the log.
#pragma once

#include <cstdint>

#include "alert_types.h"
#include "cluster/datagram_guard.h"
#include "log_sync.h"
#include "redo_record.h"

namespace qel::daemon {

// The library stores the alerts of a message and answers the sender, or goes on to the next
// message, in one call. Between the two there is something to do: an alert must be on the disk
// before it is acknowledged, and what a failed store has left behind the counted lines must be cut
// off before the next store, or it would cost the whole log. So the alerts of each message are
// stored here, with the library's steps. An alert is acknowledged after the one sync of all that
// arrived with it; a data reply is then handed to the library, which finds its alerts stored and
// carries on. A message whose alerts could not be stored is dropped: its sender sends it again.
class RemoteAlerts {
 public:
  explicit RemoteAlerts(LogSync* log_sync) : log_sync_(log_sync) {}

  // Stores the alerts of a datagram that the guard has let through: an alert, or a data reply. True
  // when the log holds all of them.
  bool store(const Datagram& datagram);

  // Whether the library can tell what the log holds of the datagram: it must not ask an index that
  // a full disk has left half built since.
  bool can_be_told(const Datagram& datagram);

  // Tells the programs that wait for it that alerts were stored.
  void announce();

  uint64_t stored() const { return stored_; }

 private:
  bool store_record(const ALERT_RECORD_INFO& record, const char* sender);
  int write(const ALERT_RECORD_INFO& record);

  LogSync* log_sync_;
  RedoRecord redo_;
  uint64_t stored_ = 0;
  bool unannounced_ = false;
};

}  // namespace qel::daemon
