#include "support/records.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "support/files.h"

namespace alt_test {
namespace {

constexpr int kChangedLine = 4;
constexpr int kNumberWidth = 8;
constexpr const char* kWriteTime = "2024/01/01 00:00:00.000";

size_t header_line_begin(const std::string& content, int line) {
  size_t begin = 0;
  for (int i = 0; i < line; ++i) {
    const size_t end = content.find('\n', begin);
    if (end == std::string::npos) throw std::runtime_error("header too short");
    begin = end + 1;
  }
  return begin;
}

size_t header_value_begin(const std::string& content, int line) {
  const size_t begin = header_line_begin(content, line);
  const size_t colon = content.find(':', begin);
  if (colon == std::string::npos || colon > content.find('\n', begin)) {
    throw std::runtime_error("header line without a colon");
  }
  return colon + 1;
}

std::string field_text(const char* field, size_t size) { return {field, strnlen(field, size)}; }

std::string content_of(const std::string& path) {
  auto content = read_file(path);
  if (!content) throw std::runtime_error("missing: " + path);
  return *std::move(content);
}

}  // namespace

void set_text(char* field, size_t size, const std::string& text) {
  if (text.size() >= size) throw std::runtime_error("text too long: " + text);
  std::memset(field, 0, size);
  text.copy(field, size - 1);
}

ALERT_RECORD_INFO make_record(uint32_t id, const std::string& server, const std::string& module,
                              const std::string& event, const std::string& level,
                              const std::string& server_time, const std::string& message) {
  ALERT_RECORD_INFO record;
  std::memset(&record, 0, sizeof(record));
  record.alert_id = id;
  set_text(record.szServer, server);
  set_text(record.szModType, module);
  set_text(record.szEventID, event);
  set_text(record.szLevel, level);
  set_text(record.szWriteTime, kWriteTime);
  set_text(record.szServerTime, server_time);
  set_text(record.szAlertMessage, message);
  return record;
}

ALERT_RECORD_INFO make_record(uint32_t id) {
  const uint32_t seconds = id / 1000;
  const uint32_t days = seconds / 86400;
  char time[32];
  std::snprintf(time, sizeof(time), "2024/%02u/%02u %02u:%02u:%02u.%03u", 1 + days / 28,
                1 + days % 28, seconds / 3600 % 24, seconds / 60 % 60, seconds % 60, id % 1000);
  return make_record(id, "node1", "disk", "1001", "1", time, "alert " + std::to_string(id));
}

std::string describe(const ALERT_RECORD_INFO& record) {
  std::string text = "id " + std::to_string(record.alert_id);
  text += " server '" + field_text(record.szServer, sizeof(record.szServer));
  text += "' module '" + field_text(record.szModType, sizeof(record.szModType));
  text += "' event '" + field_text(record.szEventID, sizeof(record.szEventID));
  text += "' level '" + field_text(record.szLevel, sizeof(record.szLevel));
  text += "' raised '" + field_text(record.szServerTime, sizeof(record.szServerTime));
  text += "' written '" + field_text(record.szWriteTime, sizeof(record.szWriteTime));
  text += "' message '" + field_text(record.szAlertMessage, sizeof(record.szAlertMessage)) + "'";
  return text;
}

long header_number(const std::string& content, int line) {
  return std::strtol(content.c_str() + header_value_begin(content, line), nullptr, 10);
}

LogNumbers read_log_numbers(const std::string& path) {
  const std::string content = content_of(path);
  return {static_cast<uint32_t>(header_number(content, 0)),
          static_cast<uint32_t>(header_number(content, 1)),
          static_cast<uint32_t>(header_number(content, 2)),
          static_cast<uint32_t>(header_number(content, 3)),
          static_cast<int>(header_number(content, kChangedLine)),
          static_cast<uint32_t>(header_number(content, 5))};
}

void set_log_changed(const std::string& path, int changed) {
  char number[32];
  const int length = std::snprintf(number, sizeof(number), "%*d", kNumberWidth, changed);
  if (length != kNumberWidth) throw std::runtime_error("number too wide");
  write_file_at(path, header_value_begin(content_of(path), kChangedLine), number);
}

}  // namespace alt_test
