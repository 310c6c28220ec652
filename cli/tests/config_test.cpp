// qelalert config: which configuration is checked, what is printed, and the exit codes. What is
// told of each mistake has its tests beside the checker.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "support.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

class Config : public CliTest {
 protected:
  // What the tool alone does without.
  Config() {
    alt_test::write_file(cluster_.config_path("cluster.xml"), "<root><cluster/></root>\n");
    cluster_.edit_config("webalert.xml", "</daemon>",
                         "<sync><resynctimeinterval>600</resynctimeinterval></sync></daemon>");
  }

  std::string directory() const { return cluster_.root() + "/config"; }
  // A line of the check; `place` is "FILE:LINE:COLUMN".
  std::string line(const std::string& place, const std::string& text) const {
    return directory() + "/" + place + ": " + text + "\n";
  }
  std::string valid(const std::string& path) const {
    return "configuration " + path + " is valid\n";
  }
  void break_port() const { cluster_.edit_config("webalert.xml", ">29003<", ">0<"); }
  void misspell_core() const { cluster_.edit_config("all.xml", "<core>0", "<cor/><core>0"); }
  std::string port_fault() const {
    return line("webalert.xml:3:11",
                "error: /root/webalert/daemon/udpport: 0 is not within 1 to 65535");
  }
  std::string core_warning() const {
    return line("all.xml:3:3", "warning: /root/all/cor: unknown element; did you mean <core>?");
  }

  void expect(const Result& result, int exit_code, const std::string& out) const {
    EXPECT_EQ(exit_code, result.exit_code);
    EXPECT_EQ(out, result.out);
    EXPECT_EQ("", result.err);
  }
};

// ---- which configuration ------------------------------------------------------------------------

TEST_F(Config, CheckOfAValidConfigurationPrintsOneLine) {
  expect(qelalert({"config", "check"}), 0, valid(directory()));
}

TEST_F(Config, CheckTakesTheDirectoryOfTheConfigOption) {
  break_port();
  const RunOptions elsewhere{.environment = {{"QEL_CONFIG_DIR", "/nonexistent"}}};
  expect(qelalert({"--config", directory(), "config", "check"}, elsewhere), 1, port_fault());
  expect(qelalert({"config", "check", "--config", directory()}, elsewhere), 1, port_fault());
}

TEST_F(Config, CheckOfAMissingDirectoryFails) {
  expect(qelalert({"config", "check"}, {.environment = {{"QEL_CONFIG_DIR", "/nonexistent"}}}), 1,
         "/nonexistent:1:1: error: cannot be opened: No such file or directory\n");
}

TEST_F(Config, CheckOfADirectoryIsToldWithItsName) {
  break_port();
  const RunOptions elsewhere{.environment = {{"QEL_CONFIG_DIR", "/nonexistent"}}};
  expect(qelalert({"config", "check", directory()}, elsewhere), 1, port_fault());
  expect(qelalert({"config", "check", directory() + "/"}, elsewhere), 1, port_fault());
}

TEST_F(Config, CheckOfAFileIsOfThatFileAlone) {
  break_port();
  misspell_core();
  const std::string all = cluster_.config_path("all.xml");
  const std::string webalert = cluster_.config_path("webalert.xml");
  const std::string alert = cluster_.config_path("alert.xml");
  expect(qelalert({"config", "check", all}), 0, core_warning() + valid(all));
  expect(qelalert({"config", "check", webalert}), 1, port_fault());
  expect(qelalert({"config", "check", alert}), 0, valid(alert));
}

TEST_F(Config, CheckOfTheServersAloneFindsTheirMistakes) {
  const std::string file = cluster_.config_path("cluster.xml");
  alt_test::write_file(file, "<root><cluster>\n<server><name>a b</name></server></cluster></root>");
  expect(qelalert({"config", "check", file}), 1,
         line("cluster.xml:2:9",
              "error: /root/cluster/server[1]/name: \"a b\" is not a short host name of 1 to 64 "
              "letters, digits, \"-\" and \"_\""));
}

