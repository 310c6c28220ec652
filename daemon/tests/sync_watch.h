// What reaches the disk, and when: calls of fdatasync, watched or failing at will.
//
// An executable with this unit defines fdatasync in place of the C library's; without a SyncWatch
// it only passes the call on.
#pragma once

#include <functional>
#include <utility>

namespace qel::daemon_test {

// One at a time.
class SyncWatch {
 public:
  // `before_sync` runs before each call; when it gives an errno other than 0, the call is not made
  // and fails with it.
  explicit SyncWatch(std::function<int()> before_sync = [] { return 0; });
  ~SyncWatch();
  SyncWatch(const SyncWatch&) = delete;
  SyncWatch& operator=(const SyncWatch&) = delete;

  int calls() const { return calls_; }
  // For fdatasync itself: what the watch that lives now decides.
  static int before_call();

 private:
  std::function<int()> before_sync_;
  int calls_ = 0;
};

}  // namespace qel::daemon_test
