#include "instance.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace qel::daemon {

namespace {

std::string read_pid(int fd) {
  char text[32] = {};
  const ssize_t size = pread(fd, text, sizeof text - 1, 0);
  return size > 0 ? std::string(text, strcspn(text, "\n")) : "unknown";
}

bool write_pid(int fd) {
  const std::string text = std::to_string(getpid()) + "\n";
  return ftruncate(fd, 0) == 0 &&
         pwrite(fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()) &&
         fsync(fd) == 0;
}

}  // namespace

bool make_parent_directory(const std::string& path, std::string* error) {
  std::error_code code;
  const auto parent = std::filesystem::path(path).parent_path();
  std::filesystem::create_directories(parent, code);
  if (!code) return true;
  *error = "the directory " + parent.string() + " cannot be made: " + code.message();
  return false;
}

Instance::~Instance() {
  if (fd_ >= 0) close(fd_);
}

void Instance::end_clean() {
  // When that fails, the next holder mends what needs no mending.
  if (fd_ >= 0) (void)!ftruncate(fd_, 0);
}

bool Instance::take(const std::string& pid_file, std::string* error) {
  if (!make_parent_directory(pid_file, error)) return false;
  fd_ = open(pid_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd_ < 0) {
    *error = "the file " + pid_file + " cannot be opened: " + strerror(errno);
    return false;
  }
  if (flock(fd_, LOCK_EX | LOCK_NB) != 0) {
    *error = "another qelalertd runs already (process " + read_pid(fd_) + ", " + pid_file + ")";
    close(fd_);
    fd_ = -1;
    return false;
  }
  char byte;
  found_unclean_ = pread(fd_, &byte, 1, 0) == 1;
  if (write_pid(fd_)) return true;
  *error = "the file " + pid_file + " cannot be written: " + strerror(errno);
  return false;
}

}  // namespace qel::daemon
