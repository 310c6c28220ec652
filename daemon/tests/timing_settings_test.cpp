// The time-outs of the protocol in the configuration: defaults, borders, and what fits together.
#include <gtest/gtest.h>

#include <climits>

#include "settings_fixture.h"
#include "support/log_capture.h"

namespace qel::daemon_test {
namespace {

using daemon::Timing;

// A key of the daemon's section; those of "sync/" lie below it.
struct Key {
  const char* name;
  int lowest;
  int highest;
  int standard;
  int Timing::*member;
  int* of_library;  // null: none
};
void PrintTo(const Key& key, std::ostream* out) { *out << key.name; }

const Key kKeys[] = {
    {"resend", 1, 86400, 2, &Timing::resend, &g_resend_timeout},
    {"retries", 2, 1000, 3, &Timing::retries, &g_alert_retry_count},
    {"heartbeat", 1, 86400, 10, &Timing::heartbeat, &g_hb_timeout},
    {"announce", 1, 86400, 10, &Timing::announce, &g_sendtonewsvr_interval},
    {"servercheck", 1, 86400, 300, &Timing::server_check, &g_alert_chksrvlist_interval},
    {"ratiocheck", 0, 86400, 1, &Timing::ratio_check, &g_alert_getradio_interval},
    {"sync/newserver", 1, 998, 1, &Timing::new_server, &g_alert_cheknewsvr_interval},
    {"sync/names", 2, 999, 2, &Timing::names_wait, &g_get_srvname_timeout},
    {"sync/ids", 1, 999, 1, &Timing::ids_wait, &g_get_altid_timeout},
    {"sync/recheck", 0, 86400, 60, &Timing::recheck, nullptr},
    {"sync/batches", 0, 1000000, 1000, &Timing::batches_per_second, nullptr},
};

class TimingSettings : public SettingsTest {
 protected:
  TimingSettings() {
    for (const Key& key : kKeys) remove(key.name);
  }

  void remove(const std::string& key) const {
    const std::string tag = "<" + element(key) + ">";
    if (alt_test::read_file(file("webalert"))->find(tag) != std::string::npos) drop(element(key));
  }
  void put(const std::string& key, const std::string& text) const {
    remove(key);
    const std::string name = element(key);
    const std::string parent = key == name ? "</daemon>" : "</sync>";
    replace("webalert", parent, "<" + name + ">" + text + "</" + name + ">" + parent);
  }
  void put(const std::string& key, int number) const { put(key, std::to_string(number)); }
  void put_stall_time(int seconds) const {
    set("webalert", "resynctimeinterval", std::to_string(seconds));
  }
  void expect_refused_key(const std::string& key) {
    expect_refused({"/root/webalert/daemon/" + key});
  }

