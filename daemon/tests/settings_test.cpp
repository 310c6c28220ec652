// The configuration of the daemon: its own keys, and what a failed reading leaves behind.
#include "settings.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "alert_config.h"
#include "support/files.h"
#include "support/log_capture.h"
#include "testing/test_support.h"

namespace qel::daemon_test {
namespace {

using daemon::load_configuration;
using daemon::Settings;

constexpr char kSections[][9] = {"cluster", "all", "alert", "webalert"};

// The sample configuration, its paths turned to a directory of the test.
class SettingsTest : public ::testing::Test {
 protected:
  SettingsTest() {
    std::filesystem::create_directory(directory_ / "etc");
    for (const char* section : kSections) {
      alt_test::write_file(file(section), *alt_test::read_file(std::string(QEL_SAMPLE_CONFIG) +
                                                               "/" + section + ".xml"));
    }
    set("all", "path", directory_.path());
  }
  ~SettingsTest() override {
    daemon::close_log();
    init_global_var();
    alt_path_only[0] = alt_name_only[0] = '\0';
  }

  std::string file(const std::string& section) const {
    return directory_ / ("etc/" + section + ".xml");
  }

  void replace(const std::string& section, const std::string& from, const std::string& to) const {
    std::string content = *alt_test::read_file(file(section));
    const size_t at = content.find(from);
    ASSERT_NE(std::string::npos, at) << from;
    alt_test::write_file(file(section), content.replace(at, from.size(), to));
  }
  // The whole element, its text replaced.
  void set(const std::string& section, const std::string& element, const std::string& text) const {
    replace(section, element_of(section, element),
            "<" + element + ">" + text + "</" + element + ">");
  }
  void drop(const std::string& element) const {
    replace("webalert", element_of("webalert", element), "");
  }
  std::string element_of(const std::string& section, const std::string& element) const {
    const std::string content = *alt_test::read_file(file(section));
    const size_t begin = content.find("<" + element + ">");
    const std::string end = "</" + element + ">";
    return content.substr(begin, content.find(end, begin) + end.size() - begin);
  }

  // A reading that fails for a reason with all these parts.
  void expect_refused(const std::vector<std::string>& parts) {
    std::string error;
    ASSERT_FALSE(load_configuration(&settings_, &error));
    for (const std::string& part : parts) {
      EXPECT_NE(std::string::npos, error.find(part)) << "missing: " << part << "\nin: " << error;
    }
  }
  void load() {
    std::string error;
    ASSERT_TRUE(load_configuration(&settings_, &error)) << error;
  }

  testing::ScratchDirectory directory_;
  testing::ScopedVariable config_{"QEL_CONFIG_DIR", (directory_ / "etc").c_str()};
  testing::ScopedVariable log_{"QEL_LOG_DIR", (directory_ / "log").c_str()};
  Settings settings_;
};

TEST_F(SettingsTest, SampleGivesTheDefaultsThatItNames) {
  load();
  EXPECT_EQ("/run/qelalert/qelalertd.sock", settings_.socket);
  EXPECT_EQ("/run/qelalert/qelalertd.pid", settings_.pid_file);
  EXPECT_TRUE(settings_.durable);
  EXPECT_EQ(64, settings_.intake_batch);
  EXPECT_EQ(10000, alt_max_count);
  EXPECT_EQ(directory_ / "var/lib/qelalert/log/", alt_path_only);
  EXPECT_TRUE(alt_test::file_exists(directory_ / "log/qelalertd.log"));
}

TEST_F(SettingsTest, MissingKeysOfTheDaemonHaveTheSameDefaults) {
  for (const char* element : {"socket", "pidfile", "durable", "intake"}) drop(element);
  load();
  EXPECT_EQ("/run/qelalert/qelalertd.sock", settings_.socket);
  EXPECT_EQ("/run/qelalert/qelalertd.pid", settings_.pid_file);
  EXPECT_TRUE(settings_.durable);
  EXPECT_EQ(64, settings_.intake_batch);
}

TEST_F(SettingsTest, EachKeyIsRead) {
  set("webalert", "socket", "/a/b.sock");
  set("webalert", "pidfile", "/c/d.pid");
  set("webalert", "durable", "0");
  set("webalert", "batch", "7");
  load();
  EXPECT_EQ("/a/b.sock", settings_.socket);
  EXPECT_EQ("/c/d.pid", settings_.pid_file);
  EXPECT_FALSE(settings_.durable);
  EXPECT_EQ(7, settings_.intake_batch);
}

TEST_F(SettingsTest, EndsOfTheRangesAreTaken) {
  for (const char* batch : {"1", "6000"}) {
    set("webalert", "batch", batch);
    load();
    EXPECT_EQ(atoi(batch), settings_.intake_batch);
  }
  for (const char* capacity : {"1", "99999999"}) {
    set("webalert", "maxrecordcount", capacity);
    load();
    EXPECT_EQ(atoi(capacity), alt_max_count);
  }
}

struct BadText {
  const char* element;
  const char* text;
};
class BadTexts : public SettingsTest, public ::testing::WithParamInterface<BadText> {};

TEST_P(BadTexts, AreRefusedWithTheKeyNamed) {
  set("webalert", GetParam().element, GetParam().text);
  expect_refused({std::string("/") + GetParam().element});
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKey, BadTexts,
    ::testing::Values(BadText{"socket", "run/qelalertd.sock"}, BadText{"socket", ""},
                      BadText{"pidfile", "qelalertd.pid"}, BadText{"durable", "2"},
                      BadText{"durable", "-1"}, BadText{"durable", "yes"}, BadText{"durable", ""},
                      BadText{"batch", "0"}, BadText{"batch", "-5"}, BadText{"batch", "6001"},
                      BadText{"batch", "64 alerts"}, BadText{"batch", "99999999999"},
                      BadText{"maxrecordcount", "0"}, BadText{"maxrecordcount", "-1"},
                      BadText{"maxrecordcount", "100000000"}, BadText{"maxrecordcount", "many"},
                      BadText{"timeout", "soon"}, BadText{"udpport", "1.5"}));

TEST_F(SettingsTest, ReasonNamesTheFileOfAWrongValue) {
  set("webalert", "batch", "many");
  expect_refused({file("webalert"), "/root/webalert/daemon/intake/batch"});
}

TEST_F(SettingsTest, RefusedFirstReadingLeavesNoLogOpen) {
  set("webalert", "maxrecordcount", "0");
  expect_refused({"maxrecordcount", "0", "99999999"});
  EXPECT_EQ(nullptr, alt_log_handle);
}

TEST_F(SettingsTest, LogThatCannotBeOpenedIsTheReasonGiven) {
  set("webalert", "size", "0");
  expect_refused({"diagnostic log", "qelalertd", "0"});
  const testing::ScopedVariable nowhere("QEL_LOG_DIR", (file("all") + "/below").c_str());
  expect_refused({"diagnostic log"});
}

// A running daemon reads its configuration again.
class Reload : public SettingsTest {
 protected:
  Reload() {
    set("webalert", "socket", "/a/b.sock");
    set("webalert", "batch", "7");
    set("webalert", "maxrecordcount", "500");
    load();
  }

