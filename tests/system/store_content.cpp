#include "store_content.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <numeric>
#include <stdexcept>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_index/layout.h"
#include "alert_log/layout.h"
#include "raising.h"
#include "support/files.h"
#include "support/process.h"

namespace qel::system_test {
namespace {

namespace fs = std::filesystem;

std::string content_of(const std::string& path) {
  const auto content = alt_test::read_file(path);
  if (!content) throw std::runtime_error("missing: " + path);
  return *content;
}

std::vector<std::string> entries_of(const std::string& index_path, size_t size) {
  const std::string content = content_of(index_path);
  std::vector<std::string> entries;
  for (size_t at = kIndexHeader; at < content.size(); at += size) {
    entries.push_back(content.substr(at, size));
  }
  return entries;
}

std::string key_column(const std::string& entry) { return entry.substr(0, kKeyWidth); }

// The same content with alerts of the same time in the order of their lines.
std::string with_ordered_times(const std::string& index_path) {
  std::vector<std::string> entries = entries_of(index_path, kShortRecord);
  std::string content = content_of(index_path).substr(0, kIndexHeader);
  for (auto first = entries.begin(); first != entries.end();) {
    const auto last = std::find_if(first, entries.end(), [&](const std::string& entry) {
      return key_column(entry) != key_column(*first);
    });
    std::sort(first, last);
    first = last;
  }
  for (const std::string& entry : entries) content += entry;
  return content;
}

int build_indexes(const std::string& directory) {
  strncpy(alt_path_only, directory.c_str(), sizeof alt_path_only - 1);
  return recreate_index_files() == 0 ? 0 : 2;
}

}  // namespace

std::vector<ALERT_RECORD_INFO> read_log(const std::string& path) {
  const std::string content = content_of(path);
  const size_t header = content.find("\n\n") + 2;
  const uint32_t count = alt_test::read_log_numbers(path).count;
  if (content.size() != header + count * kRecordLine) throw std::runtime_error("log of wrong size");
  std::vector<ALERT_RECORD_INFO> alerts(count);
  for (uint32_t line = 0; line < count; ++line) {
    if (!parse_record(content.data() + header + line * kRecordLine, &alerts[line])) {
      throw std::runtime_error("line " + std::to_string(line) + " cannot be cut");
    }
  }
  return alerts;
}

std::vector<uint32_t> ids_of(const std::vector<ALERT_RECORD_INFO>& alerts) {
  std::vector<uint32_t> ids;
  for (const ALERT_RECORD_INFO& alert : alerts) ids.push_back(alert.alert_id);
  return ids;
}

std::vector<uint32_t> sorted(std::vector<uint32_t> numbers) {
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

std::vector<uint32_t> numbers_of(const std::vector<ALERT_RECORD_INFO>& alerts) {
  std::vector<uint32_t> numbers;
  for (const ALERT_RECORD_INFO& alert : alerts) numbers.push_back(number_of(alert.szAlertMessage));
  return numbers;
}

std::vector<uint32_t> counting(uint32_t first, uint32_t last) {
  std::vector<uint32_t> numbers(last - first + 1);
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

std::vector<std::string> keys_of(const std::string& index_path) {
  const bool by_id = index_path.ends_with(idx_name[kServerIdIndex]);
  std::vector<std::string> keys;
  for (const std::string& entry : entries_of(index_path, by_id ? kLongRecord : kShortRecord)) {
    keys.push_back(entry.substr(0, text_end(entry.data(), kKeyWidth)));
  }
  return keys;
}

std::string index_difference(const std::string& root) {
  const std::string fresh = root + "/fresh/";
  fs::remove_all(fresh);
  fs::create_directory(fresh);
  fs::copy_file(root + "/store/alertlog.alt", fresh + "alertlog.alt");
  const int built =
      alt_test::in_process([&] { return as_program([&] { return build_indexes(fresh); }); });
  if (built != 0) return "the indexes cannot be built: " + std::to_string(built);
  for (int type = kTimeIndex; type < ALERT_INDEX_COUNT; ++type) {
    const std::string kept = root + "/store/" + idx_name[type];
    if (!alt_test::file_exists(kept)) return std::string(idx_name[type]) + " is missing";
    const auto content = type == kTimeIndex ? with_ordered_times : content_of;
    const std::string difference =
        alt_test::first_difference(content(kept), content(fresh + idx_name[type]));
    if (!difference.empty()) return std::string(idx_name[type]) + " differs " + difference;
  }
  return "";
}

}  // namespace qel::system_test
