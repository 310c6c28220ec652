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
#include "alert_index/index_update.h"
#include "alert_index/layout.h"
#include "alert_lock/semaphore_lock.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/steps.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kServerIdIndex;
using qel::kTimeIndex;
using qel::Path;

namespace {

enum class Outcome {
  kUpdated,  // the new entry stands, the changed bit can be cleared
  kBuilt,    // the open has just built it from the log, the new record included
  kDamaged   // to be deleted
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

Outcome bring_up_to_date(int type, const qel::Change& change, const char* semfile,
                         int* first_line) {
  qel::LogHeader unused;
  const Descriptor index(qel::open_store_file(idx_name[type], O_RDWR, &unused));
  if (!index.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[type]);
    return Outcome::kDamaged;
  }
  if (index_create[type] == 1) {
    return clear_created_flag(type, semfile) == 0 ? Outcome::kBuilt : Outcome::kDamaged;
  }
  const int result = qel::update_index(index.get(), type, change, first_line);
  return result == 0 ? Outcome::kUpdated : Outcome::kDamaged;
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

// A log that does not fit its header is found here, by opening it again, before any index follows.
bool ready_for_upkeep(int log_fd) {
  if (log_fd != -1 && qel::fits_header(log_fd)) return true;
  const Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file(%s) failed", alt_name_only);
    return false;
  }
  if (mkdir_path(alt_cmd_path) == 0) return true;
  ALERT_LOG(kFailure, "call mkdir_path(%s) failed", alt_cmd_path);
  return false;
}

}  // namespace

int index_create[ALERT_INDEX_COUNT];

int modify_index_file(int line, LPALERT_RECORD_INFO paltrecd, ALERT_RECORD_INFO oldalt) {
  ALERT_TRACE_FUNCTION();
  const qel::Upkeep upkeep = qel::update_all_indexes(-1, {line, *paltrecd, oldalt});
  if (upkeep.updated == 0) return upkeep.result;
  const Descriptor log(open_file(alt_name_only, O_RDWR));
  if (log.valid()) qel::clear_changed_bits(log.get(), upkeep.updated);
  return upkeep.result;
}

qel::Upkeep qel::update_all_indexes(int log_fd, const Change& change) {
  Upkeep upkeep = {-1, 0, -1};
  if (!ready_for_upkeep(log_fd)) return upkeep;
  const Path semfile = semaphore_path(kSemaphoreIndex);
  memset(index_create, 0, sizeof index_create);
  upkeep.result = 0;
  int oldest_line = -1;
  for (int type = kTimeIndex; type < ALERT_INDEX_COUNT && upkeep.result == 0; ++type) {
    const Outcome outcome = bring_up_to_date(type, change, semfile.text, &oldest_line);
    if (outcome == Outcome::kUpdated) upkeep.updated |= 1 << type;
    if (outcome == Outcome::kDamaged) upkeep.result = delete_damaged(type);
  }
  // A damaged index may have taken "time.idx" with it.
  if (upkeep.updated == kAllIndexes) upkeep.oldest_line = oldest_line;
  return upkeep;
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
