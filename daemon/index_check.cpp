#include "index_check.h"

#include <fcntl.h>
#include <sys/stat.h>

#include "alert_index/layout.h"
#include "alert_log.h"
#include "common/paths.h"
#include "log.h"
#include "log_header.h"
#include "recovery.h"
#include "unique_fd.h"

namespace qel::daemon {

namespace {

// Whether an index holds `count` entries and nothing else.
bool index_fits(int idxtype, uint32_t count) {
  const UniqueFd index(open(store_path(idx_name[idxtype]).text, O_RDONLY | O_CLOEXEC));
  struct stat status;
  INDEX_HEADER header = {};
  return index && fstat(index.get(), &status) == 0 &&
         status.st_size == index_offset(idxtype, static_cast<int>(count)) &&
         read_index_header(index.get(), &header) == 0 && header.nCurCount == count;
}

bool all_fit() {
  const auto header = read_log_header();
  if (!header) return false;
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    if (!index_fits(type, header->nCurCount)) return false;
  }
  return true;
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

bool mend_indexes() {
  if (all_fit()) return true;
  DAEMON_LOG(kNotable, "the indexes do not fit the alert log and are built again");
  if (recreate_index_files() == 0 && all_fit()) return true;
  DAEMON_LOG(kFailure, "the indexes could not be built");
  return false;
}

void IndexCheck::store_failed() {
  cut_surplus_line();
  doubt();
}

bool IndexCheck::settle() {
  if (in_doubt_) in_doubt_ = !all_fit() && !try_to_mend();
  return !in_doubt_;
}

bool IndexCheck::try_to_mend() {
  const clock_t now = QEL_TIMES(nullptr);
  const bool reads_all = read_log_header().has_value();  // without a log there is nothing to read
  if (reads_all && now < next_try_) return false;
  if (reads_all) next_try_ = now + tckconf;
  return mend_indexes();
}

Held IndexCheck::look_up(const ALERT_RECORD_INFO& record) {
  const Held held = ask_index(record);
  if (held == Held::kUnknown) doubt();
  if (held == Held::kYes || !in_doubt_) return held;
  return settle() ? ask_index(record) : Held::kUnknown;
}

}  // namespace qel::daemon
