#include "support/store_bytes.h"

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <stdexcept>

#include "alert_log.h"
#include "support/files.h"
#include "support/records.h"

namespace alt_test {
namespace {

std::string content_of(const std::string& path) {
  auto content = read_file(path);
  if (!content) throw std::runtime_error("missing: " + path);
  return *std::move(content);
}

}  // namespace

Opened::Opened(const std::string& path) : Opened(path, O_RDWR) {}

Opened::Opened(const std::string& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC)) {
  if (fd_ < 0) throw std::runtime_error("cannot open " + path);
}

Opened::~Opened() {
  if (is_open()) close(fd_);
}

bool Opened::is_open() const { return fd_ >= 0 && fcntl(fd_, F_GETFD) != -1; }

std::string log_text(const alt_model::LogHeader& header,
                     const std::vector<ALERT_RECORD_INFO>& records) {
  std::string text = alt_model::header_text(header);
  for (const ALERT_RECORD_INFO& record : records) {
    text += alt_model::record_line(alt_model::record_of_image({image(record), sizeof(record)}));
  }
  return text;
}

std::string index_text(int index, const Entries& entries) {
  std::string text = alt_model::index_header_text(alt_model::kIndexNames[index],
                                                  static_cast<uint32_t>(entries.size()));
  for (const alt_model::Entry& entry : entries) text += alt_model::entry_text(index, entry);
  return text;
}

void write_log(const std::string& path, uint32_t capacity,
               const std::vector<ALERT_RECORD_INFO>& records, int changed) {
  alt_model::LogHeader header;
  header.max_count = capacity;
  header.count = static_cast<uint32_t>(records.size());
  header.to_write = header.count;
  header.changed = changed;
  write_file(path, log_text(header, records));
}

Entries read_entries(const std::string& path, int index) {
  const auto file = std::make_shared<std::string>(content_of(path));
  const uint32_t count = alt_model::parse_index_header(file).value();
  if (file->size() != alt_model::entry_offset(index, static_cast<int>(count))) {
    throw std::runtime_error("size does not fit the count: " + path);
  }
  Entries entries;
  for (uint32_t i = 0; i < count; ++i) {
    entries.push_back(alt_model::read_entry(file, index, static_cast<int>(i)));
  }
  return entries;
}

Texts entry_texts(int index, const Entries& entries) {
  Texts texts;
  for (const alt_model::Entry& entry : entries) {
    const std::string id =
        index == alt_model::kIdIndex ? ":" + std::to_string(entry.id) : std::string();
    texts.push_back(entry.key + id + ":" + std::to_string(entry.line));
  }
  return texts;
}

Texts entry_texts(const std::string& path, int index) {
  return entry_texts(index, read_entries(path, index));
}

Numbers log_ids(const std::string& path) {
  const auto file = std::make_shared<std::string>(content_of(path));
  Numbers ids;
  const uint32_t count = alt_model::parse_header(file).value().count;
  for (uint32_t line = 0; line < count; ++line) {
    ids.push_back(alt_model::read_record(file, line).value().id);
  }
  return ids;
}

std::string index_path(const std::string& directory, int index) {
  return directory + alt_model::kIndexNames[index];
}

void store(const ALERT_RECORD_INFO& record, int islocal) {
  if (udp_write_disk(image(record), sizeof(record), islocal) != 0) {
    throw std::runtime_error("not stored: " + describe(record));
  }
}

ALERT_RECORD_INFO record_of(const Alert& alert) {
  return make_record(alert.id, alert.server, alert.module, alert.event, alert.level, alert.time,
                     "alert " + std::to_string(alert.id));
}

}  // namespace alt_test
