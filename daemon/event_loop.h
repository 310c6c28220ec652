// The daemon's event loop: owners of its sd-event objects.
#pragma once

#include <systemd/sd-event.h>

#include <memory>

namespace qel::daemon {

struct EventUnref {
  void operator()(sd_event* event) const { sd_event_unref(event); }
};
using Event = std::unique_ptr<sd_event, EventUnref>;

// Disables the source, too: its handler's object may go before the loop does.
struct SourceUnref {
  void operator()(sd_event_source* source) const { sd_event_source_disable_unref(source); }
};
using Source = std::unique_ptr<sd_event_source, SourceUnref>;

// A loop in which SIGTERM, SIGINT and SIGHUP are blocked, to be delivered as events: the library
// does not retry interrupted calls. Null with errno on failure.
Event make_event_loop();

}  // namespace qel::daemon
