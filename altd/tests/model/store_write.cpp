// Storing records and resizing.
#include "model/store_model.h"

namespace alt_model {
namespace {

constexpr int kUpdated = 64;
constexpr int kAllChanged = 255;
constexpr uint32_t kNextId = 0xFFFFFFFF;
constexpr size_t kWriteTimeColumn = 10;

bool has_content(const std::string& text) {
  return text.find_first_not_of(' ') != std::string::npos;
}

bool storable(const Record& record) {
  return has_content(record.event) && has_content(record.level) && has_content(record.module) &&
         has_content(record.server) && has_content(record.server_time) &&
         has_content(record.message);
}

}  // namespace

int StoreModel::store(const std::string& image, size_t length, int islocal) {
  const File log = open_file(kLogName);
  if (log == nullptr || length < kRecordImage) return -1;
  const auto header = read_header(log);
  if (!header) return -1;
  if (header->changed != 0 && header->changed != kUpdated) {
    const int status = check_index_file_status();
    if (status != 0) return status;
  }
  const int result = write_record(log, static_cast<int>(header->to_write), record_of_image(image),
                                  *header, islocal, 1);
  return result < 0 ? -1 : result;
}

int StoreModel::write_record(const File& log, int line, const Record& record, LogHeader header,
                             int islocal, int caller) {
  const auto capacity = static_cast<uint32_t>(process.max_count);
  if (line < 0 || line >= process.max_count) return -1;
  if (!storable(record)) return 1;
  Record stored = record;
  const size_t offset = header_length(log) + static_cast<size_t>(line) * kRecordLine;
  const bool was_full = header.count == capacity;
  Record old_record;
  if (was_full) {
    const auto overwritten = read_record(log, static_cast<uint32_t>(line));
    if (!overwritten) return -1;
    old_record = *overwritten;
  }
  if (islocal != 1) {
    stored.write_time = kStamp;
    stamp_ = {log, offset + kWriteTimeColumn};
  }
  write_bytes(log, offset, record_line(stored));
  if (!was_full) {
    ++header.count;
    ++header.to_write;
    write_bytes(log, 0, header_lines(header));
    if (header.count == capacity) {
      const int oldest = next_to_write();
      if (oldest == -1) return -1;
      header.to_write = static_cast<uint32_t>(oldest);
    }
  }
  header.changed = kAllChanged;
  if (islocal == 1 && caller == 1) {
    header.current_id = record.id == kNextId ? header.current_id + 1 : record.id;
  }
  write_bytes(log, 0, header_lines(header));
  if (caller == 1) modify_indexes(line, stored, old_record);
  if (header.count == capacity) {
    if (const auto now = read_header(log)) header = *now;
    const int oldest = next_to_write();
    if (oldest == -1) return -1;
    header.to_write = static_cast<uint32_t>(oldest);
    write_bytes(log, 0, header_lines(header));
  }
  return 0;
}

std::optional<size_t> StoreModel::stamped_at() const {
  const auto& [file, offset] = stamp_;
  if (file == nullptr || disk.open(kLogName) != file) return std::nullopt;
  return offset;
}

void StoreModel::set_stamp(const std::string& time) {
  write_bytes(stamp_.first, stamp_.second, time);
}

int StoreModel::adjust(int new_size) {
  if (new_size < 1) return 0;
  const File log = open_file(kLogName);
  if (log == nullptr) return -1;
  auto header = read_header(log);
  if (!header) return -1;
  const auto size = static_cast<uint32_t>(new_size);
  const uint32_t old_size = header->max_count;
  const uint32_t count = header->count;
  if (size >= old_size) {
    header->to_write = count;
  } else if (count >= old_size) {
    return rebuild_smaller(log, new_size, static_cast<int>(old_size - size),
                           static_cast<int>(count));
  } else if (size < count) {
    return rebuild_smaller(log, new_size, static_cast<int>(count - size), static_cast<int>(count));
  } else if (size == count) {
    const int oldest = next_to_write();
    if (oldest == -1) throw Undefined("no oldest record while resizing");
    header->to_write = static_cast<uint32_t>(oldest);
  }
  header->max_count = size;
  write_bytes(log, 0, header_lines(*header));
  return 0;
}

int StoreModel::rebuild_smaller(const File& log, int new_size, int dropped, int count) {
  File copy = disk.open(kResizeName);
  if (copy == nullptr) copy = disk.create(kResizeName);
  LogHeader header;
  header.max_count = static_cast<uint32_t>(process.max_count);
  write_bytes(copy, 0, header_text(header));
  const auto [copied, local_id] = copy_newest(log, copy, dropped, count);
  if (copied != 0) {
    disk.remove(kResizeName);
    return -1;
  }
  header.max_count = header.count = static_cast<uint32_t>(new_size);
  header.changed = kAllChanged;
  header.current_id = local_id;
  write_bytes(copy, 0, header_lines(header));
  disk.rename(kResizeName, kLogName);
  if (recreate_index_files() != 0) return -1;
  const auto now = read_header(copy);
  if (!now) return -1;
  header = *now;
  header.to_write = static_cast<uint32_t>(next_to_write());
  write_bytes(copy, 0, header_lines(header));
  return 0;
}

// Result, and the highest id of the local server among the copied.
std::pair<int, uint32_t> StoreModel::copy_newest(const File& log, const File& copy, int dropped,
                                                 int count) {
  uint32_t local_id = 0;
  const File time_index = open_file(kIndexNames[kTimeIndex]);
  if (time_index == nullptr) return {-1, 0};
  for (int i = dropped; i < count; ++i) {
    const Entry entry = read_entry(time_index, kTimeIndex, i);
    const auto record = read_record(log, entry.line);
    if (!record) return {-1, 0};
    const auto header = read_header(copy);
    if (!header) return {-1, 0};
    const int written = write_record(copy, i - dropped, *record, *header, 1, 2);
    if (written > 0) throw Undefined("unstorable record while resizing");
    if (written < 0) return {-1, 0};
    if (record->server == process.local_server && record->id > local_id) local_id = record->id;
  }
  return {0, local_id};
}

}  // namespace alt_model
