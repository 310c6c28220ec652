#include "sync_watch.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>

namespace qel::daemon_test {
namespace {

SyncWatch* g_watch = nullptr;

}  // namespace

SyncWatch::SyncWatch(std::function<int()> before_sync) : before_sync_(std::move(before_sync)) {
  g_watch = this;
}

SyncWatch::~SyncWatch() { g_watch = nullptr; }

int SyncWatch::before_call() {
  if (g_watch == nullptr) return 0;
  ++g_watch->calls_;
  return g_watch->before_sync_();
}

}  // namespace qel::daemon_test

extern "C" int fdatasync(int fd) {
  static const auto next = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fdatasync"));
  const int error = qel::daemon_test::SyncWatch::before_call();
  if (error == 0) return next(fd);
  errno = error;
  return -1;
}