  void expect_unchanged_after(const std::vector<std::string>& reason) {
    void* const handle = alt_log_handle;
    const std::string directory = alt_path_only;
    const std::string name = alt_alert_name;
    const std::string commands = alt_cmd_path;
    const int timeout = alt_timeout;
    expect_refused(reason);
    EXPECT_EQ(handle, alt_log_handle);
    EXPECT_EQ(directory, alt_path_only);
    EXPECT_EQ("alertlog.alt", std::string(alt_name_only));
    EXPECT_EQ(name, alt_alert_name);
    EXPECT_EQ(commands, alt_cmd_path);
    EXPECT_EQ(timeout, alt_timeout);
    EXPECT_EQ(500, alt_max_count);
    EXPECT_EQ("/a/b.sock", settings_.socket);
    EXPECT_EQ(7, settings_.intake_batch);
    EXPECT_TRUE(settings_.durable);
  }
};

TEST_F(Reload, TakesWhatMayChange) {
  set("webalert", "batch", "9");
  set("webalert", "durable", "0");
  set("webalert", "maxrecordcount", "600");
  load();
  EXPECT_EQ(9, settings_.intake_batch);
  EXPECT_FALSE(settings_.durable);
  EXPECT_EQ(600, alt_max_count);
}

TEST_F(Reload, KeepsThePathsOfARunningDaemon) {
  alt_test::LogCapture::instance().clear();
  const std::string directory = alt_path_only;
  const std::string commands = alt_cmd_path;
  set("webalert", "name", "/elsewhere/other.alt");
  set("alert", "path", "/elsewhere/bin/");
  set("webalert", "socket", "/x/y.sock");
  set("webalert", "pidfile", "/x/y.pid");
  set("webalert", "maxrecordcount", "600");
  load();
  EXPECT_EQ(directory, alt_path_only);
  EXPECT_EQ("alertlog.alt", std::string(alt_name_only));
  EXPECT_EQ(commands, alt_cmd_path);
  EXPECT_EQ("/a/b.sock", settings_.socket);
  EXPECT_EQ("/run/qelalert/qelalertd.pid", settings_.pid_file);
  EXPECT_EQ(600, alt_max_count);
  EXPECT_TRUE(alt_test::LogCapture::instance().has(
      2, "the store stays in " + directory + " until the next start"));
}

TEST_F(Reload, MissingFileChangesNothing) {
  for (const char* section : {"all", "alert", "webalert", "cluster"}) {
    const std::string content = *alt_test::read_file(file(section));
    alt_test::remove_file(file(section));
    expect_unchanged_after({file(section)});
    alt_test::write_file(file(section), content);
  }
  load();
}

TEST_F(Reload, BrokenXmlChangesNothing) {
  replace("webalert", "</webalert>", "</webalarm>");
  expect_unchanged_after({file("webalert")});
}

TEST_F(Reload, WrongValueAtTheVeryEndChangesNothing) {
  set("webalert", "name", "/elsewhere/other.alt");
  set("webalert", "maxrecordcount", "600");
  set("webalert", "timeout", "61");
  set("webalert", "durable", "0");
  set("webalert", "batch", "0");
  expect_unchanged_after({"/root/webalert/daemon/intake/batch", "1", "6000"});
}

TEST_F(Reload, LogThatCannotBeOpenedChangesNothing) {
  set("webalert", "size", "-1");
  expect_unchanged_after({"diagnostic log"});
}

}  // namespace
}  // namespace qel::daemon_test
