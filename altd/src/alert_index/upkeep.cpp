// Keeping the indexes in step with each record written.
//
// Only one process writes records, so no lock spans the update of an index. Each index is brought
// up to date by itself: what goes wrong with one deletes it, to be built again by its next open,
// and never stops the others.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "alert_index.h"
#include "alert_index/find.h"
#include "alert_index/rewrite.h"
#include "alert_lock/semaphore_lock.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::Descriptor;
using qel::IndexReader;
using qel::kFailure;
using qel::kServerIdIndex;
using qel::kTimeIndex;
using qel::Path;
using qel::Probe;

namespace {

enum class Outcome {
  kUpdated,  // the new entry stands, the changed bit can be cleared
  kBuilt,    // the open has just built it from the log, the new record included
  kDamaged   // to be deleted
};

// A record that was just written, and the one that its line held before.
struct Change {
  int line;
  LPALERT_RECORD_INFO alert;
  const ALERT_RECORD_INFO& overwritten;
};

int clear_created_flag(int type, const char* semfile) {
  const int id = get_semaphore(semfile);
  if (id == -1) {
    ALERT_LOG(kFailure, "get_smaphore(%s) failed", semfile);
    return -1;
  }
  if (lock_semaphore(id) != 0) {
    ALERT_LOG(kFailure, "lock semaphore failed");
    return -1;
  }
  index_create[type] = 0;
  if (unlock_semaphore(id) != 0) {
    ALERT_LOG(kFailure, "unlock semaphore failed");
    return -1;
  }
  return 0;
}

int move_entries(int fd, int type, int start, int end, int direction) {
  if (move_index_record(fd, type, start, end, direction) >= 0) return 0;
  ALERT_LOG(kFailure, "move index record failed");
  return -1;
}

// Where a new entry goes and where the entry is that it replaces; both found before either moves.
struct Places {
  int location;
  int overwritten;  // only in a full index
};

int find_id_location(IndexReader& index, int count, const Change& change) {
  const Probe probe = find_alert_id(index, count, *change.alert);
  if (probe.result < 0) return qel::log_unread_id(probe.mid, probe.result);
  return probe.found ? probe.mid : probe.high + 1;
}

// As search_index_write_location, for an index whose header has just been read.
int find_key_location(IndexReader& index, int count, const Change& change) {
  if (count <= 0) return 0;
  qel::Ends ends;
  const int result = read_ends(index, count, &ends);
  if (result < 0) return result;
  const char* key = qel::key_of(*change.alert, index.type());
  if (index.type() == kTimeIndex) return find_time_location(index, count, ends, key);
  const Probe probe = find_key_line(index, count, key, change.line);
  if (probe.result < 0) {
    qel::log_unread(probe.mid, -1);
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
    qel::log_unread_id(probe.mid, -1);
  } else {
    ALERT_LOG(kFailure, "specified index record  not found in index file:%s",
              idx_name[kServerIdIndex]);
    ALERT_LOG(kFailure, "altinfo:alert_id = %d,szServer = %s,szServerTime = %s",
              static_cast<int>(alert.alert_id), alert.szServer, alert.szServerTime);
  }
  ALERT_LOG(kFailure, "call search_special_alt_id_record failed ,line = %d", change.line);
  return -1;
}

// 0, or -1 (logged).
int find_places(int fd, int type, int count, bool full, const Change& change, Places* places) {
  IndexReader index(fd, type);
  const bool by_id = type == kServerIdIndex;
  places->location =
      by_id ? find_id_location(index, count, change) : find_key_location(index, count, change);
  if (places->location < 0) {
    ALERT_LOG(kFailure, "search index(%s) location failed", idx_name[type]);
    return -1;
  }
  if (!full) return 0;
  if (by_id) {
    places->overwritten = find_overwritten_id(index, count, change);
  } else {
    places->overwritten = find_overwritten(index, count, change.overwritten, change.line);
    if (places->overwritten < 0) ALERT_LOG(kFailure, "call search_special_record failed");
  }
  return places->overwritten < 0 ? -1 : 0;
}

// Opens a gap at `location` and counts the new entry.
int make_room(int fd, int type, INDEX_HEADER* header, int location) {
  const int count = static_cast<int>(header->nCurCount);
  if (location < count && move_entries(fd, type, location, count - 1, 1) != 0) return -1;
  ++header->nCurCount;
  if (write_index_header(fd, *header, 1) != 0) {
    ALERT_LOG(kFailure, "write index file(%s) header failed", idx_name[type]);
    return -1;
  }
  return 0;
}

// Closes the gap of the overwritten entry and leaves one at places->location, which was found while
// that entry still stood.
int replace_overwritten(int fd, int type, Places* places) {
  const int old = places->overwritten;
  if (places->location < old) return move_entries(fd, type, places->location, old - 1, 1);
  if (places->location == old) return 0;
  --places->location;
  return places->location > old ? move_entries(fd, type, old, places->location, 0) : 0;
}

int write_entry(int fd, int type, int location, const Change& change) {
  INDEX_RECORD_INFO entry = {};
  entry.nLine = static_cast<unsigned>(change.line);
  entry.alert_id = change.alert->alert_id;
  snprintf(entry.szKeyVal, sizeof entry.szKeyVal, "%s", qel::key_of(*change.alert, type));
  const int result = type == kServerIdIndex ? write_index_srv_id_record(fd, location, entry)
                                            : write_index_record(fd, location, entry);
  if (result != 0) ALERT_LOG(kFailure, "write index record(No. %d) failed", location);
  return result;
}

Outcome update_index(int type, const Change& change, const char* semfile) {
  const Descriptor index(open_file(idx_name[type], O_RDWR));
  if (!index.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[type]);
    return Outcome::kDamaged;
  }
  if (index_create[type] == 1) {
    return clear_created_flag(type, semfile) == 0 ? Outcome::kBuilt : Outcome::kDamaged;
  }
  INDEX_HEADER header = {};
  if (read_index_header(index.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read index file(%s) header failed", idx_name[type]);
    return Outcome::kDamaged;
  }
  const int fd = index.get();
  const bool full = header.nCurCount == static_cast<unsigned>(alt_max_count);
  Places places = {};
  if (find_places(fd, type, static_cast<int>(header.nCurCount), full, change, &places) != 0) {
    return Outcome::kDamaged;
  }
  const int room =
      full ? replace_overwritten(fd, type, &places) : make_room(fd, type, &header, places.location);
  if (room != 0 || write_entry(fd, type, places.location, change) != 0) return Outcome::kDamaged;
  const bool just_filled = !full && header.nCurCount == static_cast<unsigned>(alt_max_count);
  if (just_filled && qel::rewrite_in_one_piece(fd) != 0) return Outcome::kDamaged;
  return Outcome::kUpdated;
}

// Clears the bits of the indexes that were updated, all in one write of the header. A crash before
// it has all of them built again.
void clear_changed_bits(int log_fd, int updated) {
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log_fd, &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return;
  }
  header.isChanged &= ~updated;
  if (write_alert_header(log_fd, header, 1) != 0) {
    ALERT_LOG(kFailure, "write alert file header failed");
  }
}

