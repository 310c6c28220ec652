// The program around the subcommands: help, version, wrong names, configuration, output.
#include "stored_alerts.h"
#include "suggest.h"
#include "support.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

const std::vector<std::string> kSubcommands = {"list",  "follow", "last",   "show",   "count",
                                               "stats", "export", "raise",  "status", "peers",
                                               "gaps",  "check",  "config", "verify"};

class Usage : public CliTest {};

TEST_F(Usage, HelpNamesEverySubcommandOnALineOfItsOwn) {
  const Result result = qelalert({"--help"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("", result.err);
  for (const std::string& command : kSubcommands) {
    EXPECT_NE(std::string::npos, result.out.find("\n  " + command + " ")) << command;
  }
  EXPECT_EQ(std::string::npos, result.out.find("\n  complete "));
}

TEST_F(Usage, HelpFitsATerminalOfEightyColumns) {
  std::vector<std::string> commands = joined(kSubcommands, {"complete", "config check"});
  commands.emplace_back("");
  for (const std::string& command : commands) {
    std::istringstream words(command);
    std::vector<std::string> call{std::istream_iterator<std::string>(words), {}};
    call.emplace_back("--help");
    std::istringstream lines(qelalert(call, {.terminal_columns = 80}).out);
    for (std::string line; std::getline(lines, line);) {
      EXPECT_GE(80U + 1, line.size()) << command << ": " << line;  // "\r"
    }
  }
}

TEST_F(Usage, HelpShowsTheWayInAndTheExitCodes) {
  const Result result = qelalert({"--help"});
  EXPECT_NE(std::string::npos, result.out.find("Examples:\n  qelalert"));
  for (const char* part : {"Exit codes:", "0 done", "1 failed", "2 wrong", "3 alert daemon", "4"}) {
    EXPECT_NE(std::string::npos, result.out.find(part)) << part;
  }
  EXPECT_EQ(result.out, qelalert({"-h"}).out);
}

TEST_F(Usage, HelpOfASubcommandLeadsWithExamples) {
  for (const std::string& command : joined(kSubcommands, {"complete"})) {
    const Result result = qelalert({command, "--help"});
    EXPECT_EQ(0, result.exit_code);
    const size_t examples = result.out.find("Examples:\n");
    ASSERT_NE(std::string::npos, examples) << command;
    EXPECT_NE(std::string::npos, result.out.find("qelalert " + command, examples)) << command;
    EXPECT_LT(examples, result.out.find("Options:")) << command;
    EXPECT_LT(examples, result.out.find("Usage:")) << command;
  }
}

TEST_F(Usage, VersionIsPrinted) {
  const Result result = qelalert({"--version"});
  EXPECT_EQ(0, result.exit_code);
  EXPECT_EQ("qelalert 1.0\n", result.out);
}

TEST_F(Usage, WrongSubcommandGetsASuggestion) {
  expect_refused(qelalert({"lsit", "-p", "1"}), 2,
                 {"qelalert: no subcommand \"lsit\"", "did you mean \"list\"?"});
  expect_refused(qelalert({"statsu"}), 2, {"did you mean \"stat"});
}

TEST_F(Usage, StrangeSubcommandGetsTheList) {
  expect_refused(qelalert({"reboot"}), 2, {"\"reboot\"", "list, follow, last, show, count, stats"});
}

TEST_F(Usage, WrongOptionGetsASuggestion) {
  expect_refused(qelalert({"list", "--sinc=today"}), 2,
                 {"qelalert: no option \"--sinc=today\"", "did you mean \"--since\"?"});
  expect_refused(qelalert({"peers", "--chekc"}), 2, {"did you mean \"--check\"?"});
  EXPECT_EQ(std::string::npos, qelalert({"list", "--elsewhere"}).err.find("did you mean"));
}

TEST_F(Usage, UnknownGlobalOptionIsRefused) {
  expect_refused(qelalert({"--colour"}), 2, {"--colour", "qelalert list --help"});
}

TEST_F(Usage, ConfigOptionNamesTheConfigurationDirectory) {
  cluster_.store_alerts(1, 3);
  const RunOptions elsewhere{.environment = {{"QEL_CONFIG_DIR", "/nonexistent"}}};
  const std::string directory = cluster_.config_path("");
  const Result before = qelalert({"--config", directory, "last"}, elsewhere);
  EXPECT_EQ(0, before.exit_code) << before.err;
  const Result behind = qelalert({"last", "--config", directory}, elsewhere);
  EXPECT_EQ(0, behind.exit_code) << behind.err;
  EXPECT_EQ(before.out, behind.out);
}

TEST_F(Usage, ConfigOptionWithoutSuchDirectoryIsRefused) {
  expect_refused(qelalert({"--config", "/nonexistent", "last"}), 2, {"--config", "/nonexistent"});
}

TEST_F(Usage, OutputThatCannotBeWrittenFails) {
  cluster_.store_alerts(1, 3);
  for (const std::vector<std::string>& call : {std::vector<std::string>{"last"},
                                               {"list", "-o", "json"},
                                               {"count"},
                                               {"stats"},
                                               {"gaps"},
                                               {"show", "node1/1"},
                                               {"export"},
                                               {"complete", "server"},
                                               {"check"},
                                               {"--help"}}) {
    const Result result = qelalert(call, {.out_path = "/dev/full"});
    EXPECT_EQ(1, result.exit_code) << call[0];
    EXPECT_NE(std::string::npos, result.err.find("cannot write to standard output"));
  }
}

TEST(Suggestion, NearestNameWins) {
  constexpr std::string_view kNames[] = {"raise", "list", "last", "status"};
  EXPECT_EQ("raise", nearest_name("rais", kNames));
  EXPECT_EQ("last", nearest_name("lats", kNames));
  EXPECT_EQ("list", nearest_name("lists", kNames));
  EXPECT_EQ("status", nearest_name("statsu", kNames));
}

TEST(Suggestion, NameThatIsFarFromAllGetsNone) {
  constexpr std::string_view kNames[] = {"raise", "list", "last", "status"};
  EXPECT_EQ("", nearest_name("follow", kNames));
  EXPECT_EQ("", nearest_name("", kNames));
}

struct BadConfiguration {
  const char* name;
  const char* file;
  const char* from;
  const char* to;
  std::vector<std::string> parts;  // of the message
};

// Every subcommand that needs the library meets a bad configuration in the same way.
class Configuration : public CliTest, public ::testing::WithParamInterface<BadConfiguration> {};

TEST_P(Configuration, FaultIsToldAndNothingIsChanged) {
  cluster_.store_alerts(1, 3);
  const auto before = cluster_.store_files();
  cluster_.edit_config(GetParam().file, GetParam().from, GetParam().to);
  for (const std::vector<std::string>& call : {std::vector<std::string>{"list"},
                                               {"last"},
                                               {"count"},
                                               {"follow"},
                                               {"show", "node1/1"},
                                               {"raise", "-i", "1", "-m", "m", "text"}}) {
    SCOPED_TRACE(call[0]);
    expect_refused(qelalert(call), 1, GetParam().parts);
  }
  EXPECT_EQ("", alt_test::first_difference(cluster_.store_files(), before));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, Configuration,
    ::testing::Values(
        BadConfiguration{"missing_text",
                         "webalert.xml",
                         "<name>log/alertlog.alt</name>",
                         "",
                         {"/root/webalert/main/alertlog/name", "no such key"}},
        BadConfiguration{
            "missing_number", "all.xml", "<core>0</core>", "", {"/root/all/core", "no such key"}},
        BadConfiguration{"text_for_a_number",
                         "webalert.xml",
                         ">100<",
                         ">many<",
                         {"/config/webalert.xml:7: /root/webalert/main/alertlog/maxrecordcount",
                          "\"many\" is not a whole number"}},
        BadConfiguration{"number_too_large",
                         "alert.xml",
                         ">4194304<",
                         ">41943040000<",
                         {"/config/alert.xml:3: /root/alert/log/size", "41943040000"}},
        BadConfiguration{"broken_xml",
                         "webalert.xml",
                         "</use>",
                         "</used>",
                         {"/config/webalert.xml:2: not well-formed XML"}},
        BadConfiguration{"wrong_root_element",
                         "cluster.xml",
                         "<root/>",
                         "<cluster/>",
                         {"/config/cluster.xml:1: the root element is <cluster>"}},
        BadConfiguration{"empty_file", "cluster.xml", "<root/>", "", {"/config/cluster.xml:"}}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(Usage, MissingConfigurationFileIsTold) {
  for (const char* file : {"cluster.xml", "all.xml", "webalert.xml", "alert.xml"}) {
    const TempCluster cluster;
    ASSERT_TRUE(alt_test::remove_file(cluster.config_path(file)));
    expect_refused(cluster.run({"last"}), 1, {"qelalert: " + cluster.config_path(file)});
  }
}

TEST_F(Usage, AlertLogNotInUseIsTold) {
  cluster_.store_alerts(1, 3);
  cluster_.edit_config("webalert.xml", "<use>1</use>", "<use>0</use>");
  for (const std::vector<std::string>& call :
       {std::vector<std::string>{"list"}, {"last"}, {"raise", "-i", "1", "-m", "m", "text"}}) {
    expect_refused(qelalert(call), 1, {"not in use", "/root/webalert/use"});
  }
  EXPECT_FALSE(alt_test::file_exists(cluster_.store_path("alerttmp.alt")));
}

TEST_F(Usage, DiagnosticLogThatCannotBeWrittenIsTold) {
  cluster_.store_alerts(1, 3);
  const std::string file = cluster_.root() + "/file";
  alt_test::write_file(file, "");
  expect_refused(qelalert({"last"}, {.environment = {{"QEL_LOG_DIR", file}}}), 1,
                 {"qelalert: cannot write the diagnostic log " + file + "/alert.log", "QEL_LOG_DIR",
                  "Not a directory"});
}

TEST_F(Usage, ClosedStandardOutputIsNoTrap) {
  cluster_.store_alerts(1, 3);
  const Result result = qelalert({"last"}, {.prepare = [] { close(STDOUT_FILENO); }});
  EXPECT_EQ(1, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("cannot write to standard output"));
}

}  // namespace
}  // namespace qel::cli::testing
