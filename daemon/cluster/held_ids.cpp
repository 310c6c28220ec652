#include "cluster/held_ids.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "alert_index/layout.h"
#include "alert_log.h"
#include "alert_udp.h"
#include "log.h"
#include "unique_fd.h"

namespace qel::daemon {

namespace {

constexpr int kBlock = 512;  // entries that are read together

void add(std::vector<HeldIds>* held, const INDEX_RECORD_INFO& entry) {
  if (held->empty() || held->back().server != entry.szKeyVal) {
    held->push_back({entry.szKeyVal, 0, {}});
  }
  HeldIds& ids = held->back();
  ++ids.count;
  if (!ids.runs.empty() && entry.alert_id - ids.runs.back().last <= 1) {
    ids.runs.back().last = entry.alert_id;
  } else {
    ids.runs.push_back({entry.alert_id, entry.alert_id});
  }
}

bool add_block(const std::string& block, std::vector<HeldIds>* held) {
  for (size_t at = 0; at < block.size(); at += kLongRecord) {
    INDEX_RECORD_INFO entry = {};
    if (!parse_long(block.data() + at, &entry)) return false;
    add(held, entry);
  }
  return true;
}

// The number of entries; -1 for a file that is no whole index. One that is too short for a header
// is left to the library's own checks, which delete it.
int entry_count(int fd) {
  struct stat status;
  INDEX_HEADER header = {};
  const bool readable = fstat(fd, &status) == 0 &&
                        status.st_size >= static_cast<off_t>(kIndexHeader) &&
                        read_index_header(fd, &header) == 0;
  if (!readable) return -1;
  const int count = static_cast<int>(header.nCurCount);
  return status.st_size == index_offset(kServerIdIndex, count) ? count : -1;
}

}  // namespace

uint64_t HeldIds::missing() const {
  uint64_t ids = 0;
  for (size_t i = 1; i < runs.size(); ++i) ids += runs[i].first - runs[i - 1].last - 1;
  return ids;
}

uint32_t HeldIds::first_missing(uint32_t from) const {
  for (const Run& run : runs) {
    if (from >= run.first && from <= run.last) return run.last + 1;
  }
  return from;
}

std::vector<HeldIds> read_held_ids() {
  std::vector<HeldIds> held;
  const UniqueFd index(open_file(idx_name[kServerIdIndex], O_RDONLY));
  const int count = index ? entry_count(index.get()) : -1;
  bool readable = count >= 0;
  std::string block;
  for (int first = 0; readable && first < count; first += kBlock) {
    block.resize(static_cast<size_t>(std::min(kBlock, count - first)) * kLongRecord);
    readable = read_local_disk(index.get(), index_offset(kServerIdIndex, first), block.data(),
                               block.size(), block.size()) == 0 &&
               add_block(block, &held);
  }
  if (readable) return held;
  DAEMON_LOG(kFailure, "%s cannot be read", idx_name[kServerIdIndex]);
  return {};
}

const HeldIds* find_held(const std::vector<HeldIds>& held, const std::string& server) {
  const auto found = std::find_if(held.begin(), held.end(),
                                  [&](const HeldIds& ids) { return ids.server == server; });
  return found == held.end() ? nullptr : &*found;
}

uint32_t highest_own_id() {
  const std::vector<HeldIds> held = read_held_ids();
  const HeldIds* own = local_svr != nullptr ? find_held(held, local_svr->svr_name) : nullptr;
  return own != nullptr ? own->highest() : 0;
}

}  // namespace qel::daemon
