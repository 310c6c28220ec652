// The update of one index by one stored alert.
#pragma once

#include "alert_types.h"

namespace qel {

// A record that was just written, and the one that its line held before.
struct Change {
  int line;
  const ALERT_RECORD_INFO& alert;
  const ALERT_RECORD_INFO& overwritten;  // all zero when the log was not full
};

// Places the new entry in the open index of type idxtype; a full index (alt_max_count entries)
// loses the overwritten alert's entry. The entries between the two places move by one, and all that
// changes is written in one piece, under one exclusive lock of the file.
// 0, or a negative result (logged): the index may be damaged then.
int update_index(int fd, int idxtype, const Change& change);

}  // namespace qel