 private:
  static std::string element(const std::string& key) { return key.substr(key.find('/') + 1); }
};

class SampleTiming : public SettingsTest {};

TEST_F(SampleTiming, IsTheDefault) {
  load();
  for (const Key& key : kKeys) EXPECT_EQ(key.standard, settings_.timing.*key.member) << key.name;
}

// ---- each key -----------------------------------------------------------------------------------

class EachTiming : public TimingSettings, public ::testing::WithParamInterface<Key> {
 protected:
  // All others leave room for it.
  EachTiming() {
    put_stall_time(INT_MAX);
    if (std::string(GetParam().name) == "sync/newserver") put("sync/names", 999);
  }
  void expect_taken(int number) {
    load();
    EXPECT_EQ(number, settings_.timing.*GetParam().member);
    if (GetParam().of_library != nullptr) {
      EXPECT_EQ(number, *GetParam().of_library);
    }
  }
};

std::string name_of_key(const ::testing::TestParamInfo<Key>& info) {
  const std::string name = info.param.name;
  return name.substr(name.find('/') + 1);
}
INSTANTIATE_TEST_SUITE_P(Settings, EachTiming, ::testing::ValuesIn(kKeys), name_of_key);

TEST_P(EachTiming, HasADefaultWhenItIsMissing) { expect_taken(GetParam().standard); }

TEST_P(EachTiming, IsTakenAtItsBorders) {
  for (const int number : {GetParam().lowest, GetParam().highest}) {
    put(GetParam().name, number);
    expect_taken(number);
  }
}

TEST_P(EachTiming, IsRefusedBeyondItsBorders) {
  for (const int number : {GetParam().lowest - 1, GetParam().highest + 1, -1, INT_MAX, INT_MIN}) {
    put(GetParam().name, number);
    expect_refused_key(GetParam().name);
  }
}

TEST_P(EachTiming, IsRefusedWhenItIsNoNumber) {
  for (const char* text : {"", "soon", "2.5", "2 s", "99999999999"}) {
    put(GetParam().name, text);
    expect_refused_key(GetParam().name);
  }
}

TEST_P(EachTiming, GoesBackToItsDefaultWhenItIsTakenAway) {
  put(GetParam().name, GetParam().highest);
  expect_taken(GetParam().highest);
  remove(GetParam().name);
  expect_taken(GetParam().standard);
}

// ---- what fits together -------------------------------------------------------------------------

TEST_F(TimingSettings, PauseBeforeTheNextCatchUpMustBeBelowTheWaitForNames) {
  put("sync/names", 5);
  put("sync/newserver", 4);
  load();
  for (const int pause : {5, 6}) {
    put("sync/newserver", pause);
    expect_refused({"/root/webalert/daemon/sync/newserver: " + std::to_string(pause) +
                    " is not below /root/webalert/daemon/sync/names, 5"});
  }
}

struct Waits {
  int resend;
  int retries;
  int names;
  int ids;
  int longest;
};
class StallTime : public TimingSettings, public ::testing::WithParamInterface<Waits> {};
INSTANTIATE_TEST_SUITE_P(OfEachLongestWait, StallTime,
                         ::testing::Values(Waits{2, 3, 2, 1, 7}, Waits{1, 2, 900, 1, 900},
                                           Waits{1, 2, 2, 901, 901}, Waits{5, 4, 20, 20, 21},
                                           Waits{86400, 1000, 999, 999, 86400001}));

TEST_P(StallTime, MustBeAboveTheLongestWait) {
  put("resend", GetParam().resend);
  put("retries", GetParam().retries);
  put("sync/names", GetParam().names);
  put("sync/ids", GetParam().ids);
  put_stall_time(GetParam().longest);
  const std::string longest = std::to_string(GetParam().longest);
  expect_refused({"/root/webalert/daemon/sync/resynctimeinterval: " + longest +
                  " is not above the longest wait, " + longest});
  put_stall_time(GetParam().longest + 1);
  load();
  EXPECT_EQ((int64_t{GetParam().longest} + 1) * tckconf, g_resync_time_interval);
}

TEST_F(TimingSettings, StallTimeThatIsNoTimeIsRefused) {
  for (const int seconds : {0, -1, INT_MIN}) {
    put_stall_time(seconds);
    expect_refused_key("sync/resynctimeinterval");
  }
}

// ---- the port -----------------------------------------------------------------------------------

TEST_F(TimingSettings, PortIsTakenAtItsBorders) {
  for (const int port : {1, 65535}) {
    set("webalert", "udpport", std::to_string(port));
    daemon::close_log();  // as another daemon would: a running one keeps its port
    load();
    EXPECT_EQ(port, alt_udp_port);
  }
}

TEST_F(TimingSettings, PortBeyondItsBordersIsRefused) {
  for (const char* port : {"0", "-1", "65536", "2147483647"}) {
    set("webalert", "udpport", port);
    expect_refused(
        {"/root/webalert/daemon/udpport: " + std::string(port) + " is not within 1 to 65535"});
  }
}

// ---- a running daemon reads them again ----------------------------------------------------------

class TimingReload : public TimingSettings {
 protected:
  TimingReload() {
    set("webalert", "udpport", "29100");
    put("resend", 5);
    load();
    alt_test::LogCapture::instance().clear();
  }
  void expect_unchanged() {
    EXPECT_EQ(5, settings_.timing.resend);
    EXPECT_EQ(5, g_resend_timeout);
    EXPECT_EQ(10, g_hb_timeout);
    EXPECT_EQ(29100, alt_udp_port);
    EXPECT_EQ(600 * tckconf, g_resync_time_interval);
  }
};

TEST_F(TimingReload, TakesTheNewTimes) {
  put("resend", 6);
  put("heartbeat", 20);
  put_stall_time(700);
  load();
  EXPECT_EQ(6, g_resend_timeout);
  EXPECT_EQ(20, g_hb_timeout);
  EXPECT_EQ(700 * tckconf, g_resync_time_interval);
}

TEST_F(TimingReload, KeepsThePortAndTellsSo) {
  set("webalert", "udpport", "29101");
  load();
  EXPECT_EQ(29100, alt_udp_port);
  EXPECT_TRUE(
      alt_test::LogCapture::instance().has(2, "the UDP port stays 29100 until the next start"));
}

TEST_F(TimingReload, TellsNothingOfAPortThatIsTheSame) {
  load();
  EXPECT_FALSE(alt_test::LogCapture::instance().has_part(2, "UDP port"));
}

TEST_F(TimingReload, WrongPortChangesNothing) {
  put("resend", 6);
  set("webalert", "udpport", "0");
  expect_refused({"/root/webalert/daemon/udpport"});
  expect_unchanged();
}

TEST_F(TimingReload, WrongTimeChangesNothing) {
  put("resend", 6);
  put("heartbeat", 0);
  put_stall_time(700);
  expect_refused_key("heartbeat");
  expect_unchanged();
}

TEST_F(TimingReload, TimesThatDoNotFitTogetherChangeNothing) {
  put("heartbeat", 20);
  put_stall_time(10);
  expect_refused_key("sync/resynctimeinterval");
  expect_unchanged();
}

}  // namespace
}  // namespace qel::daemon_test
