/* One process and its log file: lines, levels, arguments, faults of the file system. */
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <thread>

#include "qellog.h"
#include "testing/test_support.h"

extern "C" int c_write_one_line(const char* directory);

namespace {

using qel::testing::Child;
using qel::testing::matches;
using qel::testing::read_file;
using qel::testing::read_lines;
using qel::testing::ScopedVariable;
using qel::testing::ScratchDirectory;
using qel::testing::write_file;

constexpr int kLevels[] = {1, 2, 4, 8, 16, 32};
constexpr int kLargeFile = 1 << 20;

class LogFile : public ::testing::Test {
 protected:
  ~LogFile() override { log_term(handle_); }

  void open(int mask, int max_bytes = kLargeFile) {
    ASSERT_EQ(log_init("test", &handle_, mask, max_bytes, scratch_.path().c_str()), 0);
  }
  int write(int level, const char* text) {
    return log_write(handle_, level, 0, "dir/unit.cpp", 12, "work", "%s", text);
  }
  std::string file() const { return scratch_ / "test.log"; }
  std::string older() const { return scratch_ / "test.log.1"; }

  const ScopedVariable no_journal_{"JOURNAL_STREAM", nullptr};
  const ScratchDirectory scratch_;
  void* handle_ = nullptr;
};

TEST_F(LogFile, ALineCarriesTimeProcessLevelPositionFunctionEventAndText) {
  open(32);
  ASSERT_EQ(log_write(handle_, 4, 17, "dir/unit.cpp", 12, "work", "%d of %s", 3, "many"), 0);
  ASSERT_EQ(log_write(handle_, 1, 0, "unit.cpp", 13, "work", "plain"), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 2U);
  const std::string head = "[0-9]{4}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} \\[" +
                           std::to_string(::getpid()) + "\\] ";
  EXPECT_TRUE(matches(lines[0], head + "NOTE  unit\\.cpp:12 work: eid=17 3 of many")) << lines[0];
  EXPECT_TRUE(matches(lines[1], head + "FAIL  unit\\.cpp:13 work: plain")) << lines[1];
}

TEST_F(LogFile, EveryLevelHasItsWord) {
  open(32);
  for (const int level : kLevels) {
    ASSERT_EQ(write(level, "x"), 0);
  }
  std::string words;
  for (const std::string& line : read_lines(file())) {
    words += line.substr(line.find("] ") + 2, 5) + "|";
  }
  EXPECT_EQ(words, "FAIL |MINOR|NOTE |INFO |TRACE|DUMP |");
}

TEST_F(LogFile, AMaskLetsEveryLevelUpToItsHighestBitThrough) {
  const struct {
    int mask;
    size_t lines;
  } kCases[] = {{0, 0}, {1, 1},  {2, 2},  {3, 2},  {4, 3},       {5, 3},
                {8, 4}, {16, 5}, {32, 6}, {63, 6}, {INT_MAX, 6}, {-1, 6}};
  for (const auto& expected : kCases) {
    void* handle = nullptr;
    const std::string name = "mask" + std::to_string(expected.mask);
    ASSERT_EQ(log_init(name.c_str(), &handle, expected.mask, kLargeFile, scratch_.path().c_str()),
              0);
    for (const int level : kLevels) {
      EXPECT_EQ(log_write(handle, level, 0, "f", 1, "g", "x"), 0);
    }
    EXPECT_EQ(log_term(handle), 0);
    EXPECT_EQ(read_lines(scratch_ / (name + ".log")).size(), expected.lines) << expected.mask;
  }
}

TEST_F(LogFile, AMaskedOutLineIsNotFormatted) {
  open(4);
  int formatted = -1;
  ASSERT_EQ(log_write(handle_, 32, 0, "f", 1, "g", "abc%n", &formatted), 0);
  EXPECT_EQ(formatted, -1);
  const char* unreadable = reinterpret_cast<const char*>(16);
  const volatile int huge = INT_MAX;
  EXPECT_EQ(log_write(handle_, 8, 0, "f", 1, "g", "%*d %s", huge, 1, unreadable), 0);
  EXPECT_EQ(read_file(file()), "");
  ASSERT_EQ(log_write(handle_, 4, 0, "f", 1, "g", "abc%n", &formatted), 0);
  EXPECT_EQ(formatted, 3) << "the conversion must tell formatting from no formatting";
}

TEST_F(LogFile, AValueThatIsNoLevelIsRefused) {
  open(-1);
  EXPECT_EQ(write(3, "two levels"), -1);
  EXPECT_EQ(write(64, "above the last"), -1);
  EXPECT_EQ(write(INT_MIN, "the sign"), -1);
  EXPECT_EQ(write(0, "none: always masked out"), 0);
  EXPECT_EQ(read_file(file()), "");
}

TEST_F(LogFile, ControlCharactersAreWrittenAsHexAndOtherBytesAsTheyAre) {
  open(4);
  ASSERT_EQ(write(4, "a\nb\tc\x1b[31m\x7f d\\e \xc3\xa4 \xff"), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].substr(lines[0].find(": ") + 2),
            "a\\x0Ab\\x09c\\x1B[31m\\x7F d\\e \xc3\xa4 \xff");
}

