// The tick: what it counts down, and which request flags it raises when.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "support/messages.h"
#include "support/tick_run.h"

namespace alt_test {
namespace {

class Tick : public TickTest {};

constexpr size_t kTableSize = sizeof(local_svrname_list);

// ---- start-up -----------------------------------------------------------------------------------

TEST_F(Tick, InitializeClearsTablesAndCursors) {
  for (auto* table : {local_svrname_list, single_svrname_list, sync_single_svrname_list}) {
    std::fill_n(table[0], kTableSize, 'x');
  }
  for (al_sync_data* cursor : {&begin_sync_data, &sync_single_data}) {
    memset(cursor, 'x', sizeof(*cursor));
  }
  log_.clear();
  initialize();
  for (auto* table : {local_svrname_list, single_svrname_list, sync_single_svrname_list}) {
    EXPECT_EQ(std::string(table[0], kTableSize), std::string(kTableSize, '\0'));
  }
  for (const al_sync_data* cursor : {&begin_sync_data, &sync_single_data}) {
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(cursor), sizeof(*cursor)),
              std::string(144, '\0'));
  }
  EXPECT_EQ(log_.texts(kTrace),
            (Texts{"Enter function: initialize", "Leave function: initialize"}));
}

TEST_F(Tick, InitializeLeavesStateSequenceRatioAndHistoryAlone) {
  g_sync_step = REQ_DATA;
  sequencenum = 77;
  current_ratio = 3;
  expect_reply_to(5);
  initialize();
  EXPECT_EQ(g_sync_step, REQ_DATA);
  EXPECT_EQ(sequencenum, 77U);
  EXPECT_EQ(current_ratio, 3);
  EXPECT_TRUE(waits_for(5));
}

TEST_F(Tick, FreeMutexIsLeftFreeByATick) {
  ASSERT_EQ(pthread_mutex_trylock(&timeout_variable_mutex), 0);
  pthread_mutex_unlock(&timeout_variable_mutex);
  tick();
  EXPECT_EQ(pthread_mutex_trylock(&timeout_variable_mutex), 0);
  pthread_mutex_unlock(&timeout_variable_mutex);
}

TEST_F(Tick, NothingIsRaisedBeforeItsTime) { EXPECT_EQ(raised_to(14), Texts{}); }

TEST_F(Tick, StateIsLoggedAtEachTick) {
  g_sync_step = REQ_ALTID;
  raised_to(3);
  EXPECT_EQ(log_.count(kDump, "g_sync_step = 3"), 3);
}

// Everything together, as a daemon meets it.
TEST_F(Tick, AllCountdownsRunBesideEachOther) {
  g_resend_timeout = 3;
  g_alert_retry_count = 2;
  g_hb_timeout = 10;
  g_get_altid_timeout = 4;
  g_get_srvname_timeout = 5;
  start_write_local_logfile = 1;
  start_count_time_for_maxalertid_localserver = 1;
  sync_single_svrname_flag = 1;
  sync_single_altid_flag = 1;
  EXPECT_EQ(raised_to(10), (Texts{"2 write_alert_now", "3 resend_now", "4 write_alert_now",
                                  "4 sync_single_altid_now", "4 get_maxalertid_localserver_now",
                                  "5 sync_single_svrname_now", "6 write_alert_now", "6 resend_now",
                                  "7 drop_now", "8 write_alert_now", "9 resend_now",
                                  "10 write_alert_now", "10 start_heartbeat_now"}));
}

// ---- resend and drop ----------------------------------------------------------------------------

struct Resend {
  const char* name;
  int ratio;
  int timeout;
  int retries;
  int last;
  std::vector<int> resent;
  std::vector<int> dropped;
};
void PrintTo(const Resend& row, std::ostream* out) { *out << row.name; }
class ResendTable : public TickTest, public ::testing::WithParamInterface<Resend> {
 protected:
  ResendTable() {
    current_ratio = GetParam().ratio;
    g_resend_timeout = GetParam().timeout;
    g_alert_retry_count = GetParam().retries;
  }
};
INSTANTIATE_TEST_SUITE_P(
    Tick, ResendTable,
    ::testing::Values(
        Resend{"three seconds, two retries", 1, 3, 2, 15, {3, 6, 9, 12, 15}, {7, 14}},
        Resend{"ratio", 2, 3, 2, 27, {6, 12, 18, 24}, {13, 26}},
        Resend{"one second", 1, 1, 3, 9, {1, 2, 3, 4, 5, 6, 7, 8, 9}, {4, 8}},
        Resend{"no time", 1, 0, 9, 4, {1, 2, 3, 4}, {1, 2, 3, 4}},
        Resend{"no retry", 5, 2, 0, 4, {}, {1, 2, 3, 4}},
        Resend{"no ratio", 0, 3, 2, 3, {1, 2, 3}, {1, 2, 3}},
        Resend{"less than no time", 1, -5, 2, 3, {1, 2, 3}, {1, 2, 3}},
        // Only the first wait is held at 999, and that of the drop never.
        Resend{"more than is waited for at first", 1, 1200, 1, 2500, {999, 2199}, {1201, 2402}},
        Resend{"ratio beyond the first wait", 400, 3, 1, 2500, {999, 2199}, {1201, 2402}},
        Resend{"just what is waited for at first", 1, 999, 1, 2000, {999, 1998}, {1000, 2000}}));