int delete_damaged(int type) {
  ALERT_LOG(kFailure, "Because the index file [%s] is error,will recreate the index file ...!",
            idx_name[type]);
  const Path path = qel::store_path(idx_name[type]);
  if (remove(path.text) != 0 && errno != ENOENT) {
    ALERT_LOG(kFailure, "remove alert index file(%s) failed", path.text);
    return -1;
  }
  return 0;
}

}  // namespace

int index_create[ALERT_INDEX_COUNT];

int modify_index_file(int line, LPALERT_RECORD_INFO paltrecd, ALERT_RECORD_INFO oldalt) {
  ALERT_TRACE_FUNCTION();
  const Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file(%s) failed", alt_name_only);
    return -1;
  }
  if (mkdir_path(alt_cmd_path) != 0) {
    ALERT_LOG(kFailure, "call mkdir_path(%s) failed", alt_cmd_path);
    return -1;
  }
  const Path semfile = qel::semaphore_path(qel::kSemaphoreIndex);
  memset(index_create, 0, sizeof index_create);
  const Change change = {line, paltrecd, oldalt};
  int updated = 0;  // a bit for each index type
  int result = 0;
  for (int type = kTimeIndex; type < ALERT_INDEX_COUNT && result == 0; ++type) {
    const Outcome outcome = update_index(type, change, semfile.text);
    if (outcome == Outcome::kUpdated) updated |= 1 << type;
    if (outcome == Outcome::kDamaged) result = delete_damaged(type);
  }
  if (updated != 0) clear_changed_bits(log.get(), updated);
  return result;
}

int check_dup_alert(const char* buf) {
  ALERT_TRACE_FUNCTION();
  if (buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  ALERT_RECORD_INFO alert;
  memcpy(&alert, buf, sizeof alert);
  alert.szServer[sizeof alert.szServer - 1] = '\0';
  const qel::StoreGuard guard;
  const Descriptor index(open_file(idx_name[kServerIdIndex], O_RDONLY));
  if (!index.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[kServerIdIndex]);
    return -1;
  }
  int position;
  if (search_special_alt_id_record(index.get(), 1, alert, &position) < 0) {
    ALERT_LOG(kFailure, "search_special_alt_id_record failed");
    return -1;
  }
  const int duplicated = position >= 0 ? 1 : 0;
  ALERT_LOG(qel::kDetail,
            "check duplicate finished, duplicate = %d[0-not duplicated, 1-duplicated]", duplicated);
  return duplicated;
}
