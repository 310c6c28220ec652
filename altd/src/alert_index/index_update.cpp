#include "alert_index/index_update.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include "alert_index.h"
#include "alert_index/find.h"
#include "alert_index/header_steps.h"
#include "alert_index/rewrite.h"
#include "alert_lock.h"
#include "alert_log/steps.h"
#include "common/log.h"

namespace qel {

namespace {

// Where the new entry goes and where the entry is that it replaces; both as the index stands.
struct Places {
  int location;
  int overwritten;  // in an index that is not full: the position behind the last entry
};

// The entries that an update changes, first to last, and where the new one is among them.
struct Range {
  int first;
  int last;
  int entry;
};

class WholeLock {
 public:
  explicit WholeLock(int fd) : fd_(fd) {
    held_ = lock_reg(fd_, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0) != -1;
    if (!held_) ALERT_LOG(kFailure, "lock file failed: %d", errno);
  }
  ~WholeLock() {
    if (held_ && lock_reg(fd_, F_SETLK, F_UNLCK, 0, SEEK_SET, 0) == -1) {
      ALERT_LOG(kFailure, "unlock file failed: %d", errno);
    }
  }
  WholeLock(const WholeLock&) = delete;
  WholeLock& operator=(const WholeLock&) = delete;
  bool held() const { return held_; }

 private:
  int fd_;
  bool held_;
};

constexpr int kDestroyed = 1;  // the file is too short for a header

// The start of an index: its header and, zero where the file ends before, its first entry.
struct Head {
  char text[kIndexHeader + kLongRecord] = {};
  const char* first_entry() const { return text + kIndexHeader; }
};

// 0, kDestroyed, or a negative result (logged).
int read_head(int fd, Head* head, INDEX_HEADER* header) {
  const ssize_t got = pread(fd, head->text, sizeof head->text, 0);
  if (got >= static_cast<ssize_t>(kIndexHeader)) return parse_index_header(head->text, header);
  if (got >= 0) return kDestroyed;
  ALERT_LOG(kFailure, "read failed");
  return -1;
}

int find_id_location(IndexReader& index, int count, const Change& change) {
  const Probe probe = find_alert_id(index, count, change.alert);
  if (probe.result < 0) return log_unread_id(probe.mid, probe.result);
  return probe.found ? probe.mid : probe.high + 1;
}

// As search_index_write_location.
int find_key_location(IndexReader& index, int count, const Change& change) {
  if (count <= 0) return 0;
  Ends ends;
  const int result = read_ends(index, count, &ends);
  if (result < 0) return result;
  const char* key = key_of(change.alert, index.type());
  if (index.type() == kTimeIndex) return find_time_location(index, count, ends, key);
  const Probe probe = find_key_line(index, count, key, change.line);
  if (probe.result < 0) {
    log_unread(probe.mid, -1);
    ALERT_LOG(kFailure, "call search_by_nounique_line_key failed");
    return -1;
  }
  return probe.found ? probe.mid + 1 : probe.high + 1;
}

int find_overwritten_id(IndexReader& index, int count, const Change& change) {
  const ALERT_RECORD_INFO& alert = change.overwritten;
  const Probe probe = find_alert_id(index, count, alert);
  if (probe.found) return probe.mid;
  if (probe.result < 0) {
    log_unread_id(probe.mid, -1);
  } else {
    log_absent_id(alert);
  }
  ALERT_LOG(kFailure, "call search_special_alt_id_record failed ,line = %d", change.line);
  return -1;
}

// Whether the overwritten alert's entry stands just before the new one's place, as it does when
// both have the same key: they have the same line.
bool stands_before(IndexReader& index, int location, const Change& change) {
  const char* key = key_of(change.overwritten, index.type());
  if (location == 0 || compare_keys(index.type(), key_of(change.alert, index.type()), key) != 0) {
    return false;
  }
  INDEX_RECORD_INFO entry = {};
  const int before = location - 1;
  return index.read(before, before, before, &entry) == 0 &&
         entry.nLine == static_cast<unsigned>(change.line) &&
         compare_keys(index.type(), key, entry.szKeyVal) == 0;
}

int find_overwritten_entry(IndexReader& index, int count, int location, const Change& change) {
  if (index.type() == kServerIdIndex) return find_overwritten_id(index, count, change);
  if (index.type() != kTimeIndex && stands_before(index, location, change)) return location - 1;
  const int position = find_overwritten(index, count, change.overwritten, change.line);
  if (position < 0) ALERT_LOG(kFailure, "call search_special_record failed");
  return position;
}

// 0, or -1 (logged).
int find_places(int fd, int type, const Head& head, int count, bool full, const Change& change,
                Places* places) {
  IndexReader index(fd, type, IndexReader::Locked{});
  index.know_first(head.first_entry());
  places->location = type == kServerIdIndex ? find_id_location(index, count, change)
                                            : find_key_location(index, count, change);
  if (places->location < 0) {
    ALERT_LOG(kFailure, "search index(%s) location failed", idx_name[type]);
    return -1;
  }
  places->overwritten =
      full ? find_overwritten_entry(index, count, places->location, change) : count;
  return places->overwritten < 0 ? -1 : 0;
}

// With the location behind the overwritten entry, the entries between them move down and the new
// one comes to stand one position earlier.
Range range_of(const Places& places) {
  const auto [location, overwritten] = places;
  if (location <= overwritten) return {location, overwritten, location};
  return {overwritten, location - 1, location - 1};
}

size_t format_entry(char* text, int type, const Change& change) {
  INDEX_RECORD_INFO entry = {};
  snprintf(entry.szKeyVal, sizeof entry.szKeyVal, "%s", key_of(change.alert, type));
  if (type == kServerIdIndex) {
    format_long(text, entry.szKeyVal, change.alert.alert_id, static_cast<unsigned>(change.line));
  } else {
    format_short(text, entry.szKeyVal, change.line);
  }
  return index_record_size(type);
}

// Moves the entries of a range by one and writes the new one, piece by piece: a piece stays in the
// processor's cache between its read and its write.
class RangeWriter {
 public:
  RangeWriter(int fd, int type, const Change& change)
      : fd_(fd), type_(type), entry_size_(index_record_size(type)), change_(change) {
    while (piece_ > 0 && buffer_ == nullptr) {
      buffer_.reset(new (std::nothrow) char[static_cast<size_t>(piece_) * entry_size_]);
      if (buffer_ == nullptr) piece_ /= 2;
    }
  }

