#include "verify/examine.h"

#include <chrono>
#include <thread>
#include <utility>

#include "alert_index.h"
#include "verify/index_check.h"
#include "verify/log_check.h"

namespace qel::cli {
namespace {

// An index is built outside of the store's lock, mostly because it was missing: what stands there
// half made for a moment is no damage. So a store is damaged when two looks at it, one after the
// other, find the same.
constexpr std::chrono::milliseconds kPause{200};
constexpr int kLooksMax = 5;

// The log's header tells which indexes are behind the log; a store or a search builds them again.
FileReport examine_index(const StorePlace& place, int idxtype, std::string_view index,
                         const CheckedLog& log, Report* report) {
  FileReport file = {place.index_path(idxtype), check_index(idxtype, index, log)};
  const bool behind = (log.header.numbers.isChanged & (1 << idxtype)) != 0;
  if (behind && !file.findings.empty()) {
    file.findings.clear();
    report->notes.push_back(file.path +
                            " is behind the log, whose header tells so: it is built again at the "
                            "next store or search");
  }
  return file;
}

// Nothing is missing from the indexes of an empty log.
void note_missing(const StorePlace& place, const std::string& missing, const CheckedLog& log,
                  Report* report) {
  const bool empty = log.header.readable && log.header.numbers.nCurCount == 0;
  if (missing.empty() || empty) return;
  report->notes.push_back(place.directory + " has no" + missing +
                          ": an index is built at its next use");
}

void examine_indexes(const StorePlace& place, const StoreCopy& copy, const CheckedLog& log,
                     Report* report) {
  std::string missing;
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    const auto& index = copy.indexes[type];
    if (index) {
      report->files.push_back(examine_index(place, type, *index, log, report));
      report->examined.push_back(place.index_path(type) + ": " + std::to_string(index->size()) +
                                 " bytes");
    } else {
      missing += std::string(missing.empty() ? " " : ", ") + idx_name[type];
    }
  }
  note_missing(place, missing, log, report);
}

Report look(const StorePlace& place) {
  const StoreCopy copy = copy_store(place);
  Report report;
  if (!copy.lock_fault.empty()) report.examined.push_back(copy.lock_fault);
  FileReport log_file = {place.log_path(), {}};
  const CheckedLog log = check_log(copy.log, place.local_server, &log_file.findings);
  report.examined.push_back(log_file.path + ": " + std::to_string(copy.log.size()) + " bytes, " +
                            std::to_string(log.records.size()) + " of " +
                            std::to_string(log.header.numbers.nMaxCount) + " records");
  report.files.push_back(std::move(log_file));
  examine_indexes(place, copy, log, &report);
  return report;
}

}  // namespace

Report examine_store(const StorePlace& place) {
  Report report = look(place);
  for (int looks = 1; !report.sound() && looks < kLooksMax; ++looks) {
    std::this_thread::sleep_for(kPause);
    Report again = look(place);
    const bool same = again.files == report.files;
    report = std::move(again);
    if (same) break;
  }
  return report;
}

}  // namespace qel::cli
