// Waiting for new alerts.
#pragma once

#include <string>

#include "common/unique_fd.h"

namespace qel::cli {

// Notices changes of the alert log by its directory, so also a log that goes and comes again. It
// touches nothing: neither the log's marks nor the new-alert event, which belong to others.
class LogWatch {
 public:
  // `log_path`: the log's file, which need not be there, nor its directory.
  explicit LogWatch(const std::string& log_path);

  // Waits for a change since the last call, at most timeout_ms; then, or when it cannot know, true.
  // Throws ReaderGone when nobody reads standard output any more.
  bool wait(int timeout_ms);

 private:
  void watch_directory();
  bool take_events();

  std::string directory_;
  std::string name_;
  UniqueFd inotify_;
  int watch_ = -1;  // below 0: the directory is not there
};

}  // namespace qel::cli