  // 0, or -1 (logged).
  int write(const Range& range) {
    if (buffer_ == nullptr) {
      ALERT_LOG(kFailure, "malloc(%d) failed(%d).", static_cast<int>(entry_size_), errno);
      return log_unmoved();
    }
    return range.entry == range.first ? open_gap(range) : close_gap(range);
  }

 private:
  static constexpr int kPiece = 8192;  // entries of a piece, fewer when memory is short: 600 KiB

  static int log_unmoved() {
    ALERT_LOG(kFailure, "move index record failed");
    return -1;
  }

  // The entries first to last - 1 go up, the last piece first; the new entry goes before them.
  int open_gap(const Range& range) {
    int end = range.last;
    while (end - range.first >= piece_) {
      const int count = std::min(piece_, end - range.first);
      end -= count;
      if (move(end, count, end + 1) != 0) return log_unmoved();
    }
    format_entry(buffer_.get(), type_, change_);
    const ssize_t size = read(range.first, end - range.first, buffer_.get() + entry_size_);
    return size < 0 ? log_unmoved() : put_with_entry(range, range.first, size);
  }

  // The entries first + 1 to last go down, the first piece first; the new entry goes behind them.
  int close_gap(const Range& range) {
    int first = range.first;
    while (range.last - first >= piece_) {
      const int count = std::min(piece_, range.last - first);
      if (move(first + 1, count, first) != 0) return log_unmoved();
      first += count;
    }
    const int count = range.last - first;
    const ssize_t size = read(first + 1, count, buffer_.get());
    if (size < 0) return log_unmoved();
    const size_t whole = static_cast<size_t>(count) * entry_size_;
    if (static_cast<size_t>(size) < whole) {  // the file ends early: the pieces do not meet
      if (put(first, static_cast<size_t>(size)) != 0) return log_unmoved();
      format_entry(buffer_.get(), type_, change_);
      return put_with_entry(range, range.last, 0);
    }
    format_entry(buffer_.get() + whole, type_, change_);
    return put_with_entry(range, first, size);
  }