TEST_P(ResendTable, IsWhenMessagesAreSentAgain) {
  EXPECT_EQ(ticks_of("resend_now", GetParam().last), GetParam().resent);
}

TEST_P(ResendTable, IsWhenMessagesAreGivenUp) {
  EXPECT_EQ(ticks_of("drop_now", GetParam().last), GetParam().dropped);
}

TEST_F(Tick, SettingsAndRatioTakeEffectWithTheNextReload) {
  g_resend_timeout = 4;
  EXPECT_EQ(ticks_of("resend_now", 1), Ticks{});
  g_resend_timeout = 2;
  current_ratio = 3;
  EXPECT_EQ(ticks_of("resend_now", 20), (Ticks{4, 10, 16}));
}

// ---- heartbeat, announcement, list of servers ---------------------------------------------------

struct Period {
  const char* name;
  const char* flag;
  int* setting;
  int ratio;
  int value;
  int last;
  std::vector<int> ticks;
};
void PrintTo(const Period& row, std::ostream* out) { *out << row.name; }
class PeriodTable : public TickTest, public ::testing::WithParamInterface<Period> {};
INSTANTIATE_TEST_SUITE_P(
    Tick, PeriodTable,
    ::testing::Values(
        Period{"heartbeat", "start_heartbeat_now", &g_hb_timeout, 1, 4, 13, {4, 8, 12}},
        Period{"stretched heartbeat", "start_heartbeat_now", &g_hb_timeout, 3, 4, 30, {12, 24}},
        Period{"no heartbeat time", "start_heartbeat_now", &g_hb_timeout, 1, 0, 3, {1, 2, 3}},
        Period{"long heartbeat",
               "start_heartbeat_now",
               &g_hb_timeout,
               2,
               600,
               3500,
               {999, 2199, 3399}},
        Period{"announcement",
               "start_send_new_server_now",
               &g_sendtonewsvr_interval,
               1,
               7,
               30,
               {15, 22, 29}},
        Period{"announcement without time",
               "start_send_new_server_now",
               &g_sendtonewsvr_interval,
               1,
               0,
               17,
               {15, 16, 17}},
        Period{"announcement is not stretched",
               "start_send_new_server_now",
               &g_sendtonewsvr_interval,
               10,
               7,
               30,
               {15, 22, 29}},
        Period{"list of servers",
               "check_svrlist_now",
               &g_alert_chksrvlist_interval,
               1,
               50,
               420,
               {300, 350, 400}},
        Period{"list of servers is not stretched",
               "check_svrlist_now",
               &g_alert_chksrvlist_interval,
               10,
               1200,
               1600,
               {300, 1500}}));

TEST_P(PeriodTable, IsWhenTheFlagIsRaised) {
  current_ratio = GetParam().ratio;
  *GetParam().setting = GetParam().value;
  EXPECT_EQ(ticks_of(GetParam().flag, GetParam().last), GetParam().ticks);
}

TEST_F(Tick, FlagThatNobodyClearsStaysRaised) {
  g_resend_timeout = 3;
  for (int i = 0; i < 8; ++i) tick();
  EXPECT_EQ(resend_now, 1);
}

// ---- local writing ------------------------------------------------------------------------------

TEST_F(Tick, IntakeIsDrainedEverySecondTickWhileLocalWritingIsAllowed) {
  start_write_local_logfile = 1;
  EXPECT_EQ(ticks_of("write_alert_now", 7), (Ticks{2, 4, 6}));
}

TEST_F(Tick, IntakeIsDrainedAtTheFirstTickAfterThePermission) {
  EXPECT_EQ(ticks_of("write_alert_now", 9), Ticks{});
  start_write_local_logfile = 1;
  EXPECT_EQ(ticks_of("write_alert_now", 14), (Ticks{10, 12, 14}));
}

TEST_F(Tick, IntakeRestsWhenThePermissionIsTakenBack) {
  start_write_local_logfile = 1;
  raised_to(3);
  start_write_local_logfile = 0;
  EXPECT_EQ(ticks_of("write_alert_now", 9), Ticks{});
}

// ---- the wait for this server's own highest id --------------------------------------------------

TEST_F(Tick, OwnHighestIdIsAdoptedOnceAfterTheWait) {
  g_get_altid_timeout = 3;
  current_ratio = 2;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 4), Ticks{});
  start_count_time_for_maxalertid_localserver = 1;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 30), Ticks{10});
  EXPECT_EQ(start_count_time_for_maxalertid_localserver, 0);
}

