// Entries of one open index file, for searches that read many of them.
#pragma once

#include <algorithm>

#include "alert_index/layout.h"
#include "alert_types.h"

namespace qel {

// Gives the same entries as read_index_record and read_index_srv_id_record, but neighbouring probes
// share one read, and all of them one shared lock of the entries, from the first probe to the end
// of the reader. What it has read is as old as the reader: use one for each search.
class IndexReader {
 public:
  IndexReader(int fd, int idxtype) : fd_(fd), idxtype_(idxtype) {}
  // For a caller that holds a lock of the whole file for longer than the reader lives.
  struct Locked {};
  IndexReader(int fd, int idxtype, Locked) : fd_(fd), idxtype_(idxtype), lock_(Lock::kCallers) {}
  ~IndexReader();
  IndexReader(const IndexReader&) = delete;
  IndexReader& operator=(const IndexReader&) = delete;

  int type() const { return idxtype_; }

  // Takes over the text of the first entry, which the caller has read together with the header.
  void know_first(const char* text);

  // Reads the entry at `position`, which lies within first..last; when that range is short it is
  // fetched whole, since the search will go on in it. 0 or a negative result (logged).
  int read(int position, int first, int last, INDEX_RECORD_INFO* entry);

 private:
  static constexpr int kBlock = 512;  // entries that one read fetches at most
  static constexpr int kKept = 8;     // single entries that are kept for a second search

  enum class Lock { kNone, kOwn, kCallers };

  int lock();
  const char* find_or_fetch(int position, int first, int last, int* result);
  const char* keep_single(int position, int* result);
  int fetch(char* to, int first, int count);

  int fd_;
  int idxtype_;
  int first_ = 0;  // first position of the block
  int count_ = 0;  // entries in the block
  Lock lock_ = Lock::kNone;
  int kept_ = 0;  // singles in use
  int single_[kKept];
  char singles_[kKept][kLongRecord];
  char block_[kBlock * kLongRecord];
};

// Where a binary search ended.
struct Probe {
  int result;  // 0, or the negative result of the read that failed
  bool found;
  int low;
  int high;
  int mid;  // the last position probed: the equal entry when found
};

// Binary search among the entries low..high. compare(entry) is below 0 when the wanted entry lies
// before it, above 0 when behind it, 0 when it is the one.
template <typename Compare>
Probe binary_search(IndexReader& index, int low, int high, Compare compare) {
  Probe probe = {0, false, low, high, -1};
  INDEX_RECORD_INFO entry = {};
  while (probe.low <= probe.high) {
    probe.mid = (probe.low + probe.high) / 2;
    probe.result = index.read(probe.mid, probe.low, probe.high, &entry);
    if (probe.result < 0) return probe;
    const int order = compare(entry);
    if (order == 0) {
      probe.found = true;
      return probe;
    }
    if (order < 0) {
      probe.high = probe.mid - 1;
    } else {
      probe.low = probe.mid + 1;
    }
  }
  return probe;
}

inline int compare_unsigned(unsigned left, unsigned right) {
  return left < right ? -1 : left > right ? 1 : 0;
}

// Reads the log lines of the entries start..end of an open index with short records into `lines`.
// Returns their number, or the negated position, minus 1, of the entry that could not be read.
int read_entry_lines(int fd, int start, int end, int* lines);

}  // namespace qel
