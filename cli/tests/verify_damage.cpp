#include "verify_damage.h"

#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "alert_config.h"
#include "alert_index.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

struct Alert {
  uint32_t id;
  const char* server;
  const char* module;
  const char* event;
  const char* level;
  const char* time;
};

constexpr Alert kAlerts[kRecords] = {{1, "node1", "disk", "1001", "1", "2024/01/31 08:00:00.000"},
                                     {1, "node2", "net", "210", "2", "2024/01/31 07:00:00.000"},
                                     {2, "node1", "net", "1001", "3", "2024/01/31 09:00:00.000"},
                                     {2, "node2", "disk", "33", "1", "2024/01/31 10:00:00.000"},
                                     {3, "node1", "fan", "210", "2", "2024/01/31 11:00:00.000"},
                                     {10, "node2", "disk", "1001", "3", "2024/01/31 12:00:00.000"}};

std::string filled(const std::string& text, size_t width) {
  return text + std::string(width - text.size(), ' ');
}

std::string picture_of(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw std::runtime_error("stat " + path.string());
  std::string picture = std::to_string(status.st_mode);
  for (const timespec& time : {status.st_mtim, status.st_ctim}) {
    picture += " " + std::to_string(time.tv_sec) + "." + std::to_string(time.tv_nsec);
  }
  return S_ISREG(status.st_mode) ? picture + "\n" + alt_test::read_file(path).value() : picture;
}

}  // namespace

std::string StoreBytes::read(const std::string& file) const {
  return alt_test::read_file(cluster_.store_path(file)).value();
}

void StoreBytes::replace(const std::string& file, const std::string& content) const {
  alt_test::write_file(cluster_.store_path(file), content);
}

void StoreBytes::put(const std::string& file, size_t offset, const std::string& bytes) const {
  alt_test::write_file_at(cluster_.store_path(file), offset, bytes);
}

void StoreBytes::insert(const std::string& file, size_t offset, const std::string& bytes) const {
  replace(file, read(file).insert(offset, bytes));
}

void StoreBytes::cut(const std::string& file, size_t size) const {
  std::filesystem::resize_file(cluster_.store_path(file), size);
}

void StoreBytes::append(const std::string& file, const std::string& bytes) const {
  replace(file, read(file) + bytes);
}

void StoreBytes::put_number(int line, int number) const {
  const std::string log = read(kLog);
  size_t end = log.find('\n');
  for (int i = 0; i < line; ++i) end = log.find('\n', end + 1);
  char text[16];
  std::snprintf(text, sizeof text, "%8d", number);
  put(kLog, end - 8, text);
}

void StoreBytes::put_column(size_t record, const Column& column, const std::string& text) const {
  put(kLog, in_record(record, column.begin).byte, filled(text, column.width));
}

void StoreBytes::swap_entries(int idxtype, size_t left, size_t right) const {
  const std::string file = idx_name[idxtype];
  const std::string content = read(file);
  const size_t size = index_record_size(idxtype);
  const size_t at_left = in_entry(idxtype, left).byte;
  const size_t at_right = in_entry(idxtype, right).byte;
  put(file, at_left, content.substr(at_right, size));
  put(file, at_right, content.substr(at_left, size));
}

Place in_record(size_t record, size_t offset) {
  return {kLogHeaderLines + 1 + record, kLogHeader + record * kRecordLine + offset};
}

Place in_entry(int idxtype, size_t entry, size_t offset) {
  return {3 + entry, kIndexHeader + entry * index_record_size(idxtype) + offset};
}

std::ostream& operator<<(std::ostream& out, const DamageCase& test) { return out << test.name; }

void DamagedStore::SetUp() {
  alt_max_count = GetParam().capacity;
  for (const auto& [id, server, module, event, level, time] : kAlerts) {
    ALERT_RECORD_INFO alert = alt_test::make_record(id, server, module, event, level, time,
                                                    "alert of " + std::string(time));
    cluster_.store_alert(alert);
  }
}

std::string name_of_damage(const ::testing::TestParamInfo<DamageCase>& test) {
  return test.param.name;
}

std::map<std::string, std::string> picture_of(const TempCluster& cluster) {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> picture;
  for (const char* part : {"/log", "/cmd", "/diag", "/config"}) {
    const fs::path directory = cluster.root() + part;
    picture[directory] = picture_of(directory);
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      picture[entry.path()] = picture_of(entry.path());
    }
  }
  return picture;
}

}  // namespace qel::cli::testing
