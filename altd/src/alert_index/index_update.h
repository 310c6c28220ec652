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
// 0, or a negative result (logged): the index may be damaged then. *first_line is the log line of
// the first entry of a full "time.idx", otherwise left alone.
int update_index(int fd, int idxtype, const Change& change, int* first_line);

// What became of the indexes.
struct Upkeep {
  int result;   // as of modify_index_file
  int updated;  // a bit for each index that was updated: to be cleared in the header's isChanged
  int oldest_line;  // the line of the oldest alert, when the log is full and that is known; else -1
};

inline constexpr int kAllIndexes = (1 << ALERT_INDEX_COUNT) - 1;

// As modify_index_file, but leaves the header's bits to a caller that rewrites the header anyway
// and that has the log open (-1: not yet).
Upkeep update_all_indexes(int log_fd, const Change& change);

}  // namespace qel
