/* The shared-memory object of the product's processes on one host: its layout, and how a process
 * comes to a usable one.
 *
 * Processes of any user make, map and remove it at any moment and may be killed at any instant.
 * What holds nevertheless:
 *
 * 1. The object is made ready under the flock of its descriptor, and `magic` is written last. A
 *    process that finds it without magic takes the lock, looks again and makes it ready itself; so
 *    it does not matter where a creator was killed. Who finds the magic needs no lock.
 * 2. Ratio and period are one atomic word: a reader never sees halves of two settings.
 * 3. A raised event is counted before the waiters are woken, and a waiter sleeps only while the
 *    count is the one that it looked at, so no event is slept through.
 * 4. An object without a name has been removed, by whomever; each call looks, and goes over to the
 *    next object. So nobody stays behind with an object that the others no longer see.
 *
 * Nothing in the object is a lock that a killed process could leave taken.
 */
#ifndef QELIPC_SHARED_STATE_H
#define QELIPC_SHARED_STATE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include "common/unique_fd.h"

namespace qel {

/* Programs of different releases may meet in one object: a change of this layout is a new
 * kLayoutVersion. */
struct SharedState {
  std::atomic<uint32_t> magic;
  uint32_t version;
  std::atomic<uint64_t> timing;      /* ratio in the upper, period in the lower half */
  std::atomic<uint32_t> alert_count; /* events raised; 0 only before the first; futex */
  uint32_t reserved;
};

static_assert(sizeof(SharedState) == 24);
static_assert(offsetof(SharedState, version) == 4);
static_assert(offsetof(SharedState, timing) == 8);
static_assert(offsetof(SharedState, alert_count) == 16);
static_assert(std::atomic<uint32_t>::is_always_lock_free && sizeof(std::atomic<uint32_t>) == 4);
static_assert(std::atomic<uint64_t>::is_always_lock_free && sizeof(std::atomic<uint64_t>) == 8);

constexpr uint32_t kStateMagic = 0x51454C31; /* "QEL1" */
constexpr uint32_t kLayoutVersion = 1;
constexpr int kDefaultRatio = 1;
constexpr int kDefaultPeriod = 60;

constexpr uint64_t pack_timing(int ratio, int period) {
  return static_cast<uint64_t>(static_cast<uint32_t>(ratio)) << 32 | static_cast<uint32_t>(period);
}
constexpr int ratio_of(uint64_t timing) { return static_cast<int>(timing >> 32); }
constexpr int period_of(uint64_t timing) { return static_cast<int>(timing & 0xFFFFFFFF); }

/* The object's name: QEL_IPC_NAME, else "/qelalert". */
const char* shared_state_name();

/* A ready object in this process's memory. */
class StateMapping {
 public:
  enum class Missing { kMake, kFail };

  /* Maps the object; one that is missing is made, or fails with ENOENT. Null: errno tells. */
  static std::shared_ptr<StateMapping> open(Missing missing);

  ~StateMapping();
  StateMapping(const StateMapping&) = delete;
  StateMapping& operator=(const StateMapping&) = delete;

  SharedState& state() { return *state_; }
  bool is_writable() const { return writable_; }

  /* Whether the object's name is gone, so that others make or see another one. */
  bool is_removed() const;

  /* Counts one event and wakes all who wait. Needs a writable mapping. */
  void raise_alert();

 private:
  StateMapping(SharedState* state, UniqueFd fd, bool writable)
      : state_(state), fd_(std::move(fd)), writable_(writable) {}

  SharedState* const state_;
  const UniqueFd fd_; /* without a lock; tells whether the object still has its name */
  const bool writable_;
};

/* Sleeps while the state's count is `seen`, at most timeout_ms. 0 when awake again, maybe before
 * its time; else the errno of the failure. */
int sleep_while(SharedState& state, uint32_t seen, int64_t timeout_ms);

/* Takes the object away, also one that is not ready or not of this layout. 0, or its errno. */
int remove_shared_state();

}  // namespace qel

#endif
