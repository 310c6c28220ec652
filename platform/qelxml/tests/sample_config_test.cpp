/* The sample configuration that the packages install: every key, with its type and default. */
#include "qelxml.h"
#include "testing/test_support.h"

namespace {

using qel::testing::ScopedVariable;

class SampleConfiguration : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(xmllib_init("tester"), 0);
    ASSERT_EQ(xmllib_load_config(), 0) << xmllib_last_error();
  }
  ~SampleConfiguration() override { (void)xmllib_term(); }

  static void expect_number(const char* key, int expected) {
    int number = -1;
    int size = sizeof number;
    EXPECT_EQ(xmllib_get_value(key, XMLLIB_INT, &number, &size), 0) << xmllib_last_error();
    EXPECT_EQ(number, expected) << key;
  }
  static void expect_text(const char* key, const char* expected) {
    char text[1024] = "";
    int size = sizeof text;
    EXPECT_EQ(xmllib_get_value(key, XMLLIB_TEXT, text, &size), 0) << xmllib_last_error();
    EXPECT_STREQ(text, expected) << key;
  }

  const ScopedVariable directory_{"QEL_CONFIG_DIR", QEL_SAMPLE_CONFIG_DIR};
};

TEST_F(SampleConfiguration, TheCommonSectionHoldsItsKeys) {
  ASSERT_EQ(xmllib_load_policy("all"), 0) << xmllib_last_error();
  expect_text("/root/all/path", "/");
  expect_number("/root/all/core", 0);
}

TEST_F(SampleConfiguration, TheSectionOfAlertRaisingProgramsHoldsItsKeys) {
  ASSERT_EQ(xmllib_load_policy("alert"), 0) << xmllib_last_error();
  expect_text("/root/alert/path", "/var/lib/qelalert/bin/");
  expect_number("/root/alert/log/size", 4194304);
  expect_number("/root/alert/log/level", 4);
}

TEST_F(SampleConfiguration, TheSectionOfTheAlertLogHoldsItsKeys) {
  ASSERT_EQ(xmllib_load_policy("webalert"), 0) << xmllib_last_error();
  expect_number("/root/webalert/use", 1);
  expect_number("/root/webalert/daemon/udpport", 29003);
  expect_text("/root/webalert/main/alertlog/name", "/var/lib/qelalert/log/alertlog.alt");
  expect_number("/root/webalert/main/alertlog/maxrecordcount", 10000);
  expect_number("/root/webalert/daemon/timeout", 60);
  expect_number("/root/webalert/main/log/size", 4194304);
  expect_number("/root/webalert/main/log/level", 4);
  expect_number("/root/webalert/daemon/sync/resynctimeinterval", 600);
}

TEST_F(SampleConfiguration, TheSectionOfTheAlertLogHoldsTheDaemonsOwnKeys) {
  ASSERT_EQ(xmllib_load_policy("webalert"), 0) << xmllib_last_error();
  expect_text("/root/webalert/daemon/socket", "/run/qelalert/qelalertd.sock");
  expect_text("/root/webalert/daemon/pidfile", "/run/qelalert/qelalertd.pid");
  expect_number("/root/webalert/daemon/durable", 1);
  expect_number("/root/webalert/daemon/intake/batch", 64);
}

TEST_F(SampleConfiguration, TheStartIsNeverCutShortByASwitch) {
  for (const char* section : {"all", "alert", "webalert"}) {
    ASSERT_EQ(xmllib_load_policy(section), 0);
  }
  int number = 0;
  int size = sizeof number;
  EXPECT_EQ(xmllib_get_value("/root/dummyconf", XMLLIB_INT, &number, &size), -1);
}

TEST_F(SampleConfiguration, TheClusterIsOneServerWithoutPeers) {
  char text[64];
  int size = sizeof text;
  EXPECT_EQ(xmllib_get_value("/root/cluster", XMLLIB_TEXT, text, &size), 0);
  size = sizeof text;
  EXPECT_EQ(xmllib_get_value("/root/cluster/server", XMLLIB_TEXT, text, &size), -1);
}

}  // namespace
