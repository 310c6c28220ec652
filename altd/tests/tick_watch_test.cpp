// The tick: the watch over a resynchronisation, and the cluster's time-out ratio.
#include <gtest/gtest.h>
#include <qelipc.h>

#include "support/tick_run.h"

namespace alt_test {
namespace {

// ---- the stall watch ----------------------------------------------------------------------------

class StallWatch : public TickTest {
 protected:
  static constexpr const char* kStalled = "resync abnormally stoped. resync again.";

  bool stalls_at(clock_t ticks) {
    clock_.set(g_last_resync_time + ticks);
    log_.clear();
    tick();
    return log_.has(kMinor, kStalled);
  }
};

class RunningSteps : public StallWatch, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(StallWatch, RunningSteps,
                         ::testing::Values(RESYN_START, REQ_NAME, RCV_NAME, REQ_ALTID, RCV_ALTID,
                                           REQ_DATA));

TEST_P(RunningSteps, EndWhenNothingMovesForLongerThanTheInterval) {
  g_sync_step = GetParam();
  EXPECT_FALSE(stalls_at(1000));
  EXPECT_EQ(g_sync_step, GetParam());
  EXPECT_TRUE(stalls_at(1001));
  EXPECT_EQ(g_sync_step, RESYN_END);
  EXPECT_FALSE(stalls_at(9999));
}

TEST_F(StallWatch, IdleStateNeverStalls) {
  g_last_resync_time = 0;
  EXPECT_FALSE(stalls_at(1LL << 60));
  EXPECT_EQ(check_newsvr_flag, 0);
}

TEST_F(StallWatch, IntervalOf64BitsIsComparedWhole) {
  g_sync_step = REQ_DATA;
  g_resync_time_interval = 0x100000005;
  EXPECT_FALSE(stalls_at(100));
  EXPECT_FALSE(stalls_at(0x100000005));
  EXPECT_TRUE(stalls_at(0x100000006));
}

TEST_F(StallWatch, ClockBehindTheLastProgressIsNoStall) {
  g_sync_step = REQ_DATA;
  g_resync_time_interval = 0;
  EXPECT_FALSE(stalls_at(-1));
  EXPECT_FALSE(stalls_at(0));
  EXPECT_TRUE(stalls_at(1));
}

TEST_F(StallWatch, IntervalBelowZeroIsASignedNumber) {
  g_sync_step = REQ_DATA;
  g_resync_time_interval = -10;
  EXPECT_FALSE(stalls_at(-10));
  EXPECT_TRUE(stalls_at(-9));
}

TEST_F(StallWatch, StalledPeerIsKeptForALaterTry) {
  put(&new_server_list, {"node2", "node3"});
  g_sync_step = REQ_NAME;
  sync_single_svrname_flag = 1;
  sync_single_altid_flag = 1;
  ASSERT_TRUE(stalls_at(1001));
  EXPECT_EQ(names_of(new_server_list), (Texts{"node2", "node3", "node2"}));
  EXPECT_EQ(check_newsvr_flag, 1);
  EXPECT_EQ(sync_single_svrname_flag, 0);
  EXPECT_EQ(sync_single_altid_flag, 0);
}

TEST_F(StallWatch, NewServersAreCheckedAnIntervalLaterTheTickOfTheStallIncluded) {
  g_alert_cheknewsvr_interval = 4;
  g_sync_step = REQ_NAME;
  clock_.set(kStart + 1001);
  EXPECT_EQ(ticks_of("check_newsvr_now", 40), Ticks{4});
}

// The watch comes before the waits: what they note is too late.
TEST_F(StallWatch, WaitThatEndsAtTheSameTickIsEndedByTheStall) {
  g_get_srvname_timeout = 1;
  g_sync_step = REQ_NAME;
  sync_single_svrname_flag = 1;
  clock_.set(kStart + 1001);
  EXPECT_EQ(ticks_of("sync_single_svrname_now", 3), Ticks{});
  EXPECT_EQ(g_last_resync_time, kStart);
}

// ---- the ratio during ticks ---------------------------------------------------------------------

// With the host's shared state, of this process alone.
class Ratio : public TickTest {
 protected:
  static void set_shared(int ratio) { ASSERT_EQ(shmcm_setratio(ratio, 77), 0); }
};

class NoReading : public Ratio, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ratio, NoReading, ::testing::Values(2, 5, 60));

TEST_P(NoReading, WithAnIntervalAboveOneTheRatioIsNeverRead) {
  set_shared(9);
  g_alert_getradio_interval = GetParam();
  int attached = 0;
  const Interception count(Site::kRatioAttach, [&](size_t) { return ++attached, kPass; });
  raised_to(200);
  EXPECT_EQ(attached, 0);
  EXPECT_EQ(current_ratio, 1);
}

class Reading : public Ratio, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ratio, Reading, ::testing::Values(1, 0, -7));

TEST_P(Reading, WithAnIntervalOfAtMostOneTheRatioIsReadAtEachTick) {
  g_alert_getradio_interval = GetParam();
  for (const int ratio : {4, 9, 1, 1000}) {
    set_shared(ratio);
    tick();
    EXPECT_EQ(current_ratio, ratio);
  }
}

