#include "model/disk.h"

namespace alt_model {

File Disk::open(const std::string& name) const {
  const auto found = files_.find(name);
  return found == files_.end() ? nullptr : found->second;
}

File Disk::create(const std::string& name) {
  File& file = files_[name];
  if (file == nullptr) {
    file = std::make_shared<std::string>();
  } else {
    file->clear();
  }
  return file;
}

void Disk::rename(const std::string& from, const std::string& to) {
  files_[to] = files_.at(from);
  files_.erase(from);
}

Disk Disk::clone() const {
  Disk copy;
  for (const auto& [name, file] : files_) copy.files_[name] = std::make_shared<std::string>(*file);
  return copy;
}

std::map<std::string, std::string> Disk::contents() const {
  std::map<std::string, std::string> all;
  for (const auto& [name, file] : files_) all[name] = *file;
  return all;
}

std::string read_bytes(const File& file, size_t offset, size_t size) {
  std::string bytes = offset < file->size() ? file->substr(offset, size) : "";
  bytes.resize(size, '\0');
  return bytes;
}

void write_bytes(const File& file, size_t offset, const std::string& bytes) {
  if (file->size() < offset + bytes.size()) file->resize(offset + bytes.size(), '\0');
  file->replace(offset, bytes.size(), bytes);
}

}  // namespace alt_model
