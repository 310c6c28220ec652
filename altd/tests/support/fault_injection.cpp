#include "support/fault_injection.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <stdexcept>
#include <utility>

namespace alt_test {
namespace {

constexpr int kCallsMax = 1000;

Interception* g_innermost = nullptr;
bool g_deciding = false;

int decision(Site site, size_t bytes = 0) {
  if (g_deciding) return kPass;
  Interception* found = g_innermost;
  while (found != nullptr && found->site() != site) found = found->outer();
  if (found == nullptr) return kPass;
  g_deciding = true;
  const int decided = found->decide(bytes);
  g_deciding = false;
  return decided;
}

// True when the call is not to be made; *result is then what it returns.
template <typename Result>
bool replaced(Site site, Result failure, Result* result, size_t bytes = 0) {
  const int decided = decision(site, bytes);
  if (decided == kPass) return false;
  *result = decided == kReturnZero ? Result{} : failure;
  if (decided != kReturnZero) errno = decided;
  return true;
}

// Memory is asked for before a sanitizer is ready to watch over anybody.
#define QEL_UNWATCHED __attribute__((no_sanitize("address", "undefined")))

// Only the library runs out of memory, not the test or what it keeps of the library's messages.
bool allocation_of_library_fails(const void* caller, size_t bytes) {
  Dl_info where;
  const bool of_library = dladdr(caller, &where) != 0 && where.dli_fname != nullptr &&
                          std::strstr(where.dli_fname, "libqelalertlog") != nullptr;
  void* none;
  return of_library && replaced<void*>(Site::kAllocate, nullptr, &none, bytes);
}

QEL_UNWATCHED bool allocation_fails(const void* caller, size_t bytes) {
  return g_innermost != nullptr && allocation_of_library_fails(caller, bytes);
}

// The function of that name that this executable hides.
template <typename Function>
Function hidden(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

bool site_of_fcntl(int command, const void* argument, Site* site) {
  const auto type = [&] { return static_cast<const struct flock*>(argument)->l_type; };
  if (command == F_GETFL)
    *site = Site::kGetFlags;
  else if (command == F_SETFL)
    *site = Site::kSetFlags;
  else if (command == F_SETLKW)
    *site = type() == F_RDLCK ? Site::kLockShared : Site::kLockExclusive;
  else if (command == F_SETLK && type() == F_UNLCK)
    *site = Site::kUnlock;
  else
    return false;
  return true;
}

}  // namespace

Interception::Interception(Site site, Decide decide)
    : site_(site), decide_(std::move(decide)), outer_(std::exchange(g_innermost, this)) {}

Interception::~Interception() { g_innermost = outer_; }

Fault::Fault(Site site, int error, int skip, int times)
    : interception_(site, [=, this](size_t) { return decide(error, skip, times); }) {}

int Fault::decide(int error, int skip, int times) {
  const int call = calls_++;
  if (call < skip || (times != kAlways && call >= skip + times)) return kPass;
  ++hits_;
  return error;
}

int for_each_call(Site site, int error, const std::function<void()>& prepare,
                  const std::function<void()>& work) {
  for (int call = 0; call < kCallsMax; ++call) {
    prepare();
    const Fault fault(site, error, call, 1);
    work();
    if (fault.hits() == 0) return call;
  }
  throw std::runtime_error("the work never ends");
}

ScarceMemory::ScarceMemory(size_t bytes)
    : interception_(Site::kAllocate,
                    [bytes](size_t wanted) { return wanted >= bytes ? ENOMEM : kPass; }) {}

}  // namespace alt_test

// ---- the calls ----------------------------------------------------------------------------------

using alt_test::allocation_fails;
using alt_test::hidden;
using alt_test::replaced;
using alt_test::Site;

// Looking up a hidden malloc would allocate; these names lead to it directly.
#ifdef __SANITIZE_ADDRESS__
#define QEL_HIDDEN_MALLOC __interceptor_malloc
#define QEL_HIDDEN_CALLOC __interceptor_calloc
#else
#define QEL_HIDDEN_MALLOC __libc_malloc
#define QEL_HIDDEN_CALLOC __libc_calloc
#endif

// With large file support on by default, these names stand for open64 and the like.
extern "C" {

void* QEL_HIDDEN_MALLOC(size_t size);
void* QEL_HIDDEN_CALLOC(size_t count, size_t size);

QEL_UNWATCHED void* malloc(size_t size) {
  if (allocation_fails(__builtin_return_address(0), size)) return nullptr;
  return QEL_HIDDEN_MALLOC(size);
}

QEL_UNWATCHED void* calloc(size_t count, size_t size) {
  if (allocation_fails(__builtin_return_address(0), count * size)) return nullptr;
  return QEL_HIDDEN_CALLOC(count, size);
}

char* strdup(const char* text) {
  static const auto next = hidden<char* (*)(const char*)>("strdup");
  char* none;
  return replaced<char*>(Site::kCopyText, nullptr, &none) ? none : next(text);
}

ssize_t read(int fd, void* buffer, size_t size) {
  static const auto next = hidden<ssize_t (*)(int, void*, size_t)>("read");
  ssize_t result;
  return replaced<ssize_t>(Site::kRead, -1, &result, size) ? result : next(fd, buffer, size);
}

ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
  static const auto next = hidden<ssize_t (*)(int, void*, size_t, off_t)>("pread64");
  ssize_t result;
  return replaced<ssize_t>(Site::kRead, -1, &result, size) ? result
                                                           : next(fd, buffer, size, offset);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  static const auto next = hidden<ssize_t (*)(int, const void*, size_t)>("write");
  ssize_t result;
  return replaced<ssize_t>(Site::kWrite, -1, &result, size) ? result : next(fd, buffer, size);
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
  static const auto next = hidden<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite64");
  ssize_t result;
  return replaced<ssize_t>(Site::kWrite, -1, &result, size) ? result
                                                            : next(fd, buffer, size, offset);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  static const auto next = hidden<off_t (*)(int, off_t, int)>("lseek64");
  off_t result;
  return replaced<off_t>(Site::kSeek, -1, &result) ? result : next(fd, offset, whence);
}

int fstat(int fd, struct stat* status) noexcept {
  static const auto next = hidden<int (*)(int, struct stat*)>("fstat64");
  int result;
  return replaced(Site::kStatus, -1, &result) ? result : next(fd, status);
}

int ftruncate(int fd, off_t size) noexcept {
  static const auto next = hidden<int (*)(int, off_t)>("ftruncate64");
  int result;
  return replaced(Site::kTruncate, -1, &result) ? result : next(fd, size);
}

int fcntl(int fd, int command, ...) {
  static const auto next = hidden<int (*)(int, int, ...)>("fcntl64");
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  Site site;
  int result;
  if (alt_test::site_of_fcntl(command, argument, &site) && replaced(site, -1, &result)) {
    return result;
  }
  return next(fd, command, argument);
}

int creat(const char* path, mode_t mode) {
  static const auto next = hidden<int (*)(const char*, mode_t)>("creat64");
  int result;
  return replaced(Site::kCreate, -1, &result) ? result : next(path, mode);
}

int remove(const char* path) noexcept {
  static const auto next = hidden<int (*)(const char*)>("remove");
  int result;
  return replaced(Site::kRemove, -1, &result) ? result : next(path);
}

int rename(const char* from, const char* to) noexcept {
  static const auto next = hidden<int (*)(const char*, const char*)>("rename");
  int result;
  return replaced(Site::kRename, -1, &result) ? result : next(from, to);
}

key_t ftok(const char* path, int project) noexcept {
  static const auto next = hidden<key_t (*)(const char*, int)>("ftok");
  key_t result;
  return replaced<key_t>(Site::kSemaphoreKey, -1, &result) ? result : next(path, project);
}

int semget(key_t key, int count, int flags) noexcept {
  static const auto next = hidden<int (*)(key_t, int, int)>("semget");
  int result;
  return replaced(Site::kSemaphoreGet, -1, &result) ? result : next(key, count, flags);
}

int semctl(int id, int member, int command, ...) noexcept {
  static const auto next = hidden<int (*)(int, int, int, ...)>("semctl");
  va_list arguments;
  va_start(arguments, command);
  void* argument = va_arg(arguments, void*);
  va_end(arguments);
  int result;
  if (command == SETVAL && replaced(Site::kSemaphoreSet, -1, &result)) return result;
  return next(id, member, command, argument);
}

int semop(int id, struct sembuf* operations, size_t count) noexcept {
  static const auto next = hidden<int (*)(int, struct sembuf*, size_t)>("semop");
  const Site site = operations->sem_op < 0 ? Site::kSemaphoreTake : Site::kSemaphoreGive;
  int result;
  return replaced(site, -1, &result) ? result : next(id, operations, count);
}

int gethostname(char* name, size_t size) noexcept {
  static const auto next = hidden<int (*)(char*, size_t)>("gethostname");
  int result;
  return replaced(Site::kHostName, -1, &result) ? result : next(name, size);
}

size_t strftime(char* text, size_t size, const char* format, const struct tm* time) noexcept {
  static const auto next =
      hidden<size_t (*)(char*, size_t, const char*, const struct tm*)>("strftime");
  size_t result;
  return replaced<size_t>(Site::kFormatTime, 0, &result) ? result : next(text, size, format, time);
}

int getaddrinfo(const char* node, const char* service, const struct addrinfo* hints,
                struct addrinfo** found) {
  static const auto next =
      hidden<int (*)(const char*, const char*, const struct addrinfo*, struct addrinfo**)>(
          "getaddrinfo");
  int result;
  return replaced<int>(Site::kResolve, EAI_SYSTEM, &result) ? result
                                                            : next(node, service, hints, found);
}

int socket(int family, int type, int protocol) noexcept {
  static const auto next = hidden<int (*)(int, int, int)>("socket");
  int result;
  return replaced(Site::kSocket, -1, &result) ? result : next(family, type, protocol);
}

int bind(int fd, const struct sockaddr* address, socklen_t size) noexcept {
  static const auto next = hidden<int (*)(int, const struct sockaddr*, socklen_t)>("bind");
  int result;
  return replaced(Site::kBind, -1, &result) ? result : next(fd, address, size);
}

ssize_t sendto(int fd, const void* buffer, size_t size, int flags, const struct sockaddr* address,
               socklen_t address_size) {
  static const auto next =
      hidden<ssize_t (*)(int, const void*, size_t, int, const struct sockaddr*, socklen_t)>(
          "sendto");
  ssize_t result;
  return replaced<ssize_t>(Site::kSendTo, -1, &result, size)
             ? result
             : next(fd, buffer, size, flags, address, address_size);
}

int shmcm_attach(void) {
  static const auto next = hidden<int (*)()>("shmcm_attach");
  int result;
  return replaced(Site::kRatioAttach, -1, &result) ? result : next();
}

int shmcm_getratio(int* ratio, int* period) {
  static const auto next = hidden<int (*)(int*, int*)>("shmcm_getratio");
  int result;
  return replaced(Site::kRatioRead, -1, &result) ? result : next(ratio, period);
}

int shmcm_detach(void) {
  static const auto next = hidden<int (*)()>("shmcm_detach");
  int result;
  return replaced(Site::kRatioDetach, -1, &result) ? result : next();
}

int semevt_set_alert(void) {
  static const auto next = hidden<int (*)()>("semevt_set_alert");
  int result;
  if (!replaced(Site::kRaiseEvent, -1, &result)) return next();
  return result == 0 ? 0 : errno;
}

}  // extern "C"

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  if (allocation_fails(__builtin_return_address(0), size)) return nullptr;
  return ::operator new(size);
}

void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  if (allocation_fails(__builtin_return_address(0), size)) return nullptr;
  return ::operator new[](size);
}
