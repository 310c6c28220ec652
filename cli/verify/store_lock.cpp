#include "verify/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "failure.h"

namespace qel::cli {
namespace {

constexpr std::chrono::milliseconds kPause{1};  // a store takes less
constexpr int kTries = 10000;
constexpr int kTriesSilent = 1000;

}  // namespace

StoreLock::StoreLock(const std::string& directory)
    : directory_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  // Not by one waiting call: the program that holds the lock may hang.
  for (int tries = 0; !settle(directory); ++tries) {
    if (tries == kTriesSilent) message("waiting for the program that has locked " + directory);
    if (tries == kTries) {
      throw Failure(kFailed, directory + " stays locked by another program: nothing was examined");
    }
    std::this_thread::sleep_for(kPause);
  }
}

// False while another program holds the lock.
bool StoreLock::settle(const std::string& directory) {
  if (directory_ && flock(directory_.get(), LOCK_SH | LOCK_NB) == 0) return true;
  if (directory_ && errno == EWOULDBLOCK) return false;
  fault_ = with_errno("cannot lock " + directory, errno);
  return true;
}

}  // namespace qel::cli
