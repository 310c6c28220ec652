// The operations of a random series.
#include <algorithm>
#include <cstring>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_log.h"
#include "random_series.h"
#include "support/files.h"
#include "support/records.h"

namespace alt_test {
namespace {

using alt_model::Criteria;
using alt_model::Page;
using alt_model::Record;
using alt_model::StoreModel;

constexpr const char* kFromCache = "alert file  not changed";
constexpr int kNotableEvents = 4;
constexpr size_t kAskAgain = 3;

std::string result_words(int result) { return "result " + std::to_string(result); }

// What a failed query leaves in its outputs says nothing.
std::string page_words(const Page& page) {
  std::string words = result_words(page.result);
  if (page.from_cache) words += ", from the kept result";
  if (page.result < 0) return words;
  words += ", size " + std::to_string(page.size) + ", page " + std::to_string(page.page);
  for (const Record& record : page.records) words += "\n    " + describe(record);
  return words;
}

ALERT_SEARCH_INFO search_info(const Criteria& criteria) {
  ALERT_SEARCH_INFO info;
  std::memset(&info, 0, sizeof(info));
  set_text(info.startTime, criteria.start);
  set_text(info.stopTime, criteria.stop);
  set_text(info.szLevel, criteria.level);
  set_text(info.szServer, criteria.server);
  set_text(info.szModule, criteria.module);
  set_text(info.szEventId, criteria.event);
  set_text(info.szSort, criteria.sort);
  return info;
}

std::string criteria_words(const Criteria& c) {
  return "start '" + c.start + "' stop '" + c.stop + "' server '" + c.server + "' module '" +
         c.module + "' event '" + c.event + "' level '" + c.level + "' sort '" + c.sort + "'";
}

// Room for the records of a query. What the library does not write stays recognisable, also the
// record behind the last.
class Records {
 public:
  explicit Records(int count) : bytes_((static_cast<size_t>(count) + 1) * kSize, kUntouched) {}

  LPALERT_RECORD_INFO get() { return reinterpret_cast<LPALERT_RECORD_INFO>(bytes_.data()); }

  std::vector<Record> first(int count) const {
    std::vector<Record> records;
    records.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
      records.push_back(
          alt_model::record_of_image(bytes_.substr(static_cast<size_t>(i) * kSize, kSize)));
    }
    return records;
  }

  std::string overrun() const {
    const bool untouched =
        bytes_.find_first_not_of(kUntouched, bytes_.size() - kSize) == std::string::npos;
    return untouched ? "" : ", wrote behind the last record";
  }

 private:
  static constexpr size_t kSize = ALERT_RECORD_SIZE;
  static constexpr char kUntouched = '\xee';

  std::string bytes_;
};

}  // namespace

const std::vector<Series::Operation>& Series::operations() {
  static const std::vector<Operation> all = {
      {"store", 60, false, &Series::store_record},
      {"store an unstorable record", 3, false, &Series::store_unstorable},
      {"search", 10, false, &Series::search},
      {"last", 4, false, &Series::get_last},
      {"by count", 5, false, &Series::get_by_count},
      {"is update", 4, false, &Series::ask_update},
      {"duplicate", 4, false, &Series::ask_duplicate},
      {"next to write", 1, false, &Series::ask_next_to_write},
      {"file size", 1, false, &Series::ask_file_size},
      {"check indexes", 2, false, &Series::check_indexes},
      {"recreate indexes", 1, false, &Series::recreate_indexes},
      {"resize", 2, false, &Series::resize},
      {"remove index", 2, true, &Series::remove_index},
      {"break index", 3, true, &Series::break_index},
      {"bring back index", 1, true, &Series::bring_back_index},
      {"set change mask", 1, true, &Series::set_change_mask},
      {"break log", 1, true, &Series::break_log},
      {"remove log", 1, true, &Series::remove_log},
      {"leave resize file", 1, true, &Series::leave_resize_file},
  };
  return all;
}

// ---- storing ----------------------------------------------------------------------------------

void Series::store_record() { store(workload_.record()); }
void Series::store_unstorable() { store(workload_.unstorable_record()); }

void Series::store(const Record& record) {
  const bool own = record.server == kLocalServer;
  const int islocal = random_.chance(95) ? static_cast<int>(own) : random_.between(0, 2);
  const size_t length = random_.chance(98) ? ALERT_RECORD_SIZE : ALERT_RECORD_SIZE - 1;
  const std::string image = alt_model::image_of_record(record);
  step(
      "store (local " + std::to_string(islocal) + ", " + std::to_string(length) + " bytes) " +
          describe(record),
      [&](StoreModel& model) { return result_words(model.store(image, length, islocal)); },
      [&] { return result_words(udp_write_disk(image.data(), length, islocal)); });
}

// A capacity that the log shall have from now on. A full log never gets the one that it has
// already: no later write would succeed.
void Series::resize() {
  model_.process.daemon = true;
  const int size =
      random_.chance(5) ? random_.between(-1, 0) : random_.between(1, 2 * style_.capacity);
  const auto log = model_.disk.open(alt_model::kLogName);
  const auto header = log == nullptr ? std::nullopt : alt_model::parse_header(log);
  if (header && static_cast<uint32_t>(size) == header->max_count && random_.chance(90)) return;
  step(
      "resize to " + std::to_string(size),
      [&](StoreModel& model) {
        if (size > 0) model.process.max_count = size;
        return result_words(model.adjust(size));
      },
      [&] { return result_words(adjust_alert_record(size)); });
}

// ---- queries ----------------------------------------------------------------------------------

int Series::random_page_size() {
  return random_.chance(70) ? random_.between(1, 5) : random_.between(1, 60);
}