TEST_F(Config, FileOfAnotherNameIsKnownByItsContent) {
  const std::string draft = cluster_.root() + "/draft.txt";
  alt_test::write_file(draft, "<root>\n<!-- new -->\n<all><path>/</path></all>\n</root>\n");
  expect(qelalert({"config", "check", draft}), 1, draft + ":3:1: error: /root/all/core: missing\n");
}

TEST_F(Config, NameOfAFileIsBelievedBeforeItsContent) {
  const std::string file = cluster_.config_path("all.xml");
  alt_test::write_file(file, "<root><cluster/></root>\n");
  expect(qelalert({"config", "check", file}), 1,
         line("all.xml:1:1", "error: /root/all/path: missing") +
             line("all.xml:1:1", "error: /root/all/core: missing") +
             line("all.xml:1:7", "warning: /root/cluster: unknown element"));
}

TEST_F(Config, FileThatIsNoneOfTheConfigurationIsTold) {
  for (const char* content : {"<root><web/></root>", "<root/>"}) {
    const std::string file = cluster_.root() + "/draft.xml";
    alt_test::write_file(file, content);
    expect(qelalert({"config", "check", file}), 1,
           file +
               ":1:1: error: /root: neither the file's name nor its first element tells which "
               "file of the configuration it is\n");
  }
}

// ---- what is printed ----------------------------------------------------------------------------

TEST_F(Config, WarningsAreToldAndDoNotFail) {
  misspell_core();
  expect(qelalert({"config", "check"}), 0, core_warning() + valid(directory()));
}

TEST_F(Config, QuietCheckPrintsFindingsAlone) {
  expect(qelalert({"config", "check", "-q"}), 0, "");
  misspell_core();
  expect(qelalert({"config", "check", "--quiet"}), 0, core_warning());
  break_port();
  expect(qelalert({"config", "check", "-q"}), 1, core_warning() + port_fault());
}

TEST_F(Config, OutputThatCannotBeWrittenFails) {
  const Result result = qelalert({"config", "check"}, {.out_path = "/dev/full"});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cannot write to standard output"));
}

TEST_F(Config, CheckChangesNothing) {
  const auto before = alt_test::read_directory(directory());
  break_port();
  const auto broken = alt_test::read_directory(directory());
  EXPECT_EQ(1, qelalert({"config", "check"}).exit_code);
  EXPECT_EQ("", alt_test::first_difference(broken, alt_test::read_directory(directory())));
  EXPECT_NE("", alt_test::first_difference(broken, before));
  EXPECT_FALSE(alt_test::file_exists(cluster_.diagnostic_log()));
}

// ---- directories --------------------------------------------------------------------------------

TEST_F(Config, MissingDirectoryOfTheStoreIsAWarning) {
  cluster_.edit_config("webalert.xml", "<name>log/", "<name>/elsewhere/");
  expect(qelalert({"config", "check"}), 0,
         line("webalert.xml:6:7", "warning: /root/webalert/main/alertlog/name: the directory \"" +
                                      cluster_.root() + "/elsewhere\": No such file or directory") +
             valid(directory()));
}

TEST_F(Config, DirectoryOfTheStoreIsFoundWhateverSlashesTheNameHas) {
  cluster_.edit_config("webalert.xml", "<name>log/alertlog.alt", "<name>//log//alertlog.alt//");
  expect(qelalert({"config", "check"}), 0, valid(directory()));
}

TEST_F(Config, MissingDirectoryOfTheSocketIsAWarning) {
  cluster_.edit_config("webalert.xml", "/qelalertd.sock", "/run/qelalertd.sock");
  const std::string warning =
      "warning: /root/webalert/daemon/socket: the directory \"" + cluster_.root() + "/run\": ";
  expect(qelalert({"config", "check", "-q"}), 0,
         line("webalert.xml:3:56", warning + "No such file or directory"));
  alt_test::write_file(cluster_.root() + "/run", "");
  expect(qelalert({"config", "check", "-q"}), 0,
         line("webalert.xml:3:56", warning + "Not a directory"));
}

