/* The instants that chance rarely hits: this program's own flock, rename and writev stand before
 * the system's, so that another process acts, or this one dies, exactly there. */
#include <sys/syscall.h>
#include <sys/uio.h>

#include <functional>

#include "qellog.h"
#include "testing/test_support.h"

namespace {

using Hook = std::function<void()>;

Hook g_before_flock;
Hook g_after_rename;
std::function<void(int, const iovec*)> g_before_writev;

/* Each hook acts once. */
template <typename Function, typename... Arguments>
void call_once(Function& hook, Arguments... arguments) {
  if (const Function once = std::exchange(hook, nullptr)) {
    once(arguments...);
  }
}

}  // namespace

extern "C" {

int flock_with_hook(int fd, int operation) __asm__("flock");
int rename_with_hook(const char* from, const char* to) __asm__("rename");
ssize_t writev_with_hook(int fd, const iovec* parts, int count) __asm__("writev");

int flock_with_hook(int fd, int operation) {
  call_once(g_before_flock);
  return static_cast<int>(::syscall(SYS_flock, fd, operation));
}

int rename_with_hook(const char* from, const char* to) {
  const long result = ::syscall(SYS_rename, from, to);
  call_once(g_after_rename);
  return static_cast<int>(result);
}

ssize_t writev_with_hook(int fd, const iovec* parts, int count) {
  call_once(g_before_writev, fd, parts);
  return ::syscall(SYS_writev, fd, parts, count);
}

}  // extern "C"

namespace {

using qel::testing::Child;
using qel::testing::read_lines;
using qel::testing::ScopedVariable;
using qel::testing::ScratchDirectory;

/* Every line is longer than half of the log's maximum: each rotates the one before. */
class LogAtTheWrongInstant : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(log_init("alert", &own_, 4, 150, scratch_.path().c_str()), 0);
    ASSERT_EQ(log_init("alert", &other_, 4, 150, scratch_.path().c_str()), 0);
  }
  ~LogAtTheWrongInstant() override {
    log_term(own_);
    log_term(other_);
  }

  static int write(void* handle, const char* name) {
    return log_write(handle, 4, 0, "f", 1, "g", "%080d %s", 0, name);
  }
  /* The last words of the lines, older file first, a "|" between the files. */
  std::string names() const {
    std::string result;
    for (const char* file : {"alert.log.1", "alert.log"}) {
      for (const std::string& line : read_lines(scratch_ / file)) {
        result += line.substr(line.rfind(' ') + 1) + " ";
      }
      result += "|";
    }
    return result;
  }

  const ScopedVariable no_journal_{"JOURNAL_STREAM", nullptr};
  const ScratchDirectory scratch_;
  void* own_ = nullptr;
  void* other_ = nullptr;
};

TEST_F(LogAtTheWrongInstant, AFileThatAnotherRotatedFirstIsNotRotatedAgain) {
  ASSERT_EQ(write(own_, "one"), 0);
  g_before_flock = [&] { EXPECT_EQ(write(other_, "other"), 0); };
  ASSERT_EQ(write(own_, "two"), 0);
  EXPECT_EQ(names(), "one |other two |");
}

TEST_F(LogAtTheWrongInstant, ALineIntoAFileThatIsRotatedAwayTwiceIsWrittenAgain) {
  g_before_writev = [&](int, const iovec*) {
    EXPECT_EQ(write(other_, "first"), 0);
    EXPECT_EQ(write(other_, "second"), 0);
    EXPECT_EQ(write(other_, "third"), 0);
  };
  ASSERT_EQ(write(own_, "own"), 0);
  EXPECT_EQ(names(), "third |own |");
}

TEST_F(LogAtTheWrongInstant, ALineIntoAFileThatIsRotatedAwayOnceIsInTheOlderFile) {
  g_before_writev = [&](int, const iovec*) {
    EXPECT_EQ(write(other_, "first"), 0);
    EXPECT_EQ(write(other_, "second"), 0);
  };
  ASSERT_EQ(write(own_, "own"), 0);
  EXPECT_EQ(names(), "first own |second |");
}

TEST_F(LogAtTheWrongInstant, AProcessKilledRightAfterTheRenameLeavesAWorkingLog) {
  ASSERT_EQ(write(own_, "one"), 0);
  Child child([&] {
    g_after_rename = [] { ::raise(SIGKILL); };
    return write(other_, "never");
  });
  ASSERT_EQ(child.wait(), 1000 + SIGKILL);
  ASSERT_EQ(write(own_, "two"), 0);
  EXPECT_EQ(names(), "one |two |");
}

TEST_F(LogAtTheWrongInstant, AProcessKilledInTheMiddleOfALineSpoilsNoOther) {
  void* roomy = nullptr;
  ASSERT_EQ(log_init("alert", &roomy, 4, 1 << 20, scratch_.path().c_str()), 0);
  Child child([&] {
    g_before_writev = [](int fd, const iovec* parts) {
      (void)!::write(fd, parts->iov_base, parts->iov_len / 2);
      ::raise(SIGKILL);
    };
    return write(roomy, "never");
  });
  ASSERT_EQ(child.wait(), 1000 + SIGKILL);
  ASSERT_EQ(write(roomy, "one"), 0);
  ASSERT_EQ(write(roomy, "two"), 0);
  log_term(roomy);
  const auto lines = read_lines(scratch_ / "alert.log");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[1].starts_with("20") && lines[1].ends_with(" one")) << lines[1];
  EXPECT_TRUE(lines[2].ends_with(" two"));
}

}  // namespace