TEST_F(Tick, InterruptedWaitForTheHighestIdGoesOnWhereItStood) {
  g_get_altid_timeout = 5;
  start_count_time_for_maxalertid_localserver = 1;
  raised_to(3);
  start_count_time_for_maxalertid_localserver = 0;
  raised_to(20);
  start_count_time_for_maxalertid_localserver = 7;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 40), Ticks{22});
  start_count_time_for_maxalertid_localserver = 1;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 60), Ticks{45});
}

TEST_F(Tick, FirstWaitForTheHighestIdIsHeldAndLaterOnesAreNot) {
  g_get_altid_timeout = 1100;
  start_count_time_for_maxalertid_localserver = 1;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 1000), Ticks{999});
  start_count_time_for_maxalertid_localserver = 1;
  EXPECT_EQ(ticks_of("get_maxalertid_localserver_now", 2300), Ticks{2100});
}

// ---- the waits of a resynchronisation -----------------------------------------------------------

struct Wait {
  const char* name;
  const char* flag;
  int* arming;
  int* countdown;
  int* setting;
};
void PrintTo(const Wait& row, std::ostream* out) { *out << row.name; }
class WaitTable : public TickTest, public ::testing::WithParamInterface<Wait> {
 protected:
  Ticks ticks(int last) { return ticks_of(GetParam().flag, last); }
};
INSTANTIATE_TEST_SUITE_P(
    Tick, WaitTable,
    ::testing::Values(Wait{"names", "sync_single_svrname_now", &sync_single_svrname_flag,
                           &sync_single_svrname_time, &g_get_srvname_timeout},
                      Wait{"ids", "sync_single_altid_now", &sync_single_altid_flag,
                           &sync_single_altid_time, &g_get_altid_timeout}));

TEST_P(WaitTable, EndsOnceAndIsReloaded) {
  *GetParam().setting = 4;
  current_ratio = 2;
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(7), Ticks{});
  EXPECT_EQ(ticks(8), Ticks{8});
  EXPECT_EQ(*GetParam().arming, 0);
  EXPECT_EQ(*GetParam().countdown, 8);
  EXPECT_EQ(ticks(40), Ticks{});
}

TEST_P(WaitTable, CountsOnWithoutItsArmAndEndsAtTheTickAfterIt) {
  *GetParam().setting = 4;
  EXPECT_EQ(ticks(20), Ticks{});
  EXPECT_EQ(*GetParam().countdown, 4 - 20);
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(40), Ticks{21});
}

TEST_P(WaitTable, CanBeArmedWithATimeOfItsOwn) {
  *GetParam().setting = 4;
  raised_to(2);
  *GetParam().countdown = 10;
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(40), Ticks{12});
}

TEST_P(WaitTable, NotesProgressWhenItEnds) {
  *GetParam().setting = 3;
  *GetParam().arming = 1;
  clock_.set(kStart + 50);
  raised_to(2);
  EXPECT_EQ(g_last_resync_time, kStart);
  raised_to(3);
  EXPECT_EQ(g_last_resync_time, kStart + 50);
}

TEST_P(WaitTable, IsHeldBetween1And999AtTheFirstTickAndAtEachReload) {
  *GetParam().setting = 2500;
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(1000), Ticks{999});
  EXPECT_EQ(*GetParam().countdown, 998);
  *GetParam().setting = -2500;
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(1998), Ticks{1998});
  EXPECT_EQ(*GetParam().countdown, 1);
}

TEST_P(WaitTable, OfNoTimeEndsAtTheFirstTick) {
  *GetParam().setting = 0;
  *GetParam().arming = 1;
  EXPECT_EQ(ticks(5), Ticks{1});
}

// ---- the new-server check -----------------------------------------------------------------------

TEST_F(Tick, NewServersAreCheckedFirstAfterThirtyTicks) {
  g_alert_cheknewsvr_interval = 10;
  check_newsvr_flag = 1;
  clock_.set(kStart + 9);
  EXPECT_EQ(ticks_of("check_newsvr_now", 29), Ticks{});
  EXPECT_EQ(g_last_resync_time, kStart);
  EXPECT_EQ(ticks_of("check_newsvr_now", 100), Ticks{30});
  EXPECT_EQ(check_newsvr_flag, 0);
  EXPECT_EQ(check_newsvr_time, 10 - 70);
  EXPECT_EQ(g_last_resync_time, kStart + 9);
}

TEST_F(Tick, NewServersAreCheckedAtOnceWhenTheCheckIsArmedLate) {
  EXPECT_EQ(ticks_of("check_newsvr_now", 50), Ticks{});
  check_newsvr_flag = 1;
  EXPECT_EQ(ticks_of("check_newsvr_now", 60), Ticks{51});
}

TEST_F(Tick, NewServersAreCheckedAnIntervalAfterTheEndOfAResynchronisation) {
  g_alert_cheknewsvr_interval = 12;
  raised_to(40);
  end_resynchronize(0);
  EXPECT_EQ(ticks_of("check_newsvr_now", 80), Ticks{52});
}

}  // namespace
}  // namespace alt_test
