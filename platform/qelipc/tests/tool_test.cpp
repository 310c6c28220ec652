/* The tool "qelipc" as a process: output, errors, exit codes. */
#include <algorithm>

#include "ipc_fixture.h"

namespace {

using qel::testing::Child;
using qel::testing::read_file;
using qel::testing::ScratchDirectory;
using qel::testing::wait_until_asleep;

class Tool : public IpcFixture {
 protected:
  /* Starts the tool; its output is in out() and err() when it has ended. */
  Child start(std::vector<std::string> words, const std::string& output = "") {
    const std::string out_path = output.empty() ? scratch_ / "out" : output;
    return Child([&] {
      std::vector<char*> arguments = {const_cast<char*>("qelipc")};
      for (std::string& word : words) {
        arguments.push_back(word.data());
      }
      arguments.push_back(nullptr);
      const int out = ::open(out_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      const int err = ::open((scratch_ / "err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      ::dup2(out, STDOUT_FILENO);
      ::dup2(err, STDERR_FILENO);
      ::execv(QELIPC_TOOL, arguments.data());
      return 126;
    });
  }
  int run(const std::vector<std::string>& words) { return start(words).wait(); }
  std::string out() const { return read_file(scratch_ / "out"); }
  std::string err() const { return read_file(scratch_ / "err"); }

  const ScratchDirectory scratch_;
};

TEST_F(Tool, ShowPrintsTheState) {
  ASSERT_EQ(shmcm_setratio(3, 90), 0);
  ASSERT_EQ(semevt_set_alert(), 0);
  EXPECT_EQ(run({"show"}), 0) << err();
  EXPECT_EQ(out(), "name    " + name_ + "\nratio   3\nperiod  90 s\nalerts  1\n");
  EXPECT_EQ(err(), "");
}

TEST_F(Tool, ShowMakesNoState) {
  EXPECT_EQ(run({"show"}), 1);
  EXPECT_EQ(err(), "qelipc: cannot show " + name_ + ": No such file or directory\n");
  EXPECT_FALSE(exists());
}

TEST_F(Tool, SetRatioSetsBothOrKeepsThePeriod) {
  EXPECT_EQ(run({"set-ratio", "5"}), 0) << err();
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(timing(), "5/60");
  EXPECT_EQ(run({"set-ratio", "1000", "86400"}), 0) << err();
  EXPECT_EQ(timing(), "1000/86400");
  EXPECT_EQ(run({"set-ratio", "2"}), 0) << err();
  EXPECT_EQ(timing(), "2/86400");
  EXPECT_EQ(out() + err(), "");
}

TEST_F(Tool, ValuesOutOfRangeAreAUsageErrorAndChangeNothing) {
  for (const char* wrong : {"0", "1001", "-1", "abc", "", "5x", "99999999999"}) {
    EXPECT_EQ(run({"set-ratio", wrong}), 2);
    EXPECT_EQ(err(), std::string("qelipc: RATIO is a whole number from 1 to 1000, not \"") + wrong +
                         "\"\n");
  }
  EXPECT_EQ(run({"set-ratio", "5", "0"}), 2);
  EXPECT_EQ(err(), "qelipc: PERIOD is a whole number from 1 to 86400, not \"0\"\n");
  EXPECT_EQ(run({"wait", "-1"}), 2);
  EXPECT_EQ(err(), "qelipc: SECONDS is a whole number from 0 to 2147483, not \"-1\"\n");
  EXPECT_FALSE(exists());
}

TEST_F(Tool, WaitEndsWithTheNextEventAndNotWithAnEarlierOne) {
  ASSERT_EQ(semevt_set_alert(), 0);
  EXPECT_EQ(run({"wait", "0"}), 4);
  EXPECT_EQ(run({"wait", "1"}), 4);
  Child waiter = start({"wait"});
  while (!waiter.has_ended()) {
    ASSERT_EQ(semevt_set_alert(), 0);
    ::usleep(1000);
  }
  EXPECT_EQ(waiter.wait(), 0) << err();
}

TEST_F(Tool, RemoveTakesTheStateAwayAndTellsWhenThereIsNone) {
  ASSERT_EQ(shmcm_setratio(3, 90), 0);
  EXPECT_EQ(run({"remove"}), 0) << err();
  EXPECT_FALSE(exists());
  EXPECT_EQ(run({"remove"}), 1);
  EXPECT_EQ(err(), "qelipc: cannot remove " + name_ + ": No such file or directory\n");
}

TEST_F(Tool, RemoveWakesWhoWaits) {
  unsigned seen = 0;
  ASSERT_EQ(semevt_wait_alert(&seen, 0), 0);
  Child remover([&] { return wait_until_asleep(::getppid()) ? run({"remove"}) : 1; });
  EXPECT_EQ(semevt_wait_alert(&seen, -1), 1);
  EXPECT_EQ(seen, 0U);
  EXPECT_EQ(remover.wait(), 0);
}

TEST_F(Tool, AnObjectOfAnotherProgramIsExplainedAndCanBeRemoved) {
  make_object("something else");
  for (const char* command : {"show", "set-ratio", "wait"}) {
    const bool needs_number = std::string(command) == "set-ratio";
    EXPECT_EQ(needs_number ? run({command, "2"}) : run({command}), 1);
    EXPECT_TRUE(err().ends_with(" " + name_ +
                                ": made by another version of qelipc, or by another program; "
                                "\"qelipc remove\" takes it away\n"))
        << err();
  }
  EXPECT_EQ(run({"remove"}), 0) << err();
  EXPECT_FALSE(exists());
}

TEST_F(Tool, WrongUsageIsExplained) {
  const std::string hint = "\nTry \"qelipc --help\".\n";
  EXPECT_EQ(run({}), 2);
  EXPECT_EQ(err(), "qelipc: missing command" + hint);
  EXPECT_EQ(run({"shwo"}), 2);
  EXPECT_EQ(err(), "qelipc: unknown command: shwo" + hint);
  EXPECT_EQ(run({"set-ratio"}), 2);
  EXPECT_EQ(err(), "qelipc: missing argument of: set-ratio" + hint);
  EXPECT_EQ(run({"show", "more"}), 2);
  EXPECT_EQ(err(), "qelipc: too many arguments: more" + hint);
  EXPECT_EQ(run({"set-ratio", "1", "2", "3"}), 2);
  EXPECT_EQ(err(), "qelipc: too many arguments: 3" + hint);
  EXPECT_EQ(out(), "");
}

TEST_F(Tool, HelpNamesEveryCommandAndExitCode) {
  ASSERT_EQ(run({"--help"}), 0);
  for (const char* part : {"  show ", "  set-ratio RATIO [PERIOD]", "  wait ", "  remove ",
                           "0 done, 1 failed, 2 wrong usage, 4 no alert", "QEL_IPC_NAME"}) {
    EXPECT_NE(out().find(part), std::string::npos) << part;
  }
  const std::string text = out();
  EXPECT_EQ(run({"-h"}), 0);
  EXPECT_EQ(out(), text);
}

TEST_F(Tool, OutputThatCannotBeWrittenIsAFailure) {
  EXPECT_EQ(start({"--help"}, "/dev/full").wait(), 1);
  EXPECT_EQ(err(), "qelipc: cannot write: No space left on device\n");
}

}  // namespace