// Some searches in a row, often ones of before: the next page comes from the kept result, unless
// something has come between.
void Series::search() {
  const int count = random_.between(1, 3);
  for (int i = 0; i < count && !apart_; ++i) {
    if (random_.chance(50)) asked_.push_back(workload_.criteria());
    if (asked_.size() > kAskAgain) asked_.erase(asked_.begin());
    const Criteria criteria = random_.pick(asked_);
    search_with(criteria, random_page_size(), random_.between(0, 4));
  }
}

void Series::search_with(const Criteria& criteria, int size, int page) {
  step(
      "search " + criteria_words(criteria) + " size " + std::to_string(size) + " page " +
          std::to_string(page),
      [&](StoreModel& model) { return page_words(model.search(criteria, size, page)); },
      [&] {
        Records records(size);
        Page answer{0, size, page, false, {}};
        answer.result =
            alert_search(search_info(criteria), &answer.size, &answer.page, records.get());
        answer.from_cache = log_.has(kNotableEvents, kFromCache);
        if (answer.result > 0) answer.records = records.first(std::min(answer.size, size));
        return page_words(answer) + records.overrun();
      });
}

void Series::get_last() {
  const int count = random_.between(0, 2 * style_.capacity);
  step(
      "last " + std::to_string(count),
      [&](StoreModel& model) { return page_words(model.last(count)); },
      [&] {
        Records records(count);
        Page answer;
        answer.result = alert_get_last(records.get(), count);
        if (answer.result > 0) answer.records = records.first(std::min(answer.result, count));
        return page_words(answer) + records.overrun();
      });
}

void Series::get_by_count() {
  const int total = random_.between(1, 2 * style_.capacity);
  const int size = random_page_size();
  const int page = random_.between(0, 4);
  step(
      "by count " + std::to_string(total) + " size " + std::to_string(size) + " page " +
          std::to_string(page),
      [&](StoreModel& model) { return page_words(model.by_count(total, size, page)); },
      [&] {
        Records records(size);
        Page answer{0, size, page, false, {}};
        answer.result = get_alert_by_count(total, &answer.size, &answer.page, records.get());
        if (answer.result > 0) answer.records = records.first(std::min(answer.size, size));
        return page_words(answer) + records.overrun();
      });
}

void Series::ask_update() {
  step(
      "is update", [](StoreModel& model) { return result_words(model.check_is_update()); },
      [] { return result_words(check_is_update()); });
}

void Series::ask_duplicate() {
  const std::string image = alt_model::image_of_record(workload_.record());
  step(
      "duplicate " + describe(alt_model::record_of_image(image)),
      [&](StoreModel& model) { return result_words(model.check_duplicate(image)); },
      [&] { return result_words(check_dup_alert(image.data())); });
}

void Series::ask_next_to_write() {
  step(
      "next to write", [](StoreModel& model) { return result_words(model.next_to_write()); },
      [] { return result_words(get_nextto_write()); });
}

void Series::ask_file_size() {
  step(
      "file size", [](StoreModel& model) { return result_words(model.check_file_size()); },
      [] { return result_words(check_file_size()); });
}

void Series::check_indexes() {
  step(
      "check indexes",
      [](StoreModel& model) { return result_words(model.check_index_file_status()); },
      [] { return result_words(check_index_file_status()); });
}

void Series::recreate_indexes() {
  step(
      "recreate indexes",
      [](StoreModel& model) { return result_words(model.recreate_index_files()); },
      [] { return result_words(recreate_index_files()); });
}

// ---- damage -----------------------------------------------------------------------------------

void Series::remove_index() {
  const std::string name = alt_model::kIndexNames[random_.below(alt_model::kIndexCount)];
  note("remove " + name);
  remove_file(directory_.path(name));
  model_.disk.remove(name);
}

void Series::break_index() {
  const int index = random_.between(0, alt_model::kIndexCount - 1);
  const std::string name = alt_model::kIndexNames[index];
  const auto file = model_.disk.open(name);
  if (file == nullptr || file->size() < alt_model::kIndexHeader) return;
  if (random_.chance(30)) old_indexes_[name] = *file;
  const Damage damage = damage_index(&random_, *file, index);
  note(name + ": " + damage.words);
  put_file(name, damage.content);
}

// As after a restored backup.
void Series::bring_back_index() {
  if (old_indexes_.empty()) return;
  const auto& [name, content] = *old_indexes_.begin();
  note("bring back " + name);
  put_file(name, content);
  old_indexes_.erase(old_indexes_.begin());
}

void Series::set_change_mask() {
  const std::string path = directory_.path(alt_model::kLogName);
  const auto log = model_.disk.open(alt_model::kLogName);
  if (log == nullptr || !alt_model::parse_header(log)) return;
  const int mask = static_cast<int>(random_.below(256));
  note("change mask " + std::to_string(mask));
  set_log_changed(path, mask);
  *log = *read_file(path);
}

void Series::break_log() {
  const auto log = model_.disk.open(alt_model::kLogName);
  if (log == nullptr) return;
  const Damage damage = damage_log(&random_, *log, model_.process.max_count);
  note(damage.words);
  put_file(alt_model::kLogName, damage.content);
}

void Series::remove_log() {
  if (!random_.chance(30)) return;
  note("remove the log");
  remove_file(directory_.path(alt_model::kLogName));
  model_.disk.remove(alt_model::kLogName);
}

// What a resize that was killed leaves behind; the next one writes over it without cutting it.
void Series::leave_resize_file() {
  note("leave a resize file");
  const size_t size = random_.below(3000);
  put_file(alt_model::kResizeName, std::string(size, random_.chance(50) ? '\n' : 'r'));
}

}  // namespace alt_test
