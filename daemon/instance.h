// One daemon for each pid file and each store.
#pragma once

#include <string>

namespace qel::daemon {

// Holds a file with the process id, locked, for as long as it lives. The lock, not the file, says
// that a daemon runs: the file stays behind, empty after a clean end and not after any other.
class Instance {
 public:
  Instance() = default;
  ~Instance();
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  // False with the reason in *error when another daemon holds it or it cannot be made.
  bool take(const std::string& pid_file, std::string* error);

  // Empties the file: this holder comes to a clean end.
  void end_clean();

  // The holder before this one did not come to a clean end.
  bool found_unclean() const { return found_unclean_; }

 private:
  int fd_ = -1;
  bool found_unclean_ = false;
};

// Makes the directory that a path lies in, with its parents. False with the reason in *error.
bool make_parent_directory(const std::string& path, std::string* error);

}  // namespace qel::daemon
