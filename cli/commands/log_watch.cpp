#include "commands/log_watch.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <cerrno>

#include "alerts/failure.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr uint32_t kChanges =
    IN_MODIFY | IN_CREATE | IN_DELETE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE_SELF | IN_ONLYDIR;
constexpr int kDirectoryRetry_ms = 1000;  // a directory that is not there is looked for again

}  // namespace

LogWatch::LogWatch(const std::string& log_path)
    : directory_(log_path.substr(0, log_path.rfind('/') + 1)),
      name_(log_path.substr(log_path.rfind('/') + 1)),
      inotify_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (!inotify_) throw Failure(kFailed, with_errno("cannot watch the alert log", errno));
  watch_directory();
}

void LogWatch::watch_directory() {
  watch_ = inotify_add_watch(inotify_.get(), directory_.c_str(), kChanges);
}

// Whether one of them concerns the log.
bool LogWatch::take_events() {
  alignas(inotify_event) char events[4096];
  bool changed = false;
  ssize_t size;
  while ((size = read(inotify_.get(), events, sizeof events)) > 0) {
    for (const char* at = events; at < events + size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(at);
      const bool of_log = event->len > 0 && name_ == event->name;
      changed = changed || of_log || (event->mask & IN_Q_OVERFLOW) != 0;
      if ((event->mask & IN_IGNORED) != 0 && event->wd == watch_) watch_ = -1;
      at += sizeof *event + event->len;
    }
  }
  return changed;
}

bool LogWatch::wait(int timeout_ms) {
  if (watch_ < 0) watch_directory();
  const bool blind = watch_ < 0;
  pollfd sources[] = {{inotify_.get(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
  const int result = poll(sources, 2, blind ? kDirectoryRetry_ms : timeout_ms);
  if (result > 0 && (sources[1].revents & (POLLERR | POLLHUP)) != 0) throw ReaderGone();
  return take_events() || blind;
}

}  // namespace qel::cli
