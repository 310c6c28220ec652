// Many records of the alert log at once.
#pragma once

#include <sys/types.h>

#include <memory>

#include "alert_types.h"

namespace qel {

// Reads records of an open log without a header search and a lock for each: the header length is
// found once, one shared lock covers all lines asked for, and neighbours share a read.
class RecordRange {
 public:
  // 0, or -1 when the header's length cannot be found or memory is short (logged).
  int open(int fd);

  // Reads the records at lines[0] to lines[count - 1], in that order, and hands each to
  // visit(i, record), which tells whether to go on. Returns count, or the i that ended it: its
  // record could not be read (logged) or visit returned false.
  template <typename Visit>
  int read(const int* lines, int count, Visit visit) {
    const Lock lock(fd_, header_length_, lines, count);
    if (!lock.held()) return 0;
    ALERT_RECORD_INFO record = {};
    for (int i = 0; i < count; ++i) {
      if (!fetch(lines, count, i) || !parse(lines[i], &record) || !visit(i, record)) return i;
    }
    return count;
  }

 private:
  class Lock {
   public:
    Lock(int fd, int header_length, const int* lines, int count);
    ~Lock();
    bool held() const { return held_; }

   private:
    int fd_;
    off_t offset_ = 0;
    off_t length_ = 0;
    bool held_ = true;
  };

  // Makes line lines[i] part of the block.
  bool fetch(const int* lines, int count, int i);
  bool parse(int line, ALERT_RECORD_INFO* record) const;

  int fd_ = -1;
  int header_length_ = 0;
  std::unique_ptr<char[]> block_;
  int first_ = 0;  // first line of the block
  int size_ = 0;   // lines in the block
};

}  // namespace qel
