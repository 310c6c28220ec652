#include "shared_state.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <ctime>

#include "common/environment.h"
#include "common/unique_fd.h"

namespace qel {

namespace {

/* Rounds of looking for the object and making it: each needs another process that makes or removes
 * one in between. */
constexpr int kOpenAttemptsMax = 100;

/* Signals that may interrupt the wait for the lock. */
constexpr int kLockAttemptsMax = 100;

struct OpenObject {
  UniqueFd fd;
  bool writable = false;
};

UniqueFd open_object(int flags) {
  return UniqueFd(::shm_open(shared_state_name(), flags | O_CLOEXEC, 0666));
}

/* An existing object is opened without O_CREAT: the kernel may refuse that flag for other users'
 * files in a directory that everybody may write to, as /dev/shm is. */
OpenObject find_or_make(StateMapping::Missing missing) {
  for (int attempt = 0; attempt < kOpenAttemptsMax; attempt++) {
    if (UniqueFd found = open_object(O_RDWR)) {
      return {std::move(found), true};
    }
    if (errno == EACCES) {
      return {open_object(O_RDONLY), false};
    }
    if (errno != ENOENT || missing == StateMapping::Missing::kFail) {
      return {};
    }
    if (UniqueFd made = open_object(O_RDWR | O_CREAT | O_EXCL)) {
      return {std::move(made), true};
    }
    if (errno != EEXIST) {
      return {};
    }
  }
  errno = EAGAIN;
  return {};
}

/* The lock of the object; a killed holder loses it. */
class ObjectLock {
 public:
  explicit ObjectLock(const UniqueFd& fd) : fd_(fd.get()) {
    for (int attempt = 0; attempt < kLockAttemptsMax && !held_; attempt++) {
      held_ = ::flock(fd_, LOCK_EX) == 0;
      if (!held_ && errno != EINTR) {
        return;
      }
    }
  }
  ~ObjectLock() {
    if (held_) {
      (void)::flock(fd_, LOCK_UN);
    }
  }
  ObjectLock(const ObjectLock&) = delete;
  ObjectLock& operator=(const ObjectLock&) = delete;

  bool is_held() const { return held_; }

 private:
  const int fd_;
  bool held_ = false;
};

/* Gives a fresh object its size. Memory beyond what a killed creator wrote is zero. */
bool size_object(const OpenObject& object) {
  struct stat status {};
  if (::fstat(object.fd.get(), &status) != 0) {
    return false;
  }
  if (status.st_size == sizeof(SharedState)) {
    return true;
  }
  if (status.st_size != 0) {
    errno = EPROTO;
    return false;
  }
  if (!object.writable) {
    errno = EACCES;
    return false;
  }
  const ObjectLock lock(object.fd);
  return lock.is_held() && ::ftruncate(object.fd.get(), sizeof(SharedState)) == 0;
}

/* Fills an object that nobody has made ready yet. */
bool fill_state(const OpenObject& object, SharedState& state) {
  if (!object.writable) {
    errno = EACCES;
    return false;
  }
  const ObjectLock lock(object.fd);
  if (!lock.is_held()) {
    return false;
  }
  if (state.magic.load() == 0) {
    state.version = kLayoutVersion;
    state.timing.store(pack_timing(kDefaultRatio, kDefaultPeriod));
    state.alert_count.store(0);
    state.magic.store(kStateMagic);
  }
  return true;
}

bool is_ready(const SharedState& state) {
  if (state.magic.load() == kStateMagic && state.version == kLayoutVersion) {
    return true;
  }
  errno = EPROTO;
  return false;
}

long futex(std::atomic<uint32_t>& word, int operation, uint32_t value, const timespec* time) {
  return ::syscall(SYS_futex, reinterpret_cast<uint32_t*>(&word), operation, value, time, nullptr,
                   FUTEX_BITSET_MATCH_ANY);
}

}  // namespace

const char* shared_state_name() { return environment_or("QEL_IPC_NAME", "/qelalert"); }

std::shared_ptr<StateMapping> StateMapping::open(Missing missing) {
  OpenObject object = find_or_make(missing);
  if (!object.fd || !size_object(object)) {
    return nullptr;
  }
  const int access = object.writable ? PROT_READ | PROT_WRITE : PROT_READ;
  void* memory = ::mmap(nullptr, sizeof(SharedState), access, MAP_SHARED, object.fd.get(), 0);
  if (memory == MAP_FAILED) {
    return nullptr;
  }
  auto* state = static_cast<SharedState*>(memory);
  const bool filled = state->magic.load() != 0 || fill_state(object, *state);
  if (!filled || !is_ready(*state)) {
    (void)::munmap(memory, sizeof(SharedState));
    return nullptr;
  }
  return std::shared_ptr<StateMapping>(
      new StateMapping(state, std::move(object.fd), object.writable));
}

StateMapping::~StateMapping() { (void)::munmap(state_, sizeof(SharedState)); }

bool StateMapping::is_removed() const {
  struct stat status {};
  return ::fstat(fd_.get(), &status) == 0 && status.st_nlink == 0;
}

void StateMapping::raise_alert() {
  if (state_->alert_count.fetch_add(1) == UINT32_MAX) {
    state_->alert_count.fetch_add(1); /* 0 stands for "never raised" */
  }
  (void)futex(state_->alert_count, FUTEX_WAKE, INT_MAX, nullptr);
}

int sleep_while(SharedState& state, uint32_t seen, int64_t timeout_ms) {
  const timespec time = {timeout_ms / 1000, timeout_ms % 1000 * 1'000'000};
  if (futex(state.alert_count, FUTEX_WAIT, seen, &time) == 0 || errno == EAGAIN ||
      errno == ETIMEDOUT) {
    return 0;
  }
  return errno;
}

int remove_shared_state() {
  const std::shared_ptr<StateMapping> mapping = StateMapping::open(StateMapping::Missing::kFail);
  if (::shm_unlink(shared_state_name()) != 0) {
    return errno;
  }
  if (mapping && mapping->is_writable()) {
    mapping->raise_alert(); /* wakes those who wait on it */
  }
  return 0;
}

}  // namespace qel
