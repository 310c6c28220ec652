// Configurations and command lines that the daemon refuses.
#include <gtest/gtest.h>

#include "server.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

struct BadConfiguration {
  const char* name;
  const char* section;
  const char* from;  // a piece of the sample, and what it is replaced with
  const char* to;
  std::vector<std::string> reasons;
};

std::ostream& operator<<(std::ostream& out, const BadConfiguration& bad) { return out << bad.name; }

class Configuration : public ::testing::Test {
 protected:
  // The daemon ends with `status` and a message with these parts; nothing of a store is made.
  void expect_refused(int status, const std::vector<std::string>& reasons,
                      const std::vector<std::string>& options = {}) {
    std::vector<std::string> call = {QELALERTD_PROGRAM};
    call.insert(call.end(), options.begin(), options.end());
    Program daemon(call, server_.path("out/refused"));
    EXPECT_EQ(status, daemon.wait());
    for (const std::string& reason : reasons) {
      EXPECT_NE(std::string::npos, daemon.err().find(reason))
          << "missing: " << reason << "\nin: " << daemon.err();
    }
    for (const char* directory : {"store", "lock", "run"}) {
      EXPECT_TRUE(alt_test::list_directory(server_.path(directory)).empty()) << directory;
    }
  }

  Server server_;
};

class Refused : public Configuration, public ::testing::WithParamInterface<BadConfiguration> {};

TEST_P(Refused, ConfigurationIsNamedWithFileAndReasonAndNothingIsMade) {
  server_.edit(GetParam().section, GetParam().from, GetParam().to);
  expect_refused(1, GetParam().reasons);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Refused,
    ::testing::Values(
        BadConfiguration{"MissingKey",
                         "webalert",
                         "<timeout>60</timeout>",
                         "",
                         {"webalert.xml", "/root/webalert/daemon/timeout"}},
        BadConfiguration{"MissingKeyOfAllPrograms",
                         "alert",
                         "<path>lock/programs</path>",
                         "",
                         {"alert.xml", "/root/alert/path"}},
        BadConfiguration{"TextInPlaceOfANumber",
                         "webalert",
                         "<udpport>29003</udpport>",
                         "<udpport>many</udpport>",
                         {"webalert.xml", "/root/webalert/daemon/udpport"}},
        BadConfiguration{"NumberBeyondTheRange",
                         "webalert",
                         "<batch>64</batch>",
                         "<batch>0</batch>",
                         {"/root/webalert/daemon/intake/batch", "0", "1 to 6000"}},
        BadConfiguration{"CapacityZero",
                         "webalert",
                         "<maxrecordcount>10000</maxrecordcount>",
                         "<maxrecordcount>0</maxrecordcount>",
                         {"maxrecordcount", "0", "1 to "}},
        BadConfiguration{"BrokenXml", "webalert", "</webalert>", "</webalarm>", {"webalert.xml"}},
        BadConfiguration{"BrokenClusterFile", "cluster", "</root>", "", {"cluster.xml"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Configuration, MissingFileIsNamed) {
  for (const char* section : {"cluster", "all", "alert", "webalert"}) {
    const std::string content = *alt_test::read_file(server_.config(section));
    alt_test::remove_file(server_.config(section));
    expect_refused(1, {server_.config(section)});
    alt_test::write_file(server_.config(section), content);
  }
}

TEST_F(Configuration, DirectoryGivenAsAnOptionGoesBeforeTheEnvironment) {
  expect_refused(1, {server_.path("nowhere")}, {"--config", server_.path("nowhere")});
  expect_refused(1, {server_.path("nowhere")}, {"-c", server_.path("nowhere")});
}

TEST_F(Configuration, SocketThatCannotBeMadeIsNamed) {
  const std::string path = server_.path("run/" + std::string(120, 's'));
  server_.set("webalert", "socket", path);
  const auto daemon = server_.launch_daemon();
  EXPECT_EQ(1, daemon->wait());
  EXPECT_NE(std::string::npos, daemon->err().find(path)) << daemon->err();
}

TEST_F(Configuration, CommandLineThatIsWrongEndsWith2) {
  expect_refused(2, {"--nonsense", "--help"}, {"--nonsense"});
  expect_refused(2, {"'x'", "--help"}, {"-x"});
  expect_refused(2, {"config", "--help"}, {"--config"});
  expect_refused(2, {"unexpected argument \"start\"", "--help"}, {"start"});
}

TEST_F(Configuration, HelpAndVersionNeedNoConfiguration) {
  for (const char* section : {"cluster", "all", "alert", "webalert"}) {
    alt_test::remove_file(server_.config(section));
  }
  Program help({QELALERTD_PROGRAM, "--help"}, server_.path("out/help"));
  EXPECT_EQ(0, help.wait());
  EXPECT_NE(std::string::npos, help.out().find("--config DIR"));
  Program version({QELALERTD_PROGRAM, "-V"}, server_.path("out/version"));
  EXPECT_EQ(0, version.wait());
  EXPECT_EQ("qelalertd 1.0\n", version.out());
}

}  // namespace
}  // namespace qel::system_test
