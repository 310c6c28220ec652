#include "verify/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/time.h>

#include <cerrno>
#include <csignal>

#include "alerts/failure.h"

namespace qel::cli {
namespace {

constexpr int kWaitsMax = 10;  // of a second each; a store takes less than a millisecond

// Ends each system call that waits after a second, as long as it lives.
class EverySecond {
 public:
  EverySecond() {
    struct sigaction ring {};
    ring.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGALRM, &ring, &before_);
    const itimerval second = {.it_interval = {1, 0}, .it_value = {1, 0}};
    setitimer(ITIMER_REAL, &second, nullptr);
  }
  ~EverySecond() {
    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before_, nullptr);
  }
  EverySecond(const EverySecond&) = delete;
  EverySecond& operator=(const EverySecond&) = delete;

 private:
  struct sigaction before_ {};
};

}  // namespace

StoreLock::StoreLock(const std::string& directory)
    : directory_(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  // A waiting call has its turn also behind a program that stores without a pause, which looks now
  // and then may miss; it must end, since the program that holds the lock may hang.
  const EverySecond every_second;
  for (int waits = 1; !settle(directory); ++waits) {
    if (waits == 1) message("waiting for the program that has locked " + directory);
    if (waits == kWaitsMax) {
      throw Failure(kFailed, directory + " stays locked by another program: nothing was examined");
    }
  }
}

// False when another program held the lock for a second.
bool StoreLock::settle(const std::string& directory) {
  if (directory_ && flock(directory_.get(), LOCK_SH) == 0) return true;
  if (directory_ && errno == EINTR) return false;
  fault_ = with_errno("cannot lock " + directory, errno);
  return true;
}

}  // namespace qel::cli