// The usual one belongs to this host.
TEST_F(Config, MissingSocketIsLookedForInItsUsualDirectory) {
  cluster_.edit_config("webalert.xml", "<socket>" + cluster_.root() + "/qelalertd.sock</socket>",
                       "");
  const bool there = access("/run/qelalert", R_OK | X_OK) == 0;
  const std::string fault = there ? "" : strerror(errno);
  expect(qelalert({"config", "check", "-q"}), 0,
         there ? ""
               : line("webalert.xml:3:3",
                      "warning: /root/webalert/daemon/socket: the directory \"/run/qelalert\": " +
                          fault));
}

TEST_F(Config, DirectoryWithoutTheRightToEnterItIsAWarning) {
  const std::string store = cluster_.root() + "/log";
  ASSERT_EQ(0, chmod(store.c_str(), 0));
  const Result result = qelalert({"config", "check", "-q"}, {.prepare = obey_file_rights});
  ASSERT_EQ(0, chmod(store.c_str(), 0755));
  expect(result, 0,
         line("webalert.xml:6:7", "warning: /root/webalert/main/alertlog/name: the directory \"" +
                                      store + "\": Permission denied"));
}

TEST_F(Config, DirectoriesAreNotLookedAtForFilesThatMayBeMeantForAnotherHost) {
  cluster_.edit_config("webalert.xml", "<name>log/", "<name>/elsewhere/");
  expect(qelalert({"config", "check", "-q", directory()}), 0, "");
  expect(qelalert({"config", "check", "-q", cluster_.config_path("webalert.xml")}), 0, "");
}

TEST_F(Config, DirectoryOfARelativePathIsNotLookedFor) {
  cluster_.edit_config("webalert.xml", cluster_.root() + "/qelalertd.sock", "run/qelalertd.sock");
  expect(qelalert({"config", "check"}), 1,
         line("webalert.xml:3:56",
              "error: /root/webalert/daemon/socket: \"run/qelalertd.sock\" is "
              "not an absolute path"));
}

TEST_F(Config, DirectoriesOfAFileThatIsMissingAreNotLookedAt) {
  ASSERT_TRUE(alt_test::remove_file(cluster_.config_path("all.xml")));
  expect(qelalert({"config", "check"}), 1,
         line("all.xml:1:1", "error: cannot be opened: No such file or directory"));
}

// ---- the command line ---------------------------------------------------------------------------

TEST_F(Config, WrongUseIsRefused) {
  expect_refused(qelalert({"config"}), 2, {"subcommand", "(see qelalert config --help)"});
  expect_refused(qelalert({"config", "chek"}), 2,
                 {"no subcommand \"chek\"", "did you mean \"check\"?", "qelalert config --help"});
  expect_refused(qelalert({"config", "reboot"}), 2, {"\"reboot\"; there are: check"});
  expect_refused(qelalert({"config", "check", "/nonexistent"}), 2,
                 {"/nonexistent", "qelalert config check --help"});
  expect_refused(qelalert({"config", "check", "--all"}), 2, {"no option \"--all\""});
  expect_refused(qelalert({"config", "check", directory(), directory()}), 2, {directory()});
}

TEST_F(Config, HelpTellsTheFormOfTheLines) {
  const Result result = qelalert({"config", "check", "--help"});
  EXPECT_EQ(0, result.exit_code);
  for (const char* part : {"FILE|DIR", "--quiet", "FILE:LINE:COLUMN: error: KEY: TEXT"}) {
    EXPECT_NE(std::string::npos, result.out.find(part)) << part;
  }
  EXPECT_NE(std::string::npos,
            qelalert({"config", "--help"}).out.find("\n  qelalert config check"));
}

}  // namespace
}  // namespace qel::cli::testing
