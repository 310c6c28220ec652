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

int IndexReader::fetch(int first, int count) {
  const size_t size = static_cast<size_t>(count) * index_record_size(idxtype_);
  count_ = 0;
  if (lock() != 0) return -1;
  const ssize_t got = pread(fd_, block_, size, index_offset(idxtype_, first));
  if (got < 0) {
    ALERT_LOG(kFailure, "read failed");
    return -1;
  }
  memset(block_ + got, 0, size - static_cast<size_t>(got));
  first_ = first;
  count_ = count;
  return 0;
}

int IndexReader::read(int position, int first, int last, INDEX_RECORD_INFO* entry) {
  const bool is_long = idxtype_ == kServerIdIndex;
  if (is_long) {
    ALERT_LOG(kDump, "Read alert id: Line=%d,Alert_id=%d", static_cast<int>(entry->nLine),
              static_cast<int>(entry->alert_id));
  }
  if (position < first_ || position >= first_ + count_) {
    const bool whole = last - first < kBlock;
    const int result = whole ? fetch(first, last - first + 1) : fetch(position, 1);
    if (result != 0) return result;
  }
  const char* text = block_ + static_cast<size_t>(position - first_) * index_record_size(idxtype_);
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
