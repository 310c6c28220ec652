// Opening, creating, checking and removing files.
#include <algorithm>

#include "model/sorting.h"
#include "model/store_model.h"

namespace alt_model {
namespace {

constexpr int kUpdated = 64;

// Values that need no look at the indexes.
bool indexes_in_step(int changed) { return changed == 0 || changed == kUpdated; }

}  // namespace

StoreModel StoreModel::clone() const {
  StoreModel copy = *this;
  copy.disk = disk.clone();
  copy.stamp_ = {nullptr, 0};
  return copy;
}

File StoreModel::open_file(const std::string& name) {
  File file = disk.open(name);
  if (file == nullptr) {
    if (!create_missing(name)) return nullptr;
    file = disk.open(name);
  }
  if (name != kLogName) return file;
  return check_log(file) == 0 ? file : nullptr;
}

bool StoreModel::create_missing(const std::string& name) {
  if (name == kLogName) {
    create_log();
    process.local_id_wanted = 1;
    ask_cluster_for_log();
    return true;
  }
  const auto index = static_cast<size_t>(
      std::find(std::begin(kIndexNames), std::end(kIndexNames), name) - std::begin(kIndexNames));
  if (!build_index(static_cast<int>(index))) return false;
  process.index_created.at(index) = 1;
  return true;
}

void StoreModel::create_log() {
  LogHeader header;
  header.max_count = static_cast<uint32_t>(process.max_count);
  *disk.create(kLogName) = header_text(header);
  remove_indexes();
}

void StoreModel::remove_indexes() {
  for (const char* name : kIndexNames) disk.remove(name);
}

// 0 usable, 1 size and header do not fit, -1 the header cannot be read.
int StoreModel::check_log(const File& log) {
  const auto header = read_header(log);
  int result = -1;
  if (header) {
    const size_t size = header_length(log) + header->count * kRecordLine;
    if (log->size() == size) return 0;
    result = 1;
    if (!process.daemon) return result;
  }
  disk.remove(kLogName);
  remove_indexes();
  ask_cluster_for_log();
  return result;
}

std::optional<LogHeader> StoreModel::read_header(const File& log) {
  if (log->empty()) {
    remove_destroyed();
    return std::nullopt;
  }
  return parse_header(log);
}

std::optional<uint32_t> StoreModel::read_index_header(const File& file) {
  if (file->size() < kIndexHeader) {
    remove_destroyed();
    return std::nullopt;
  }
  return parse_index_header(file);
}

void StoreModel::remove_destroyed() {
  const File log = disk.open(kLogName);
  if (log != nullptr && log->empty()) disk.remove(kLogName);
  remove_indexes();
}

// A server equal to the first of the list is added again: only the others are compared.
void StoreModel::ask_cluster_for_log() {
  if (!process.daemon) return;
  process.local_id_wanted = 0;
  process.may_write_local = 0;
  process.waiting_for_ids = 1;
  std::vector<std::string>& list = process.new_servers;
  for (const std::string& server : process.cluster) {
    if (server == process.local_server) continue;
    const bool known =
        !list.empty() && std::find(list.begin() + 1, list.end(), server) != list.end();
    if (!known) list.push_back(server);
  }
}

bool StoreModel::build_index(int index) {
  const File log = open_file(kLogName);
  if (log == nullptr) return false;
  auto header = read_header(log);
  if (!header) return false;
  std::vector<Node> nodes;
  for (uint32_t line = 0; line < header->count; ++line) {
    const auto record = read_record(log, line);
    if (!record) return false;
    nodes.push_back(
        {line, key_of(*record, index), record->server, index == kIdIndex ? record->id : line});
  }
  sort_nodes(&nodes, index);
  const File file = disk.create(kIndexNames[index]);
  *file = index_header_text(kIndexNames[index], header->count);
  for (const Node& node : nodes) *file += entry_text(index, {node.key, node.line, node.number});
  header->changed &= ~(1 << index);
  write_bytes(log, 0, header_lines(*header));
  return true;
}

int StoreModel::recreate_index_files() {
  for (int index = 0; index < kIndexCount; ++index) {
    disk.remove(kIndexNames[index]);
    if (!build_index(index)) return -1;
  }
  return 0;
}

int StoreModel::check_index_file_status() {
  const File log = open_file(kLogName);
  if (log == nullptr) return -1;
  const auto header = read_header(log);
  if (!header) return -1;
  if (indexes_in_step(header->changed)) return 0;
  for (int index = 0; index < kIndexCount; ++index) {
    if ((header->changed & (1 << index)) != 0) disk.remove(kIndexNames[index]);
  }
  return 0;
}

int StoreModel::check_file_size() {
  const File log = open_file(kLogName);
  if (log == nullptr) return -1;
  const auto header = read_header(log);
  if (!header) return -1;
  return header->max_count != static_cast<uint32_t>(process.max_count) ? 1 : 0;
}

int StoreModel::check_is_update() {
  const File log = disk.open(kLogName);
  if (log == nullptr) return -1;
  auto header = read_header(log);
  if (!header) return -1;
  if ((header->changed & kUpdated) == 0) return 0;
  header->changed &= ~kUpdated;
  write_bytes(log, 0, header_lines(*header));
  return 1;
}

}  // namespace alt_model
