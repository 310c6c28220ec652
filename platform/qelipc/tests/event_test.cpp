/* The new-alert event: counting, waking across processes, signals, removal while waiting. */
#include <atomic>
#include <limits>
#include <thread>

#include "ipc_fixture.h"

namespace {

using qel::testing::Channel;
using qel::testing::Child;
using qel::testing::wait_until_asleep;

class Event : public IpcFixture {};

TEST_F(Event, NothingRaisedTimesOut) {
  unsigned seen = 0;
  EXPECT_EQ(semevt_wait_alert(&seen, 0), 0);
  EXPECT_EQ(semevt_wait_alert(&seen, 5), 0);
  EXPECT_EQ(seen, 0U);
}

TEST_F(Event, AnEventRaisedBeforeTheFirstWaitCountsOnce) {
  ASSERT_EQ(semevt_set_alert(), 0);
  ASSERT_EQ(semevt_set_alert(), 0);
  unsigned seen = 0;
  EXPECT_EQ(semevt_wait_alert(&seen, -1), 1);
  EXPECT_EQ(seen, 2U);
  EXPECT_EQ(semevt_wait_alert(&seen, 0), 0);
  EXPECT_EQ(seen, 2U);
}

TEST_F(Event, RaisingAndWaitingLeaveNoAttachmentBehind) {
  unsigned seen = 0;
  ASSERT_EQ(semevt_set_alert(), 0);
  ASSERT_EQ(semevt_wait_alert(&seen, 0), 1);
  EXPECT_EQ(shmcm_detach(), -1);
}

TEST_F(Event, WithoutAPlaceForTheCountItFails) {
  EXPECT_EQ(semevt_wait_alert(nullptr, 0), -1);
  EXPECT_EQ(errno, EINVAL);
}

TEST_F(Event, EveryWaitingProcessGoesOn) {
  constexpr int kWaiters = 5;
  Channel ready;
  std::vector<Child> waiters;
  waiters.reserve(kWaiters);
  for (int i = 0; i < kWaiters; i++) {
    waiters.emplace_back([&] {
      unsigned seen = 0;
      (void)semevt_wait_alert(&seen, 0);
      (void)ready.send();
      return semevt_wait_alert(&seen, -1) == 1 && seen == 1 ? 0 : 1;
    });
  }
  for (int i = 0; i < kWaiters; i++) {
    ASSERT_TRUE(ready.receive());
  }
  for (const Child& waiter : waiters) {
    ASSERT_TRUE(wait_until_asleep(waiter.pid()));
  }
  ASSERT_EQ(semevt_set_alert(), 0);
  for (Child& waiter : waiters) {
    EXPECT_EQ(waiter.wait(), 0);
  }
}

bool wait_for_count(unsigned count, unsigned* seen) {
  while (*seen != count) {
    if (semevt_wait_alert(seen, -1) != 1) {
      return false;
    }
  }
  return true;
}

/* Two processes play ball with the event. Waking up only by looking again takes longer than this
 * test may run. */
TEST_F(Event, NoEventIsSleptThrough) {
  constexpr unsigned kRounds = 5000;
  Child other([] {
    unsigned seen = 0;
    for (unsigned i = 0; i < kRounds; i++) {
      if (!wait_for_count(2 * i + 1, &seen) || semevt_set_alert() != 0) {
        return 1;
      }
    }
    return 0;
  });
  unsigned seen = 0;
  for (unsigned i = 0; i < kRounds; i++) {
    ASSERT_EQ(semevt_set_alert(), 0);
    ASSERT_TRUE(wait_for_count(2 * i + 2, &seen));
  }
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(Event, RaisingFromManyProcessesIsCountedInFull) {
  constexpr int kRaisers = 4;
  std::vector<Child> raisers;
  raisers.reserve(kRaisers);
  for (int i = 0; i < kRaisers; i++) {
    raisers.emplace_back([] {
      for (int n = 0; n < 1000; n++) {
        if (semevt_set_alert() != 0) {
          return 1;
        }
      }
      return 0;
    });
  }
  for (Child& raiser : raisers) {
    EXPECT_EQ(raiser.wait(), 0);
  }
  unsigned seen = 0;
  EXPECT_EQ(semevt_wait_alert(&seen, 0), 1);
  EXPECT_EQ(seen, 4000U);
}

TEST_F(Event, TheCountSkipsZeroWhenItWraps) {
  ASSERT_EQ(semevt_set_alert(), 0);
  const unsigned last = std::numeric_limits<unsigned>::max();
  ASSERT_EQ(::pwrite(open_object(O_RDWR).get(), &last, sizeof last, 16), 4);
  unsigned seen = last;
  ASSERT_EQ(semevt_wait_alert(&seen, 0), 0);
  ASSERT_EQ(semevt_set_alert(), 0);
  EXPECT_EQ(semevt_wait_alert(&seen, 0), 1);
  EXPECT_EQ(seen, 1U);
}

/* The library must hand every signal to its caller, who may want to end. */
TEST_F(Event, ASignalEndsTheWaitEvenWhenItsHandlerRestartsCalls) {
  for (const int timeout_ms : {-1, 600'000}) {
    Channel ready;
    Child waiter([&] {
      struct sigaction action {};
      action.sa_handler = [](int) {};
      action.sa_flags = SA_RESTART;
      ::sigaction(SIGUSR1, &action, nullptr);
      unsigned seen = 0;
      (void)ready.send();
      return semevt_wait_alert(&seen, timeout_ms) == -1 && errno == EINTR ? 0 : 1;
    });
    ASSERT_TRUE(ready.receive());
    ASSERT_TRUE(wait_until_asleep(waiter.pid()));
    ASSERT_EQ(::kill(waiter.pid(), SIGUSR1), 0);
    EXPECT_EQ(waiter.wait(), 0) << timeout_ms;
  }
}

TEST_F(Event, RemovalWakesTheWaiterWhoGoesOverToTheNextObject) {
  for (const bool attached : {false, true}) {
    Channel ready;
    Channel woken;
    Channel raised;
    ASSERT_EQ(semevt_set_alert(), 0);
    Child waiter([&] {
      if (attached && shmcm_attach() != 0) {
        return 1;
      }
      unsigned seen = 0;
      (void)semevt_wait_alert(&seen, 0);
      (void)ready.send();
      if (semevt_wait_alert(&seen, -1) != 1 || seen != 0) {
        return 2;
      }
      (void)woken.send();
      (void)raised.receive();
      return semevt_wait_alert(&seen, 0) == 1 && seen == 1 ? 0 : 3;
    });
    ASSERT_TRUE(ready.receive());
    ASSERT_TRUE(wait_until_asleep(waiter.pid()));
    remove(); /* and nobody wakes the waiter, which looks by itself */
    ASSERT_TRUE(woken.receive());
    ASSERT_EQ(semevt_set_alert(), 0);
    ASSERT_TRUE(raised.send());
    EXPECT_EQ(waiter.wait(), 0) << (attached ? "attached" : "not attached");
    remove();
  }
}

TEST_F(Event, ADetachByAnotherThreadLeavesTheWaiterItsState) {
  ASSERT_EQ(shmcm_attach(), 0);
  int result = 0;
  unsigned seen = 0;
  std::atomic<pid_t> id = 0;
  std::thread waiter([&] {
    id = ::gettid();
    result = semevt_wait_alert(&seen, -1);
  });
  while (id == 0) {
    std::this_thread::yield();
  }
  const bool asleep = wait_until_asleep(id);
  ASSERT_EQ(shmcm_detach(), 0);
  ASSERT_EQ(semevt_set_alert(), 0);
  waiter.join();
  EXPECT_TRUE(asleep);
  EXPECT_EQ(result, 1);
  EXPECT_EQ(seen, 1U);
}

}  // namespace
