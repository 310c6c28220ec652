#include "alert_index/index_reader.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <new>

#include "alert_lock.h"
#include "common/log.h"

namespace qel {

namespace {

constexpr int kRangeBlock = 1024;  // entries that one read of a range fetches at most: 74 KiB

}  // namespace

IndexReader::~IndexReader() {
  if (lock_ != Lock::kOwn) return;
  if (lock_reg(fd_, F_SETLK, F_UNLCK, kIndexHeader, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
  }
}

int IndexReader::lock() {
  if (lock_ != Lock::kNone) return 0;
  if (lock_reg(fd_, F_SETLKW, F_RDLCK, kIndexHeader, SEEK_SET, 0) != -1) {
    lock_ = Lock::kOwn;
    return 0;
  }
  ALERT_LOG(kFailure, "lock file failed: %d", errno);
  return -1;
}

// Reads `count` entries from `first` on; what the file does not have is zero.
int IndexReader::fetch(char* to, int first, int count) {
  const size_t size = static_cast<size_t>(count) * index_record_size(idxtype_);
  if (lock() != 0) return -1;
  const ssize_t got = pread(fd_, to, size, index_offset(idxtype_, first));
  if (got < 0) {
    ALERT_LOG(kFailure, "read failed");
    return -1;
  }
  memset(to + got, 0, size - static_cast<size_t>(got));
  return 0;
}

void IndexReader::know_first(const char* text) {
  memcpy(singles_[0], text, index_record_size(idxtype_));
  single_[0] = 0;
  kept_ = 1;
}

// The first probes of every search hit the same entries, so some are kept for the next search.
const char* IndexReader::keep_single(int position, int* result) {
  const int slot = kept_ < kKept ? kept_ : kKept - 1;
  *result = fetch(singles_[slot], position, 1);
  single_[slot] = position;
  kept_ = *result == 0 ? slot + 1 : slot;
  return singles_[slot];
}

// The text of an entry, or null with a negative *result.
const char* IndexReader::find_or_fetch(int position, int first, int last, int* result) {
  *result = 0;
  const auto in_block = [&] {
    return block_ + static_cast<size_t>(position - first_) * index_record_size(idxtype_);
  };
  if (position >= first_ && position < first_ + count_) return in_block();
  for (int i = 0; i < kept_; ++i) {
    if (single_[i] == position) return singles_[i];
  }
  if (last - first >= kBlock || first == last) {
    const char* text = keep_single(position, result);
    return *result == 0 ? text : nullptr;
  }
  count_ = 0;
  *result = fetch(block_, first, last - first + 1);
  if (*result != 0) return nullptr;
  first_ = first;
  count_ = last - first + 1;
  return in_block();
}

int IndexReader::read(int position, int first, int last, INDEX_RECORD_INFO* entry) {
  const bool is_long = idxtype_ == kServerIdIndex;
  if (is_long) {
    ALERT_LOG(kDump, "Read alert id: Line=%d,Alert_id=%d", static_cast<int>(entry->nLine),
              static_cast<int>(entry->alert_id));
  }
  int result;
  const char* text = find_or_fetch(position, first, last, &result);
  if (text == nullptr) return result;
  if (is_long ? parse_long(text, entry) : parse_short(text, entry)) return 0;
  ALERT_LOG(kFailure, "access overflow!");
  return ALERT_ERR_RECORD_OVERFLOW;
}

int read_entry_lines(int fd, int start, int end, int* lines) {
  const std::unique_ptr<char[]> block(new (std::nothrow) char[kRangeBlock * kShortRecord]);
  if (block == nullptr) return -start - 1;
  INDEX_RECORD_INFO entry = {};
  for (int first = start; first <= end; first += kRangeBlock) {
    const int count = std::min(kRangeBlock, end - first + 1);
    const size_t size = static_cast<size_t>(count) * kShortRecord;
    memset(block.get(), 0, size);
    if (read_local_disk(fd, index_offset(kTimeIndex, first), block.get(), size, size) != 0) {
      ALERT_LOG(kFailure, "call read_local_disk failed");
      return -first - 1;
    }
    for (int i = 0; i < count; ++i) {
      if (!parse_short(block.get() + i * kShortRecord, &entry)) {
        ALERT_LOG(kFailure, "access overflow!");
        return -(first + i) - 1;
      }
      *lines++ = static_cast<int>(entry.nLine);
    }
  }
  return end - start + 1;
}

}  // namespace qel
