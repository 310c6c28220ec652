#include "web/server/settings.h"

#include <gtest/gtest.h>

#include "alerts/failure.h"
#include "testing/test_support.h"

namespace qel::web {
namespace {

using qel::testing::ScopedVariable;
using qel::testing::ScratchDirectory;
using qel::testing::write_file;

constexpr char kAccess[] =
    "<certificate>/c</certificate><key>/k</key><users>/u</users><names>a\n b.c\t[::2]</names>";

class WebSettingsTest : public ::testing::Test {
 protected:
  WebSettingsTest() {
    write_file(directory_ / "cluster.xml", "<root><cluster/></root>");
    write("");
  }
  // The keys of the front end, and others beside them.
  void write(const std::string& keys, const std::string& others = "") const {
    write_file(directory_ / "webalert.xml",
               "<root><webalert><web>" + keys + "</web>" + others + "</webalert></root>");
  }
  // Reading ends with a Failure whose text begins so.
  static void expect_fault(const std::string& begin, const std::string& listen = "") {
    try {
      (void)read_settings(listen);
      FAIL() << "nothing is wrong";
    } catch (const Failure& failure) {
      EXPECT_EQ(kFailed, failure.code());
      EXPECT_TRUE(std::string(failure.what()).starts_with(begin)) << failure.what();
    }
  }

  const ScratchDirectory directory_;
  const ScopedVariable config_{"QEL_CONFIG_DIR", directory_.path().c_str()};
  const ScopedVariable socket_{"QELALERT_SOCKET", nullptr};
};

TEST_F(WebSettingsTest, EachKeyThatIsLeftOutHasItsDefault) {
  const WebSettings settings = read_settings();
  EXPECT_EQ("127.0.0.1:29080", settings.listen);
  EXPECT_EQ("/run/qelalert-web/web.sock", settings.socket);
  EXPECT_EQ("", settings.certificate + settings.key + settings.users);
  EXPECT_TRUE(settings.names.empty());
  EXPECT_EQ("/run/qelalert/qelalertd.sock", settings.daemon_socket);
}

TEST_F(WebSettingsTest, EachKeyThatIsThereIsRead) {
  write(std::string("<listen>0.0.0.0:443</listen><socket>/s</socket>") + kAccess,
        "<daemon><socket>/d</socket></daemon>");
  const WebSettings settings = read_settings();
  EXPECT_EQ("0.0.0.0:443", settings.listen);
  EXPECT_EQ("/s", settings.socket);
  EXPECT_EQ("/c", settings.certificate);
  EXPECT_EQ("/k", settings.key);
  EXPECT_EQ("/u", settings.users);
  EXPECT_EQ((std::vector<std::string>{"a", "b.c", "[::2]"}), settings.names);
  EXPECT_EQ("/d", settings.daemon_socket);
}

TEST_F(WebSettingsTest, SocketOfTheDaemonInTheEnvironmentCountsMore) {
  write("", "<daemon><socket>/d</socket></daemon>");
  const ScopedVariable chosen("QELALERT_SOCKET", "/chosen");
  EXPECT_EQ("/chosen", read_settings().daemon_socket);
}

TEST_F(WebSettingsTest, GivenAddressTakesThePlaceOfTheConfiguredOne) {
  write("<listen>127.0.0.1:1</listen>");
  EXPECT_EQ("[::1]:2", read_settings("[::1]:2").listen);
}

TEST_F(WebSettingsTest, GivenAddressThatIsOpenToOthersNeedsWhatAConfiguredOneNeeds) {
  expect_fault("/root/webalert/web/listen: \"0.0.0.0:1\" is open to others", "0.0.0.0:1");
  write(kAccess);
  EXPECT_EQ("0.0.0.0:1", read_settings("0.0.0.0:1").listen);
}

TEST_F(WebSettingsTest, GivenAddressThatIsNoneIsRefused) {
  expect_fault("/root/webalert/web/listen: \"alpha:1\" is not a numeric address", "alpha:1");
}

TEST_F(WebSettingsTest, FaultNamesKeyAndReason) {
  write("<users/>");
  expect_fault("/root/webalert/web/users: \"\" is not an absolute path");
  write("<key>/k</key>");
  expect_fault("/root/webalert/web/key: needs /root/webalert/web/certificate");
}

TEST_F(WebSettingsTest, FileThatIsNoConfigurationIsNamed) {
  write_file(directory_ / "webalert.xml", "<root>");
  expect_fault(directory_ / "webalert.xml:1: ");
}

}  // namespace
}  // namespace qel::web
