#include "interposed.h"

#include <arpa/inet.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/times.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

namespace qel::simulation {
namespace {

constexpr int kFirstSocket = 1 << 28;  // far above any descriptor of the system
constexpr int kSocketTypes = 0xf;      // without SOCK_CLOEXEC and its like
constexpr int kLoggedLevels = 1 | 2 | 4;
constexpr int64_t kSecond = 1000000;

Host* running = nullptr;

// The datagram sockets that nodes have open: the address each is bound to.
struct Sockets {
  std::map<int, std::string> bound;
  int next = kFirstSocket;
};
Sockets& sockets() {
  static Sockets open;
  return open;
}

std::string address_text(const sockaddr* address) {
  std::array<char, INET6_ADDRSTRLEN> text = {};
  if (address->sa_family == AF_INET) {
    sockaddr_in ipv4;
    memcpy(&ipv4, address, sizeof ipv4);
    inet_ntop(AF_INET, &ipv4.sin_addr, text.data(), text.size());
  } else {
    sockaddr_in6 ipv6;
    memcpy(&ipv6, address, sizeof ipv6);
    inet_ntop(AF_INET6, &ipv6.sin6_addr, text.data(), text.size());
  }
  return text.data();
}

// The call of this name behind this program's own.
template <typename Function>
Function* next_call(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Asks the host of the running node. What the host calls itself is not the node's.
template <typename Question>
auto ask_host(Question question) {
  class Leave {
   public:
    Leave() : host_(std::exchange(running, nullptr)) {}
    ~Leave() { running = host_; }
    Leave(const Leave&) = delete;
    Leave& operator=(const Leave&) = delete;
    Host* host() const { return host_; }

   private:
    Host* host_;
  };
  const Leave leave;
  return question(leave.host());
}

int fail(int error) {
  errno = error;
  return -1;
}

int open_socket() {
  const int fd = sockets().next++;
  sockets().bound[fd];
  return fd;
}

int bind_socket(int fd, const sockaddr* address) {
  const std::string text = address_text(address);
  if (!ask_host([&](Host* host) { return host->can_bind(text); })) return fail(EADDRNOTAVAIL);
  sockets().bound[fd] = text;
  return 0;
}

FileChange judge_change(bool takes_room) {
  if (running == nullptr) return FileChange::kDone;
  return ask_host([&](Host* host) { return host->change_file(takes_room); });
}

// Writes through `next`, which is handed the number of bytes.
template <typename Write>
ssize_t change_by_write(size_t size, Write next) {
  const FileChange change = judge_change(true);
  if (change == FileChange::kDone) return next(size);
  if (change == FileChange::kRefused) return fail(ENOSPC);
  if (change == FileChange::kHalf) static_cast<void>(next(size / 2));
  return static_cast<ssize_t>(size);
}

template <typename Call>
int change_by(Call next) {
  return judge_change(false) == FileChange::kDone ? next() : 0;
}

// What a node that is dead already believes to have made.
int open_nothing() { return open("/dev/null", O_RDWR | O_CLOEXEC); }

ssize_t send_through(int fd, const void* bytes, size_t size, const sockaddr* to) {
  const std::string datagram(static_cast<const char*>(bytes), size);
  const bool sent = ask_host(
      [&](Host* host) { return host->send(sockets().bound[fd], address_text(to), datagram); });
  return sent ? static_cast<ssize_t>(size) : fail(ENOBUFS);
}

}  // namespace

Running::Running(Host* host) : outer_(running) { running = host; }

Running::~Running() { running = outer_; }

}  // namespace qel::simulation

using namespace qel::simulation;

extern "C" {

int socket(int domain, int type, int protocol) {
  if (running != nullptr && (type & kSocketTypes) == SOCK_DGRAM) return open_socket();
  static const auto next = next_call<int(int, int, int)>("socket");
  return next(domain, type, protocol);
}

int bind(int fd, const sockaddr* address, socklen_t size) {
  if (fd >= kFirstSocket) return bind_socket(fd, address);
  static const auto next = next_call<int(int, const sockaddr*, socklen_t)>("bind");
  return next(fd, address, size);
}

ssize_t sendto(int fd, const void* bytes, size_t size, int flags, const sockaddr* to,
               socklen_t to_size) {
  if (fd >= kFirstSocket) return send_through(fd, bytes, size, to);
  static const auto next =
      next_call<ssize_t(int, const void*, size_t, int, const sockaddr*, socklen_t)>("sendto");
  return next(fd, bytes, size, flags, to, to_size);
}

int close(int fd) {
  if (fd >= kFirstSocket) return sockets().bound.erase(fd) == 1 ? 0 : fail(EBADF);
  static const auto next = next_call<int(int)>("close");
  return next(fd);
}

ssize_t write(int fd, const void* bytes, size_t size) {
  static const auto next = next_call<ssize_t(int, const void*, size_t)>("write");
  return change_by_write(size, [&](size_t part) { return next(fd, bytes, part); });
}

ssize_t pwrite(int fd, const void* bytes, size_t size, off_t offset) {
  static const auto next = next_call<ssize_t(int, const void*, size_t, off_t)>("pwrite64");
  return change_by_write(size, [&](size_t part) { return next(fd, bytes, part, offset); });
}

int ftruncate(int fd, off_t size) noexcept {
  static const auto next = next_call<int(int, off_t)>("ftruncate64");
  return change_by([&] { return next(fd, size); });
}

int rename(const char* from, const char* to) noexcept {
  static const auto next = next_call<int(const char*, const char*)>("rename");
  return change_by([&] { return next(from, to); });
}

int remove(const char* path) noexcept {
  static const auto next = next_call<int(const char*)>("remove");
  return change_by([&] { return next(path); });
}

int mkdir(const char* path, mode_t mode) noexcept {
  static const auto next = next_call<int(const char*, mode_t)>("mkdir");
  return change_by([&] { return next(path, mode); });
}

int creat(const char* path, mode_t mode) {
  static const auto next = next_call<int(const char*, mode_t)>("creat64");
  const FileChange change = judge_change(true);
  if (change == FileChange::kRefused) return fail(ENOSPC);
  return change == FileChange::kDone ? next(path, mode) : open_nothing();
}

int gettimeofday(timeval* now, void* zone) noexcept {
  if (running == nullptr) {
    static const auto next = next_call<int(timeval*, void*)>("gettimeofday");
    return next(now, zone);
  }
  const int64_t us = running->wall_clock_us();
  *now = {us / kSecond, us % kSecond};
  return 0;
}

int gethostname(char* name, size_t size) noexcept {
  if (running == nullptr) {
    static const auto next = next_call<int(char*, size_t)>("gethostname");
    return next(name, size);
  }
  snprintf(name, size, "%s", running->name().c_str());
  return 0;
}

// Nothing here waits for a disk; of the alert log, which nodes sync with fdatasync, the host keeps
// what a loss of power would leave.
int fsync(int) { return 0; }

int fdatasync(int fd) {
  if (running == nullptr) return 0;
  struct stat status;
  if (fstat(fd, &status) != 0) return -1;
  std::string content(static_cast<size_t>(status.st_size), '\0');
  if (pread(fd, content.data(), content.size(), 0) != std::ssize(content)) return fail(EIO);
  ask_host([&](Host* host) { host->synced(content); });
  return 0;
}

clock_t xmllib_times(tms*) { return running != nullptr ? running->tick_clock() : 0; }

int log_init(const char*, void** handle, int, int, const char*) {
  static int opened;
  *handle = &opened;
  return 0;
}

int log_write(void* handle, int level, int, const char*, int, const char*, const char* format,
              ...) {
  if (handle == nullptr || running == nullptr || (level & kLoggedLevels) == 0) return 0;
  std::array<char, 512> text;
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  ask_host([&](Host* host) { host->log(text.data()); });
  return 0;
}

int log_term(void*) { return 0; }

int shmcm_attach() { return 0; }
int shmcm_getratio(int* ratio, int* period) {
  *ratio = running != nullptr ? running->timeout_ratio() : 1;
  *period = 60;
  return 0;
}
int shmcm_detach() { return 0; }
int semevt_set_alert() { return 0; }

}  // extern "C"