TEST_F(LogFile, TextBeyond4096BytesIsCut) {
  open(4);
  ASSERT_EQ(write(4, std::string(4096, 'a').c_str()), 0);
  ASSERT_EQ(write(4, std::string(5000, 'b').c_str()), 0);
  ASSERT_EQ(write(4, std::string(5000, '\n').c_str()), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].ends_with(": " + std::string(4096, 'a')));
  EXPECT_TRUE(lines[1].ends_with(": " + std::string(4096, 'b')));
  EXPECT_EQ(lines[2].size() - lines[2].find("\\x0A"), 4096U * 4);
}

TEST_F(LogFile, MissingPositionIsLeftOut) {
  open(4);
  EXPECT_EQ(log_write(handle_, 4, 0, nullptr, 0, nullptr, "bare"), 0);
  EXPECT_EQ(log_write(handle_, 4, 0, nullptr, 5, nullptr, "half"), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[0].ends_with(" bare")) << lines[0];
  EXPECT_TRUE(lines[1].ends_with(":5 : half")) << lines[1];
}

TEST_F(LogFile, AnUnprintableWideTextIsRefused) {
  open(4);
  const wchar_t no_character[] = {static_cast<wchar_t>(0x7fffffff), 0};
  EXPECT_EQ(log_write(handle_, 4, 0, "f", 1, "g", "%ls", no_character), -1);
  EXPECT_EQ(write(4, "next"), 0);
  EXPECT_EQ(read_lines(file()).size(), 1U);
}

TEST_F(LogFile, NullHandleWritesNothingAndEndsQuietly) {
  EXPECT_EQ(log_write(nullptr, 1, 0, "f", 1, "g", "x"), 0);
  EXPECT_EQ(log_term(nullptr), 0);
}

