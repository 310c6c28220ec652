// The indexes follow a stored record.
#include "model/lookup.h"
#include "model/store_model.h"

namespace alt_model {
namespace {

// Moves `bytes` bytes; what lies behind the end of the file is not there to be moved.
void move_bytes(const File& file, size_t to, size_t from, size_t bytes) {
  if (bytes == 0 || from >= file->size()) return;
  write_bytes(file, to, file->substr(from, bytes));
}

// Makes room at `start`: entries start to end go one further.
void open_gap(const File& file, int index, int start, int end) {
  if (end < start) return;
  move_bytes(file, entry_offset(index, start + 1), entry_offset(index, start),
             entry_size(index) * static_cast<size_t>(end - start + 1));
}

// Closes the gap at `start`: entries start + 1 to end go one back.
void close_gap(const File& file, int index, int start, int end) {
  if (end <= start) return;
  move_bytes(file, entry_offset(index, start), entry_offset(index, start + 1),
             entry_size(index) * static_cast<size_t>(end - start));
}

// Behind every entry of its time, but in front of them when they are the oldest.
int time_position(const File& file, int count, const std::string& time) {
  const auto key_at = [&](int position) { return read_entry(file, kTimeIndex, position).key; };
  if (time >= key_at(count - 1)) return count;
  if (time <= key_at(0)) return 0;
  int position = count - 2;
  while (key_at(position) > time) --position;
  return position + 1;
}

}  // namespace

int StoreModel::modify_indexes(int line, const Record& record, const Record& old_record) {
  const File log = open_file(kLogName);
  if (log == nullptr) return -1;
  process.index_created.fill(0);
  for (int index = 0; index < kIndexCount; ++index) {
    const File file = open_file(kIndexNames[index]);
    int& created = process.index_created.at(static_cast<size_t>(index));
    if (file != nullptr && created == 1) {
      created = 0;
      continue;
    }
    if (file == nullptr || !update_index(file, index, line, record, old_record)) {
      disk.remove(kIndexNames[index]);
      continue;
    }
    auto header = read_header(log);
    if (!header) throw Undefined("log header lost during index upkeep");
    header->changed &= ~(1 << index);
    write_bytes(log, 0, header_lines(*header));
  }
  return 0;
}

bool StoreModel::update_index(const File& file, int index, int line, const Record& record,
                              const Record& old_record) {
  const auto header = read_index_header(file);
  if (!header) return false;
  const int count = static_cast<int>(*header);
  int position = insert_position(file, index, count, record, line);
  if (count != process.max_count) {
    open_gap(file, index, position, count - 1);
    write_bytes(file, kIndexHeader / 2, index_count_line(*header + 1));
  } else {
    const int old = old_position(file, index, line, old_record);
    if (old < 0) return false;
    if (position < old) {
      open_gap(file, index, position, old - 1);
    } else if (position > old) {
      --position;
      close_gap(file, index, old, position);
    }
  }
  write_entry(file, index, position,
              {key_of(record, index), static_cast<uint32_t>(line), record.id});
  return true;
}

int StoreModel::insert_position(const File& file, int index, int count, const Record& record,
                                int line) {
  if (index == kIdIndex) {
    const Probe probe = find_server_id(file, count, record.server, record.id);
    return probe.at >= 0 ? probe.at : probe.insertion();
  }
  if (count <= 0) return 0;
  if (index == kTimeIndex) return time_position(file, count, record.server_time);
  // The ends are read before the search begins.
  read_entry(file, index, 0);
  read_entry(file, index, count - 1);
  const Probe probe =
      find_key_line(file, index, count, key_of(record, index), static_cast<uint32_t>(line));
  return probe.at >= 0 ? probe.at + 1 : probe.insertion();
}

// The oldest alert is the one that is replaced, so it must be the first of the time index.
int StoreModel::old_position(const File& file, int index, int line, const Record& record) {
  const int count = process.max_count;
  if (index == kTimeIndex) {
    const Entry first = read_entry(file, index, 0);
    const bool same = first.key == record.server_time && first.line == static_cast<uint32_t>(line);
    return same ? 0 : -1;
  }
  if (index == kIdIndex) return find_server_id(file, count, record.server, record.id).at;
  return find_key_line(file, index, count, key_of(record, index), static_cast<uint32_t>(line)).at;
}

int StoreModel::check_duplicate(const std::string& image) {
  const File file = open_file(kIndexNames[kIdIndex]);
  if (file == nullptr) return -1;
  const auto count = read_index_header(file);
  if (!count) return -1;
  const Record record = record_of_image(image);
  return find_server_id(file, static_cast<int>(*count), record.server, record.id).at >= 0 ? 1 : 0;
}

int StoreModel::next_to_write() {
  const File file = open_file(kIndexNames[kTimeIndex]);
  if (file == nullptr) return -1;
  return static_cast<int>(read_entry(file, kTimeIndex, 0).line);
}

}  // namespace alt_model
