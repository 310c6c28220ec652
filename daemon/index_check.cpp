#include "index_check.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdio>

#include "alert_index/layout.h"
#include "alert_log.h"
#include "common/paths.h"
#include "log.h"
#include "log_header.h"
#include "unique_fd.h"

namespace qel::daemon {

namespace {

// Whether an index, if it exists, holds `count` entries and nothing else.
bool index_fits(int idxtype, uint32_t count) {
  const UniqueFd index(open(store_path(idx_name[idxtype]).text, O_RDONLY | O_CLOEXEC));
  if (!index) return true;
  struct stat status;
  INDEX_HEADER header = {};
  return fstat(index.get(), &status) == 0 &&
         status.st_size == index_offset(idxtype, static_cast<int>(count)) &&
         read_index_header(index.get(), &header) == 0 && header.nCurCount == count;
}

Held ask_index(const ALERT_RECORD_INFO& record) {
  const int duplicate = check_dup_alert(reinterpret_cast<const char*>(&record));
  if (duplicate == 1) return Held::kYes;
  if (duplicate != 0) return Held::kUnknown;
  const auto header = read_log_header();
  const bool whole = header && index_fits(kServerIdIndex, header->nCurCount);
  return whole ? Held::kNo : Held::kUnknown;
}

}  // namespace

void mend_indexes() {
  const auto header = read_log_header();
  if (!header) return;
  bool fit = true;
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    fit = fit && index_fits(type, header->nCurCount);
  }
  if (fit) return;
  DAEMON_LOG(kNotable, "the indexes do not fit the alert log and are built again");
  if (recreate_index_files() != 0) DAEMON_LOG(kFailure, "the indexes could not be built");
}

Held look_up(const ALERT_RECORD_INFO& record) {
  static clock_t next_try = 0;  // of the process, as the store is
  const Held held = ask_index(record);
  if (held != Held::kUnknown || QEL_TIMES(nullptr) < next_try) return held;
  next_try = QEL_TIMES(nullptr) + tckconf;
  remove(store_path(idx_name[kServerIdIndex]).text);  // also one that cannot be read
  mend_indexes();
  return ask_index(record);
}

}  // namespace qel::daemon
