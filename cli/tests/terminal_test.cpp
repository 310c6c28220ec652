// Colours and the pager on a terminal, and standard output that goes away.
#include <unistd.h>

#include "reading.h"
#include "support/files.h"

namespace qel::cli::testing {
namespace {

constexpr char kRed[] = "\x1b[1;31m";
constexpr int kColumns = 100;

class Colour : public ReadingTest {
 protected:
  Colour() { store_five(); }

  bool coloured(const std::vector<std::string>& options, int terminal_columns,
                const std::map<std::string, std::string>& environment = {}) const {
    const Result result =
        qelalert(joined({"list"}, options),
                 {.environment = environment, .terminal_columns = terminal_columns});
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_NE(std::string::npos, result.out.find("alert 5"));
    return result.out.find(kRed) != std::string::npos;
  }
};

TEST_F(Colour, LevelsAreColouredOnATerminalOnly) {
  EXPECT_TRUE(coloured({}, kColumns));
  EXPECT_TRUE(coloured({"--color", "auto"}, kColumns));
  EXPECT_FALSE(coloured({}, 0));
  EXPECT_FALSE(coloured({"--color", "auto"}, 0));
}

TEST_F(Colour, ChoiceOverridesWhatTheOutputIs) {
  EXPECT_TRUE(coloured({"--color", "always"}, 0));
  EXPECT_TRUE(coloured({"--color=always"}, 0, {{"NO_COLOR", "1"}, {"TERM", "dumb"}}));
  EXPECT_FALSE(coloured({"--color", "never"}, kColumns));
}

TEST_F(Colour, EnvironmentTurnsItOff) {
  EXPECT_FALSE(coloured({}, kColumns, {{"NO_COLOR", "1"}}));
  EXPECT_TRUE(coloured({}, kColumns, {{"NO_COLOR", ""}}));
  EXPECT_FALSE(coloured({}, kColumns, {{"TERM", "dumb"}}));
}

TEST_F(Colour, EachLineIsColouredByItsLevelAndEndsPlain) {
  EXPECT_EQ(
      "\x1b[1;31malert 1\x1b[0m\n"
      "\x1b[33malert 2\x1b[0m\n"
      "\x1b[1;31malert 4\x1b[0m\n"
      "\x1b[33malert 5\x1b[0m\n"
      "alert 3\n",
      qelalert({"list", "-o", "cat", "--color", "always"}).out);
}

TEST_F(Colour, DataForProgramsHasNone) {
  for (const char* form : {"json", "json-pretty", "csv"}) {
    EXPECT_FALSE(coloured({"-o", form, "--color", "always"}, 0)) << form;
  }
}

class Paging : public ReadingTest {
 protected:
  Paging() { store_five(); }