TEST_F(Ratio, NewRatioStretchesWhatIsReloadedAtTheSameTick) {
  g_alert_getradio_interval = 1;
  g_resend_timeout = 3;
  set_shared(4);
  EXPECT_EQ(ticks_of("resend_now", 2), Ticks{});
  set_shared(2);
  EXPECT_EQ(ticks_of("resend_now", 15), (Ticks{3, 9, 15}));
}

TEST_F(Ratio, TickWithoutARatioGoesOnWithOne) {
  g_alert_getradio_interval = 1;
  g_resend_timeout = 3;
  current_ratio = 50;
  const Fault fault(Site::kRatioAttach, EACCES);
  EXPECT_EQ(ticks_of("resend_now", 154), (Ticks{150, 153}));
  EXPECT_EQ(current_ratio, 1);
}

TEST_F(Ratio, CountersAreLockedDuringATickButTheRatiosInterval) {
  g_alert_getradio_interval = 1;
  int tries = 0;
  const Interception read(Site::kRatioRead, [&](size_t) {
    EXPECT_EQ(pthread_mutex_trylock(&timeout_variable_mutex), EBUSY);
    return ++tries, kPass;
  });
  tick();
  EXPECT_EQ(tries, 1);
  EXPECT_EQ(pthread_mutex_trylock(&timeout_variable_mutex), 0);
  pthread_mutex_unlock(&timeout_variable_mutex);
}

// ---- reading the ratio --------------------------------------------------------------------------

TEST_F(Ratio, IsReadTogetherWithItsPeriod) {
  ASSERT_EQ(shmcm_setratio(13, 44), 0);
  int ratio = 0;
  int period = 0;
  log_.clear();
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(ratio, 13);
  EXPECT_EQ(period, 44);
  EXPECT_EQ(log_.texts(kDump), (Texts{"shmcm_attach() succeeded.", "shmcm_getratio() succeeded.",
                                      "shmcm_detach() succeeded."}));
  EXPECT_EQ(log_.texts(kTrace), (Texts{"Enter function: alert_shmcm_getratio",
                                       "Leave function: alert_shmcm_getratio"}));
}

TEST_F(Ratio, NothingStaysAttached) {
  int ratio = 0;
  int period = 0;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(shmcm_detach(), -1);
}

TEST_F(Ratio, SharedStateThatCannotBeMappedLeavesARatioOfOne) {
  setenv("QEL_IPC_NAME", "/no/name", 1);
  int ratio = 50;
  int period = 6;
  log_.clear();
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), -1);
  EXPECT_EQ(ratio, 1);
  EXPECT_EQ(log_.texts(kMinor), Texts{"shmcm_attach() failed. (ret=-1)"});
  EXPECT_EQ(log_.texts(kTrace), Texts{"Enter function: alert_shmcm_getratio"});
}

TEST_F(Ratio, AttachIsTriedAnewAfterItFailed) {
  set_shared(6);
  int ratio = 50;
  int period = 0;
  {
    const Fault fault(Site::kRatioAttach, ENOENT);
    EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), -1);
  }
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(ratio, 6);
}

TEST_F(Ratio, ThatCannotBeReadIsOneAndTheStateIsDetached) {
  set_shared(6);
  int ratio = 50;
  int period = 0;
  {
    const Fault fault(Site::kRatioRead, EPROTO);
    EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), -1);
  }
  EXPECT_EQ(ratio, 1);
  EXPECT_EQ(log_.texts(kMinor), Texts{"shmcm_getratio() failed. (ret=-1)"});
  EXPECT_TRUE(log_.has(kDump, "shmcm_detach() succeeded."));
  EXPECT_TRUE(log_.has(kTrace, "Leave function: alert_shmcm_getratio"));
  EXPECT_EQ(shmcm_detach(), -1);
}

TEST_F(Ratio, AttachmentThatCannotBeUndoneIsUsedByTheNextCall) {
  set_shared(6);
  int ratio = 0;
  int period = 0;
  {
    const Fault fault(Site::kRatioDetach, ENOTCONN);
    EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), -1);
  }
  EXPECT_EQ(ratio, 6);
  EXPECT_EQ(log_.texts(kMinor), Texts{"shmcm_detach() failed. (ret=-1)"});
  EXPECT_TRUE(log_.has(kTrace, "Leave function: alert_shmcm_getratio"));

  set_shared(7);
  int attached = 0;
  const Interception count(Site::kRatioAttach, [&](size_t) { return ++attached, kPass; });
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(ratio, 7);
  EXPECT_EQ(attached, 0);
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(attached, 1);
}

class LowRatio : public Ratio, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(Ratio, LowRatio, ::testing::Values(0, -1, -1000));

TEST_P(LowRatio, BelowOneIsOne) {
  int ratio = GetParam();
  int period = 0;
  const Fault untouched(Site::kRatioRead, kReturnZero);
  EXPECT_EQ(alert_shmcm_getratio(&ratio, &period), 0);
  EXPECT_EQ(ratio, 1);
}

}  // namespace
}  // namespace alt_test