  int move(int from, int count, int to) {
    const ssize_t size = read(from, count, buffer_.get());
    return size < 0 ? -1 : put(to, static_cast<size_t>(size));
  }

  // The bytes read, fewer in a file that is shorter than its header says; -1 on failure.
  ssize_t read(int position, int count, char* to) {
    if (count == 0) return 0;
    return pread(fd_, to, static_cast<size_t>(count) * entry_size_, index_offset(type_, position));
  }

  // Writes the new entry together with the `moved` bytes of entries beside it.
  int put_with_entry(const Range& range, int position, ssize_t moved) {
    if (put(position, static_cast<size_t>(moved) + entry_size_) == 0) return 0;
    if (moved > 0) return log_unmoved();
    ALERT_LOG(kFailure, "write index record(No. %d) failed", range.entry);
    return -1;
  }

  int put(int position, size_t size) {
    const char* text = buffer_.get();
    off_t offset = index_offset(type_, position);
    while (size > 0) {
      const ssize_t written = pwrite(fd_, text, size, offset);
      if (written <= 0) return -1;
      text += written;
      offset += written;
      size -= static_cast<size_t>(written);
    }
    return 0;
  }

  int fd_;
  int type_;
  size_t entry_size_;
  const Change& change_;
  int piece_ = kPiece;
  std::unique_ptr<char[]> buffer_;
};

// Counts the new entry of an index that was not full.
int count_entry(int fd, int type, INDEX_HEADER* header) {
  ++header->nCurCount;
  if (write_index_header(fd, *header, 1) != 0) {
    ALERT_LOG(kFailure, "write index file(%s) header failed", idx_name[type]);
    return -1;
  }
  return header->nCurCount == static_cast<unsigned>(alt_max_count) ? rewrite_in_one_piece(fd) : 0;
}

void read_first_line(int fd, int* line) {
  INDEX_RECORD_INFO first = {};
  IndexReader index(fd, kTimeIndex, IndexReader::Locked{});
  if (index.read(0, 0, 0, &first) == 0) *line = static_cast<int>(first.nLine);
}

// As update_index, or kDestroyed.
int update_locked(int fd, int idxtype, const Change& change, int* first_line) {
  const WholeLock lock(fd);
  if (!lock.held()) return -1;
  set_update_flags(fd);
  INDEX_HEADER header = {};
  Head head;
  const int header_read = read_head(fd, &head, &header);
  if (header_read == kDestroyed) return kDestroyed;
  if (header_read < 0) {
    ALERT_LOG(kFailure, "read index file(%s) header failed", idx_name[idxtype]);
    return -1;
  }
  const bool full = header.nCurCount == static_cast<unsigned>(alt_max_count);
  Places places;
  if (find_places(fd, idxtype, head, static_cast<int>(header.nCurCount), full, change, &places) !=
      0) {
    return -1;
  }
  if (RangeWriter(fd, idxtype, change).write(range_of(places)) != 0) return -1;
  if (!full) return count_entry(fd, idxtype, &header);
  if (idxtype == kTimeIndex) read_first_line(fd, first_line);
  return 0;
}

}  // namespace

int update_index(int fd, int idxtype, const Change& change, int* first_line) {
  const int result = update_locked(fd, idxtype, change, first_line);
  if (result != kDestroyed) return result;
  discard_destroyed_index(fd);
  ALERT_LOG(kFailure, "read index file(%s) header failed", idx_name[idxtype]);
  return -1;
}

}  // namespace qel