  static RunOptions terminal(const std::map<std::string, std::string>& environment) {
    return {.environment = environment, .terminal_columns = kColumns};
  }
  // `list` of the messages on a terminal, or not.
  Result paged(const std::string& pager, int terminal_columns = kColumns,
               const std::vector<std::string>& options = {}) const {
    const std::vector<std::string> call = {"list", "-o", "cat", "--color", "never"};
    return qelalert(joined(call, options), {.environment = {{"QELALERT_PAGER", pager}},
                                            .terminal_columns = terminal_columns});
  }
};

constexpr char kPlain[] = "alert 1\nalert 2\nalert 4\nalert 5\nalert 3\n";
constexpr char kMarked[] = "> alert 1\n> alert 2\n> alert 4\n> alert 5\n> alert 3\n";
constexpr char kMark[] = "sed 's/^/> /'";

TEST_F(Paging, PagerStandsBeforeATerminalOnly) {
  EXPECT_EQ(on_terminal(kMarked), paged(kMark).out);
  EXPECT_EQ(kPlain, paged(kMark, 0).out);
}

TEST_F(Paging, OptionSwitchesItOff) {
  EXPECT_EQ(on_terminal(kPlain), paged(kMark, kColumns, {"--no-pager"}).out);
}

TEST_F(Paging, CatAndNothingAreNoPager) {
  EXPECT_EQ(on_terminal(kPlain), paged("cat").out);
  EXPECT_EQ(on_terminal(kPlain), paged("").out);
}

TEST_F(Paging, PagerOfTheSystemIsTakenWithoutOneForThisProgram) {
  RunOptions options = terminal({{"PAGER", kMark}});
  options.prepare = [] { unsetenv("QELALERT_PAGER"); };
  EXPECT_EQ(on_terminal(kMarked), qelalert({"list", "-o", "cat", "--color", "never"}, options).out);
  const Result own = qelalert({"list", "-o", "cat", "--color", "never"},
                              terminal({{"PAGER", "false"}, {"QELALERT_PAGER", kMark}}));
  EXPECT_EQ(on_terminal(kMarked), own.out);
}

TEST_F(Paging, UsualPagerShowsAShortAnswerAndEnds) {
  RunOptions options = terminal({});
  options.prepare = [] {
    unsetenv("QELALERT_PAGER");
    unsetenv("PAGER");
  };
  const Result result = qelalert({"list", "-o", "cat", "--color", "never"}, options);
  EXPECT_EQ(0, result.exit_code) << result.err;
  EXPECT_LT(result.out.find("alert 1"), result.out.find("alert 3")) << result.out;
}

TEST_F(Paging, ColoursAndTheWidthAreThoseOfTheTerminalBehind) {
  const Result colour = qelalert({"list", "-o", "table"}, terminal({{"QELALERT_PAGER", kMark}}));
  EXPECT_NE(std::string::npos, colour.out.find("> \x1b[1;31m")) << colour.out;
  const RunOptions narrow{.environment = {{"QELALERT_PAGER", kMark}}, .terminal_columns = 40};
  const Result cut = qelalert({"list", "-o", "table", "--color", "never"}, narrow);
  EXPECT_NE(std::string::npos, cut.out.find("...\r\n")) << cut.out;
}

TEST_F(Paging, PagerThatIsLeftEarlyIsNoFault) {
  for (uint32_t id = 6; id <= 100; ++id) {
    cluster_.store_alert(alert_with_message(id, std::string(500, 'x')));
  }
  for (const char* pager : {"head -1", "true", "exec <&-; sleep 0.1"}) {
    const Result result = paged(pager);
    EXPECT_EQ(0, result.exit_code) << pager << ": " << result.err;
    EXPECT_EQ("", result.err) << pager;
  }
}

TEST_F(Paging, PagerThatDoesNotExistHidesNothing) {
  const Result result = paged("/nonexistent/pager");
  EXPECT_EQ(0, result.exit_code);
  EXPECT_NE(std::string::npos, result.err.find("/nonexistent/pager")) << result.err;
  EXPECT_EQ(on_terminal(kPlain), result.out);
}

TEST_F(Paging, OnlyListHasAPager) {
  const std::vector<std::string> calls[] = {{"last"}, {"show", "node1/1"}, {"count"}, {"stats"},
                                            {"gaps"}, {"export"}};
  for (const std::vector<std::string>& call : calls) {
    const Result result = qelalert(call, terminal({{"QELALERT_PAGER", kMark}}));
    EXPECT_NE("", result.out) << result.err;
    EXPECT_EQ(std::string::npos, result.out.find("> ")) << call[0];
  }
}

// ---- standard output that does not take all -----------------------------------------------------

class Output : public ReadingTest {
 protected:
  // The tool's output goes into a shell command; what the tool itself ends with is printed last.
  Result piped(const std::string& options, const std::string& reader) const {
    const std::string script = cluster_.root() + "/script";
    alt_test::write_file(script, "{ " QELALERT_PROGRAM " " + options +
                                     "; echo \"exit $?\" >&2; } | " + reader + "\n");
    return qelalert({}, {.prepare = [script] { execl("/bin/sh", "sh", script.c_str(), nullptr); }});
  }
};

TEST_F(Output, ReaderThatHasEnoughEndsTheProgramQuietly) {
  cluster_.set_capacity(1000);
  cluster_.store_alerts(1, 1000);
  for (const char* options : {"list", "list -o json", "export", "last 1000 -o full"}) {
    const Result result = piped(options, "head -1");
    EXPECT_EQ("exit 0\n", result.err) << options;
    EXPECT_EQ(1, std::count(result.out.begin(), result.out.end(), '\n')) << options;
  }
  EXPECT_EQ("exit 0\n", piped("list", "true").err);
}

TEST_F(Output, FullDeviceFailsWithTheReason) {
  store_five();
  const std::vector<std::string> calls[] = {{"list"}, {"list", "-o", "csv"}, {"last"}, {"export"}};
  for (const std::vector<std::string>& call : calls) {
    const Result result = qelalert(call, {.out_path = "/dev/full"});
    EXPECT_EQ(1, result.exit_code) << call[0];
    EXPECT_EQ("qelalert: cannot write to standard output: No space left on device\n", result.err);
  }
}

}  // namespace
}  // namespace qel::cli::testing
