#include "event_loop.h"

#include <signal.h>

#include <cerrno>
#include <initializer_list>

namespace qel::daemon {

Event make_event_loop() {
  sigset_t handled;
  sigemptyset(&handled);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&handled, number);
  signal(SIGPIPE, SIG_IGN);
  if (sigprocmask(SIG_BLOCK, &handled, nullptr) != 0) return nullptr;
  sd_event* event = nullptr;
  const int result = sd_event_default(&event);
  if (result < 0) {
    errno = -result;
    return nullptr;
  }
  return Event(event);
}

}  // namespace qel::daemon
