/* The log of a service: its standard error is a socket that the journal reads. */
#include <sys/socket.h>
#include <sys/stat.h>

#include "common/unique_fd.h"
#include "qellog.h"
#include "testing/test_support.h"

namespace {

using qel::UniqueFd;
using qel::testing::Child;
using qel::testing::read_lines;
using qel::testing::ScratchDirectory;

class LogOfAService : public ::testing::Test {
 protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    journal_ = UniqueFd(ends[0]);
    service_ = UniqueFd(ends[1]);
  }

  /* Runs `work` with a log in a process whose standard error is the socket. */
  template <typename Work>
  int run_service(bool announced, const char* name, Work work) {
    Child child([&] {
      ::dup2(service_.get(), STDERR_FILENO);
      struct stat socket {};
      ::fstat(STDERR_FILENO, &socket);
      const auto inode = socket.st_ino + (announced ? 0 : 1);
      ::setenv("JOURNAL_STREAM",
               (std::to_string(socket.st_dev) + ":" + std::to_string(inode)).c_str(), 1);
      void* handle = nullptr;
      if (log_init(name, &handle, 32, 4 << 20, scratch_.path().c_str()) != 0) {
        return 100;
      }
      const int result = work(handle);
      log_term(handle);
      return result;
    });
    return child.wait();
  }

  std::string journal_text() {
    service_ = UniqueFd();
    std::string text;
    char part[4096];
    for (ssize_t n = 1; n > 0;) {
      n = ::read(journal_.get(), part, sizeof part);
      text.append(part, n > 0 ? n : 0);
    }
    return text;
  }

  const ScratchDirectory scratch_;
  UniqueFd journal_;
  UniqueFd service_;
};

int write_every_level(void* handle) {
  for (const int level : {1, 2, 4, 8, 16, 32}) {
    if (log_write(handle, level, level == 1 ? 9 : 0, "f.cpp", 5, "g", "level\n%d", level) != 0) {
      return 1;
    }
  }
  return 0;
}

TEST_F(LogOfAService, FailuresAndNotableEventsGoToTheJournalWithTheirPriority) {
  ASSERT_EQ(run_service(true, "daemon", write_every_level), 0);
  EXPECT_EQ(journal_text(),
            "<3>daemon: f.cpp:5 g: eid=9 level\\x0A1\n"
            "<4>daemon: f.cpp:5 g: level\\x0A2\n"
            "<5>daemon: f.cpp:5 g: level\\x0A4\n");
  EXPECT_EQ(read_lines(scratch_ / "daemon.log").size(), 6U);
}

TEST_F(LogOfAService, ANameIsNeverTakenForAPattern) {
  ASSERT_EQ(run_service(true, "50%P", write_every_level), 0);
  EXPECT_TRUE(journal_text().starts_with("<3>50%P: f.cpp:5 g: "));
}

TEST_F(LogOfAService, AnotherStreamThanTheAnnouncedOneGetsNothing) {
  ASSERT_EQ(run_service(false, "daemon", write_every_level), 0);
  EXPECT_EQ(journal_text(), "");
  EXPECT_EQ(read_lines(scratch_ / "daemon.log").size(), 6U);
}

TEST_F(LogOfAService, AnUnreadableAnnouncementIsIgnored) {
  const qel::testing::ScopedVariable announcement("JOURNAL_STREAM", "no stream");
  void* handle = nullptr;
  ASSERT_EQ(log_init("a", &handle, 32, 4 << 20, scratch_.path().c_str()), 0);
  EXPECT_EQ(write_every_level(handle), 0);
  log_term(handle);
}

TEST_F(LogOfAService, AJournalThatDoesNotReadHoldsUpNobody) {
  constexpr int kLines = 5000;
  ASSERT_EQ(run_service(true, "daemon",
                        [](void* handle) {
                          int result = 0;
                          for (int i = 0; i < kLines && result == 0; i++) {
                            result = log_write(handle, 1, 0, "f", 1, "g", "%0300d end", i);
                          }
                          return result == 0 ? 0 : 1;
                        }),
            0);
  EXPECT_EQ(read_lines(scratch_ / "daemon.log").size(), static_cast<size_t>(kLines));
  const std::string text = journal_text();
  EXPECT_FALSE(text.empty());
  EXPECT_TRUE(text.ends_with(" end\n")) << "lines are dropped whole";
}

TEST_F(LogOfAService, AJournalThatIsGoneDoesNotEndTheProcess) {
  journal_ = UniqueFd();
  EXPECT_EQ(run_service(true, "daemon", write_every_level), 0);
  EXPECT_EQ(read_lines(scratch_ / "daemon.log").size(), 6U);
}

TEST_F(LogOfAService, TheJournalGetsTheLineThatTheFileCannotTake) {
  ASSERT_EQ(run_service(true, "daemon",
                        [&](void* handle) {
                          std::filesystem::remove_all(scratch_.path());
                          return log_write(handle, 1, 0, "f", 1, "g", "x") == -1 ? 0 : 1;
                        }),
            0);
  EXPECT_EQ(journal_text(), "<3>daemon: f:1 g: x\n");
}

}  // namespace
