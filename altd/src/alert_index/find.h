// Searches of one open index whose count is known.
#pragma once

#include "alert_index/index_reader.h"
#include "alert_types.h"

namespace qel {

// Finds (key, log line) in an index of type 1 to 4.
Probe find_key_line(IndexReader& index, int count, const char* key, int line);

// Finds (server, alert id) in "srv_alt_id.idx".
Probe find_alert_id(IndexReader& index, int count, const ALERT_RECORD_INFO& alert);

// Where the entry of a new alert goes in an index of type 0 to 4 with at least one entry; its first
// and last entry decide first. A negative result after a failed read (logged).
struct Ends {
  INDEX_RECORD_INFO first;
  INDEX_RECORD_INFO last;
};
int read_ends(IndexReader& index, int count, Ends* ends);
int find_time_location(IndexReader& index, int count, const Ends& ends, const char* time);

// The entry of the alert at `line`, which is about to be overwritten: its position, or a negative
// result (logged). In "time.idx" only the first entry is accepted, since only the oldest alert is
// ever overwritten.
int find_overwritten(IndexReader& index, int count, const ALERT_RECORD_INFO& alert, int line);

// Logs that the index has no entry of the alert.
void log_absent_id(const ALERT_RECORD_INFO& alert);

// Log a failed read of an entry.
int log_unread(int position, int result);
int log_unread_id(int position, int result);

}  // namespace qel