TEST_F(LogFile, WrongArgumentsAreRefusedAndLeaveTheHandle) {
  int mark = 0;
  void* handle = &mark;
  const char* dir = scratch_.path().c_str();
  EXPECT_EQ(log_init(nullptr, &handle, 4, 100, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("", &handle, 4, 100, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("a/b", &handle, 4, 100, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("../a", &handle, 4, 100, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("a", &handle, 4, 0, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("a", &handle, 4, -5, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(log_init("a", nullptr, 4, 100, dir), QELLOG_E_ARGUMENT);
  EXPECT_EQ(handle, &mark);
  EXPECT_TRUE(std::filesystem::is_empty(scratch_.path()));
}

TEST_F(LogFile, ADirectoryIsMadeWithItsParents) {
  const std::string dir = scratch_ / "one/two/three";
  ASSERT_EQ(log_init("a", &handle_, 4, 100, dir.c_str()), 0);
  EXPECT_TRUE(std::filesystem::exists(dir + "/a.log"));
}

TEST_F(LogFile, ADirectoryThatCannotBeMadeIsToldApartFromAFileThatCannotBeOpened) {
  int mark = 0;
  void* handle = &mark;
  write_file(scratch_ / "plain", "x");
  EXPECT_EQ(log_init("a", &handle, 4, 100, (scratch_ / "plain").c_str()), QELLOG_E_DIRECTORY);
  EXPECT_EQ(log_init("a", &handle, 4, 100, (scratch_ / "plain/below").c_str()), QELLOG_E_DIRECTORY);
  ASSERT_TRUE(std::filesystem::create_directory(scratch_ / "taken.log"));
  EXPECT_EQ(log_init("taken", &handle, 4, 100, scratch_.path().c_str()), QELLOG_E_FILE);
  const std::string long_name(300, 'n');
  EXPECT_EQ(log_init(long_name.c_str(), &handle, 4, 100, scratch_.path().c_str()), QELLOG_E_FILE);
  EXPECT_EQ(handle, &mark);
}

TEST_F(LogFile, OutOfMemoryIsToldAndLeavesTheHandle) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer needs the address space that this test takes away";
#endif
  Child child([&] {
    int mark = 0;
    void* handle = &mark;
    const std::string huge(64 << 20, 'd');
    struct rlimit none = {0, 0};
    ::setrlimit(RLIMIT_AS, &none);
    const int result = log_init("a", &handle, 4, 100, huge.c_str());
    return result == QELLOG_E_MEMORY && handle == &mark ? 0 : 1;
  });
  EXPECT_EQ(child.wait(), 0);
}

TEST_F(LogFile, WithoutADirectoryTheEnvironmentDecides) {
  const ScopedVariable dir("QEL_LOG_DIR", (scratch_ / "env").c_str());
  void* handle = nullptr;
  ASSERT_EQ(log_init("a", &handle, 4, 100, nullptr), 0);
  EXPECT_EQ(log_term(handle), 0);
  ASSERT_EQ(log_init("b", &handle, 4, 100, ""), 0);
  EXPECT_EQ(log_term(handle), 0);
  EXPECT_TRUE(std::filesystem::exists(scratch_ / "env/a.log"));
  EXPECT_TRUE(std::filesystem::exists(scratch_ / "env/b.log"));
}

TEST_F(LogFile, ARelativeDirectoryStaysWhereItWasWhenTheProcessMoves) {
  Child child([&] {
    std::filesystem::current_path(scratch_.path());
    void* handle = nullptr;
    if (log_init("a", &handle, 4, 1, "rel") != 0) {
      return 1;
    }
    std::filesystem::current_path("/");
    const int first = log_write(handle, 4, 0, "f", 1, "g", "one");
    const int second = log_write(handle, 4, 0, "f", 1, "g", "two, after a rotation");
    return first == 0 && second == 0 ? 0 : 2;
  });
  EXPECT_EQ(child.wait(), 0);
  EXPECT_EQ(read_lines(scratch_ / "rel/a.log").size(), 1U);
  EXPECT_EQ(read_lines(scratch_ / "rel/a.log.1").size(), 1U);
}

TEST_F(LogFile, AnExistingLogIsContinued) {
  write_file(file(), "before\n");
  open(4);
  ASSERT_EQ(write(4, "after"), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0], "before");
}

TEST_F(LogFile, ALineThatWouldExceedTheMaximumRotatesFirstAndOneOlderFileIsKept) {
  open(4, 1000);
  for (int i = 0; i < 100; i++) {
    ASSERT_EQ(write(4, std::to_string(i).c_str()), 0);
    ASSERT_LE(std::filesystem::file_size(file()), 1000U);
  }
  EXPECT_TRUE(read_lines(file()).back().ends_with(": 99"));
  const auto older_lines = read_lines(older());
  ASSERT_FALSE(older_lines.empty());
  const size_t kept = older_lines.size() + read_lines(file()).size();
  EXPECT_TRUE(older_lines.front().ends_with(": " + std::to_string(100 - kept)))
      << older_lines.front();
  const std::filesystem::directory_iterator entries(scratch_.path());
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 2);
}

TEST_F(LogFile, ALineLongerThanTheMaximumIsWrittenToAFileOfItsOwn) {
  open(4, 10);
  ASSERT_EQ(write(4, "first"), 0);
  ASSERT_EQ(write(4, "second"), 0);
  EXPECT_EQ(read_lines(file()).size(), 1U);
  EXPECT_EQ(read_lines(older()).size(), 1U);
}

TEST_F(LogFile, ALogThatCannotBeRenamedGrowsOn) {
  open(4, 200);
  ASSERT_TRUE(std::filesystem::create_directory(older()));
  write_file(older() + "/in the way", "x");
  for (int i = 0; i < 20; i++) {
    ASSERT_EQ(write(4, "kept"), 0);
  }
  EXPECT_EQ(read_lines(file()).size(), 20U);
}

TEST_F(LogFile, ALogThatWasMovedAwayIsMadeAnew) {
  open(4);
  ASSERT_EQ(write(4, "one"), 0);
  std::filesystem::rename(file(), scratch_ / "moved");
  ASSERT_EQ(write(4, "two"), 0);
  std::filesystem::remove(file());
  ASSERT_EQ(write(4, "three"), 0);
  EXPECT_TRUE(read_lines(scratch_ / "moved").at(0).ends_with("one"));
  EXPECT_TRUE(read_lines(file()).at(0).ends_with("three"));
}

TEST_F(LogFile, ALineWithoutAFileIsReportedAndErrnoStays) {
  open(4);
  std::filesystem::remove_all(scratch_.path());
  errno = 77;
  EXPECT_EQ(write(4, "lost"), -1);
  EXPECT_EQ(errno, 77);
  std::filesystem::create_directory(scratch_.path());
  EXPECT_EQ(write(4, "there again"), 0);
  EXPECT_EQ(errno, 77);
  EXPECT_EQ(read_lines(file()).size(), 1U);
}

TEST_F(LogFile, ErrnoStaysOverInitWriteAndRotation) {
  errno = EINTR;
  open(4, 1);
  EXPECT_EQ(errno, EINTR);
  EXPECT_EQ(write(4, "one"), 0);
  EXPECT_EQ(write(4, "two"), 0);
  EXPECT_EQ(errno, EINTR);
  void* none = nullptr;
  EXPECT_EQ(log_init("a", &none, 4, 1, "/dev/null"), QELLOG_E_DIRECTORY);
  EXPECT_EQ(errno, EINTR);
}

TEST_F(LogFile, AFullDiskTearsALineAndTheNextOneStandsOnItsOwn) {
  open(4);
  Child child([&] {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlim_t room = 100;
    struct rlimit limit = {room, room};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    errno = EINTR;
    const int torn = write(4, std::string(200, 't').c_str());
    const int none = write(4, "no room at all");
    return torn == -1 && none == -1 && errno == EINTR ? 0 : 1;
  });
  ASSERT_EQ(child.wait(), 0);
  ASSERT_EQ(std::filesystem::file_size(file()), 100U);
  ASSERT_EQ(write(4, "whole"), 0);
  ASSERT_EQ(write(4, "next"), 0);
  const auto lines = read_lines(file());
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].ends_with("ttt"));
  EXPECT_TRUE(lines[1].ends_with(": whole"));
  EXPECT_TRUE(lines[2].ends_with(": next"));
}

TEST_F(LogFile, APipeInThePlaceOfTheLogDoesNotHoldUpTheProcess) {
  ASSERT_EQ(::mkfifo(file().c_str(), 0600), 0);
  open(4);
  int result = 0;
  for (int i = 0; i < 10000 && result == 0; i++) {
    result = write(4, "into a pipe that nobody reads");
  }
  EXPECT_EQ(result, -1);
}

TEST_F(LogFile, TheNullDeviceMaySilenceALog) {
  std::filesystem::create_symlink("/dev/null", file());
  open(4, 1);
  EXPECT_EQ(write(4, "one"), 0);
  EXPECT_EQ(write(4, "two"), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(file()));
  EXPECT_FALSE(std::filesystem::exists(older()));
}

TEST_F(LogFile, ThreadsOfOneProcessWriteWholeLines) {
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  open(4, 128 << 10); /* one rotation */
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int t = 0; t < kThreads; t++) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kLines; i++) {
        EXPECT_EQ(write(4, ("thread " + std::to_string(t) + " end").c_str()), 0);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  size_t whole = 0;
  for (const std::string& path : {older(), file()}) {
    for (const std::string& line : read_lines(path)) {
      whole += matches(line, ".* unit\\.cpp:12 work: thread [0-3] end") ? 1 : 0;
    }
  }
  EXPECT_EQ(whole, static_cast<size_t>(kThreads * kLines));
}

TEST_F(LogFile, APlainCProgramWritesALine) {
  ASSERT_EQ(c_write_one_line(scratch_.path().c_str()), 0);
  const auto lines = read_lines(scratch_ / "plain.log");
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].ends_with("c_write_one_line: eid=7 number 12, text abc")) << lines[0];
}

}  // namespace
