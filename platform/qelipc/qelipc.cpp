#include "qelipc.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <exception>
#include <memory>
#include <mutex>

#include "shared_state.h"

namespace {

using qel::StateMapping;
using MappingPointer = std::shared_ptr<StateMapping>;

/* A waiter looks again this often: whoever raised the event or removed the state may have been
 * killed before waking anybody. */
constexpr int64_t kLookAgainMs = 1000;

/* The process's attachment. Who waits keeps the mapping alive over a detach of another thread. */
class Attachment {
 public:
  bool attach() {
    const std::lock_guard lock(mutex_);
    if (!refresh()) {
      return false;
    }
    count_++;
    return true;
  }

  bool detach() {
    const std::lock_guard lock(mutex_);
    if (count_ == 0) {
      errno = ENOTCONN;
      return false;
    }
    if (--count_ == 0) {
      mapping_.reset();
    }
    return true;
  }

  /* The state that an attached process sees; null (errno) when not attached. */
  MappingPointer attached() {
    const std::lock_guard lock(mutex_);
    if (count_ == 0) {
      errno = ENOTCONN;
      return nullptr;
    }
    return refresh() ? mapping_ : nullptr;
  }

  /* The same, or a mapping for one call. */
  MappingPointer attached_or_own() {
    const std::lock_guard lock(mutex_);
    if (count_ == 0) {
      return StateMapping::open(StateMapping::Missing::kMake);
    }
    return refresh() ? mapping_ : nullptr;
  }

 private:
  /* Maps the state, anew when the mapped one has been removed. */
  bool refresh() {
    if (!mapping_ || mapping_->is_removed()) {
      if (MappingPointer fresh = StateMapping::open(StateMapping::Missing::kMake)) {
        mapping_ = fresh;
        return true;
      }
      return false;
    }
    return true;
  }

  std::mutex mutex_;
  int count_ = 0;
  MappingPointer mapping_;
};

Attachment g_attachment;

/* Runs the body of a call; -1 and ENOMEM for what it throws. */
template <typename Body>
int guarded(Body body) {
  try {
    return body();
  } catch (const std::exception&) {
    errno = ENOMEM;
    return -1;
  }
}

bool is_valid(int ratio, int period) {
  return ratio >= 1 && ratio <= SHMCM_RATIO_MAX && period >= 1 && period <= SHMCM_PERIOD_MAX;
}

int fail(int reason) {
  errno = reason;
  return -1;
}

/* A mapping that may be written to; null: errno tells. */
MappingPointer writable_mapping() {
  MappingPointer mapping = g_attachment.attached_or_own();
  if (mapping && !mapping->is_writable()) {
    errno = EACCES;
    return nullptr;
  }
  return mapping;
}

int read_timing(int* ratio, int* period) {
  const MappingPointer mapping = g_attachment.attached();
  if (!mapping) {
    return -1;
  }
  const uint64_t timing = mapping->state().timing.load();
  if (!is_valid(qel::ratio_of(timing), qel::period_of(timing))) {
    return fail(EPROTO);
  }
  *ratio = qel::ratio_of(timing);
  *period = qel::period_of(timing);
  return 0;
}

/* What became of the event since `*seen`: true when that ends the wait. */
bool take_change(StateMapping& mapping, unsigned* seen) {
  if (mapping.is_removed()) {
    *seen = 0;
    return true;
  }
  const unsigned count = mapping.state().alert_count.load();
  const bool raised = count != *seen;
  *seen = count;
  return raised;
}

int wait_alert(unsigned* seen, int timeout_ms) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  const MappingPointer mapping = g_attachment.attached_or_own();
  if (!mapping) {
    return -1;
  }
  while (!take_change(*mapping, seen)) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
    if (timeout_ms >= 0 && left <= 0) {
      return 0;
    }
    const int64_t sleep_ms = timeout_ms < 0 ? kLookAgainMs : std::min(kLookAgainMs, left);
    const int failure = qel::sleep_while(mapping->state(), *seen, sleep_ms);
    if (failure != 0) {
      return fail(failure);
    }
  }
  return 1;
}

}  // namespace

int shmcm_attach() {
  return guarded([] { return g_attachment.attach() ? 0 : -1; });
}

int shmcm_getratio(int* ratio, int* period) {
  if (ratio == nullptr || period == nullptr) {
    return fail(EINVAL);
  }
  return guarded([&] { return read_timing(ratio, period); });
}

int shmcm_detach() {
  return guarded([] { return g_attachment.detach() ? 0 : -1; });
}

int semevt_set_alert() {
  const int result = guarded([] {
    const MappingPointer mapping = writable_mapping();
    if (!mapping) {
      return -1;
    }
    mapping->raise_alert();
    return 0;
  });
  return result == 0 ? 0 : errno;
}

int shmcm_setratio(int ratio, int period) {
  if (!is_valid(ratio, period)) {
    return fail(EINVAL);
  }
  return guarded([&] {
    const MappingPointer mapping = writable_mapping();
    if (!mapping) {
      return -1;
    }
    mapping->state().timing.store(qel::pack_timing(ratio, period));
    return 0;
  });
}

int semevt_wait_alert(unsigned* seen, int timeout_ms) {
  if (seen == nullptr) {
    return fail(EINVAL);
  }
  return guarded([&] { return wait_alert(seen, timeout_ms); });
}
