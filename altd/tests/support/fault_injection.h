// Calls of the system that fail, or are watched, at will.
//
// An executable with this unit defines the system calls that the library uses, in place of the C
// library's; without an Interception each of them only passes the call on.
#ifndef QEL_ALTD_TESTS_SUPPORT_FAULT_INJECTION_H
#define QEL_ALTD_TESTS_SUPPORT_FAULT_INJECTION_H

#include <cstddef>
#include <functional>

namespace alt_test {

enum class Site {
  kRead,   // read, pread
  kWrite,  // write, pwrite
  kSeek,
  kStatus,      // fstat
  kTruncate,    // ftruncate
  kLockShared,  // fcntl: F_SETLKW with F_RDLCK
  kLockExclusive,
  kUnlock,    // F_SETLK with F_UNLCK
  kGetFlags,  // F_GETFL
  kSetFlags,  // F_SETFL
  kCreate,    // creat
  kRemove,
  kRename,
  kSemaphoreKey,   // ftok
  kSemaphoreGet,   // semget
  kSemaphoreSet,   // semctl SETVAL
  kSemaphoreTake,  // semop -1
  kSemaphoreGive,  // semop +1
  kHostName,       // gethostname
  kFormatTime,     // strftime; fails with 0
  kCopyText,       // strdup
  kAllocate,       // malloc, calloc, new (nothrow) of the library
  kResolve,        // getaddrinfo; fails with EAI_SYSTEM
  kSocket,
  kBind,
  kSendTo,
  kRatioAttach,  // shmcm_attach
  kRatioRead,    // shmcm_getratio
  kRatioDetach,  // shmcm_detach
  kRaiseEvent,   // semevt_set_alert; fails with the errno
};

// What an Interception decides for one call; any other value is the errno to fail with.
constexpr int kPass = 0;
constexpr int kReturnZero = -1;

// While it lives, `decide` runs before every call at its site. It is handed the number of bytes of
// a read, write, datagram or allocation, else 0. Calls that it makes itself are passed on.
// Interceptions of one site may be nested; the innermost decides.
class Interception {
 public:
  using Decide = std::function<int(size_t bytes)>;

  Interception(Site site, Decide decide);
  ~Interception();
  Interception(const Interception&) = delete;
  Interception& operator=(const Interception&) = delete;

  Site site() const { return site_; }
  Interception* outer() const { return outer_; }
  int decide(size_t bytes) { return decide_(bytes); }

 private:
  Site site_;
  Decide decide_;
  Interception* outer_;
};

// Lets `skip` calls pass, then makes `times` calls fail with `error`.
class Fault {
 public:
  static constexpr int kAlways = -1;

  Fault(Site site, int error, int skip = 0, int times = kAlways);

  int hits() const { return hits_; }

 private:
  int decide(int error, int skip, int times);

  int calls_ = 0;
  int hits_ = 0;
  Interception interception_;
};

// Runs `work` with its first call at the site failing, then with its second, and so on until a run
// makes no further call; `prepare` runs before each without a fault. Returns the number of runs
// that met their fault.
int for_each_call(Site site, int error, const std::function<void()>& prepare,
                  const std::function<void()>& work);

// Allocations of at least this many bytes fail.
class ScarceMemory {
 public:
  explicit ScarceMemory(size_t bytes);

 private:
  Interception interception_;
};

}  // namespace alt_test

#endif
