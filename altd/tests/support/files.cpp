#include "support/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace alt_test {
namespace {

namespace fs = std::filesystem;

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags) : fd_(open(path.c_str(), flags, 0644)) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::system_error(errno, std::generic_category(), what + " " + path);
}

void write_all(int fd, const std::string& bytes, off_t offset, const std::string& path) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n =
        pwrite(fd, bytes.data() + done, bytes.size() - done, offset + static_cast<off_t>(done));
    if (n <= 0) fail("write", path);
    done += static_cast<size_t>(n);
  }
}

std::string line_around(const std::string& text, size_t offset) {
  if (offset >= text.size()) return "(end of file)";
  const size_t before = offset == 0 ? std::string::npos : text.rfind('\n', offset - 1);
  const size_t begin = before == std::string::npos ? 0 : before + 1;
  return printable(text.substr(begin, text.find('\n', offset) - begin));
}

}  // namespace

const char* const kStoreFiles[7] = {"alertlog.alt", "time.idx",  "server.idx",    "module.idx",
                                    "event.idx",    "level.idx", "srv_alt_id.idx"};

std::optional<std::string> read_file(const std::string& path) {
  const Descriptor file(path, O_RDONLY | O_CLOEXEC);
  if (file.get() < 0) {
    if (errno == ENOENT) return std::nullopt;
    fail("open", path);
  }
  std::string content;
  char block[65536];
  ssize_t n;
  while ((n = read(file.get(), block, sizeof(block))) > 0) {
    content.append(block, static_cast<size_t>(n));
  }
  if (n < 0) fail("read", path);
  return content;
}

void write_file(const std::string& path, const std::string& content) {
  const Descriptor file(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC);
  if (file.get() < 0) fail("open", path);
  write_all(file.get(), content, 0, path);
}

void write_file_at(const std::string& path, size_t offset, const std::string& bytes) {
  const Descriptor file(path, O_WRONLY | O_CLOEXEC);
  if (file.get() < 0) fail("open", path);
  write_all(file.get(), bytes, static_cast<off_t>(offset), path);
}

bool remove_file(const std::string& path) { return fs::remove(path); }

bool file_exists(const std::string& path) { return fs::exists(path); }

std::vector<std::string> list_directory(const std::string& path) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(path)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::map<std::string, std::string> read_directory(const std::string& path) {
  std::map<std::string, std::string> files;
  for (const std::string& name : list_directory(path)) {
    if (auto content = read_file(path + "/" + name)) files[name] = *std::move(content);
  }
  return files;
}

std::string printable(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80 && std::isprint(byte) != 0) {
      text += c;
      continue;
    }
    char escaped[8];
    std::snprintf(escaped, sizeof(escaped), "\\x%02x", byte);
    text += escaped;
  }
  return text;
}

std::string first_difference(const std::string& actual, const std::string& expected) {
  if (actual == expected) return "";
  const size_t common = std::min(actual.size(), expected.size());
  const auto [at, _] =
      std::mismatch(actual.begin(), actual.begin() + static_cast<long>(common), expected.begin());
  const auto offset = static_cast<size_t>(at - actual.begin());
  const auto line = std::count(actual.begin(), at, '\n') + 1;
  return "at byte " + std::to_string(offset) + ", line " + std::to_string(line) + " (" +
         std::to_string(actual.size()) + " bytes, expected " + std::to_string(expected.size()) +
         ")\n  actual:   " + line_around(actual, offset) +
         "\n  expected: " + line_around(expected, offset) + "\n";
}

std::string first_difference(const std::map<std::string, std::string>& actual,
                             const std::map<std::string, std::string>& expected) {
  for (const auto& [name, content] : expected) {
    const auto found = actual.find(name);
    if (found == actual.end()) return name + " is missing\n";
    const std::string difference = first_difference(found->second, content);
    if (!difference.empty()) return name + " differs " + difference;
  }
  for (const auto& [name, content] : actual) {
    if (!expected.contains(name)) {
      return name + " should not exist (" + std::to_string(content.size()) + " bytes)\n";
    }
  }
  return "";
}

}  // namespace alt_test
