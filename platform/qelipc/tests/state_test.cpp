/* Ratio and period: attaching, reading, setting, rights, removal. */
#include <sys/stat.h>

#include "ipc_fixture.h"

extern "C" int c_ratio_after_set(int ratio, int period);

namespace {

using qel::testing::Child;
using qel::testing::ScopedVariable;

class State : public IpcFixture {};

TEST_F(State, TheFirstUserMakesItWithTheDefaults) {
  ASSERT_FALSE(exists());
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_TRUE(exists());
  EXPECT_EQ(timing(), "1/60");
}

TEST_F(State, TheUmaskDecidesWhoElseMayUseIt) {
  const mode_t before = ::umask(027);
  ASSERT_EQ(shmcm_attach(), 0);
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::fstat(open_object(O_RDONLY).get(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(State, AttachesNest) {
  ASSERT_EQ(shmcm_attach(), 0);
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(shmcm_detach(), 0);
  EXPECT_EQ(timing(), "1/60");
  EXPECT_EQ(shmcm_detach(), 0);
  EXPECT_EQ(timing(), error(ENOTCONN));
  errno = 0;
  EXPECT_EQ(shmcm_detach(), -1);
  EXPECT_EQ(errno, ENOTCONN);
}

TEST_F(State, ItStaysWhenNobodyIsAttached) {
  ASSERT_EQ(shmcm_setratio(3, 20), 0);
  EXPECT_EQ(shmcm_detach(), -1) << "setting attaches and detaches by itself";
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(timing(), "3/20");
}

TEST_F(State, NullPointersAreRefused) {
  ASSERT_EQ(shmcm_attach(), 0);
  int value = 5;
  EXPECT_EQ(shmcm_getratio(nullptr, &value), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(shmcm_getratio(&value, nullptr), -1);
  EXPECT_EQ(value, 5);
}

TEST_F(State, ValuesOutOfRangeAreRefusedAndChangeNothing) {
  ASSERT_EQ(shmcm_setratio(SHMCM_RATIO_MAX, SHMCM_PERIOD_MAX), 0);
  for (const auto& [ratio, period] : {std::pair{0, 60},
                                      {-1, 60},
                                      {SHMCM_RATIO_MAX + 1, 60},
                                      {1, 0},
                                      {1, -1},
                                      {1, SHMCM_PERIOD_MAX + 1}}) {
    errno = 0;
    EXPECT_EQ(shmcm_setratio(ratio, period), -1) << ratio << "/" << period;
    EXPECT_EQ(errno, EINVAL);
  }
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(timing(), "1000/86400");
}

TEST_F(State, OneProcessSeesWhatAnotherSets) {
  ASSERT_EQ(shmcm_attach(), 0);
  Child other([] { return shmcm_setratio(17, 18) == 0 ? 0 : 1; });
  ASSERT_EQ(other.wait(), 0);
  EXPECT_EQ(timing(), "17/18");
}

TEST_F(State, RatioAndPeriodAlwaysBelongToOneSetting) {
  ASSERT_EQ(shmcm_setratio(1, 1), 0);
  ASSERT_EQ(shmcm_attach(), 0);
  Child other([] {
    for (int i = 0; i < 2'000'000; i++) {
      shmcm_setratio(i % 1000 + 1, i % 1000 + 1);
    }
    return 0;
  });
  int last = 0;
  int changes = 0;
  for (int i = 0; i < 300'000; i++) {
    int ratio = 0;
    int period = 0;
    ASSERT_EQ(shmcm_getratio(&ratio, &period), 0);
    ASSERT_EQ(ratio, period);
    changes += ratio != last;
    last = ratio;
  }
  other.kill();
  EXPECT_GT(changes, 1);
}

TEST_F(State, DamagedValuesAreNotHandedOut) {
  ASSERT_EQ(shmcm_attach(), 0);
  const uint64_t out_of_range = uint64_t{5} << 32;
  ASSERT_EQ(::pwrite(open_object(O_RDWR).get(), &out_of_range, sizeof out_of_range, 8), 8);
  EXPECT_EQ(timing(), error(EPROTO));
  ASSERT_EQ(shmcm_setratio(2, 3), 0);
  EXPECT_EQ(timing(), "2/3");
}

TEST_F(State, AnAttachedProcessGoesOverToTheNextObjectAfterARemoval) {
  ASSERT_EQ(shmcm_setratio(5, 6), 0);
  ASSERT_EQ(shmcm_attach(), 0);
  remove();
  EXPECT_EQ(timing(), "1/60");
  Child other([] { return shmcm_setratio(7, 8) == 0 ? 0 : 1; });
  ASSERT_EQ(other.wait(), 0);
  EXPECT_EQ(timing(), "7/8");
}

TEST_F(State, AWrongNameIsRefused) {
  const ScopedVariable wrong("QEL_IPC_NAME", "/a/b");
  errno = 0;
  EXPECT_EQ(shmcm_attach(), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(shmcm_setratio(1, 1), -1);
  EXPECT_EQ(semevt_set_alert(), EINVAL);
  unsigned seen = 0;
  EXPECT_EQ(semevt_wait_alert(&seen, 0), -1);
  EXPECT_EQ(shmcm_detach(), -1) << "a failed attach does not count";
}

/* Runs `work` as a user that owns nothing here. */
template <typename Work>
int as_other_user(Work work) {
  Child child([&] {
    if (::getuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) {
      return 99;
    }
    return work();
  });
  return child.wait();
}

TEST_F(State, WhoMayOnlyReadReadsAndWaitsButSetsNothing) {
  ASSERT_EQ(shmcm_setratio(5, 6), 0);
  ASSERT_EQ(::fchmod(open_object(O_RDONLY).get(), 0444), 0);
  EXPECT_EQ(as_other_user([] {
              unsigned seen = 0;
              const bool reads =
                  shmcm_attach() == 0 && timing() == "5/6" && semevt_wait_alert(&seen, 1) == 0;
              const bool refused =
                  shmcm_setratio(1, 1) == -1 && errno == EACCES && semevt_set_alert() == EACCES;
              return (reads ? 0 : 1) + (refused ? 0 : 2);
            }),
            0);
}

TEST_F(State, WhoMayNotReadIsRefused) {
  ASSERT_EQ(shmcm_setratio(5, 6), 0);
  ASSERT_EQ(::fchmod(open_object(O_RDONLY).get(), 0), 0);
  EXPECT_EQ(as_other_user([] { return shmcm_attach() == -1 && errno == EACCES ? 0 : 1; }), 0);
}

/* The kernel refuses O_CREAT on another user's object in /dev/shm even to root. */
TEST_F(State, AnObjectOfAnotherUserIsUsed) {
  EXPECT_EQ(as_other_user([] {
              ::umask(0);
              return shmcm_setratio(5, 6) == 0 ? 0 : 1;
            }),
            0);
  ASSERT_EQ(shmcm_attach(), 0) << errno;
  EXPECT_EQ(timing(), "5/6");
  EXPECT_EQ(shmcm_setratio(6, 7), 0);
}

TEST_F(State, APlainCProgramSetsAndReads) { EXPECT_EQ(c_ratio_after_set(9, 10), 9); }

}  // namespace
