// One daemon for each pid file, and what the next one learns about the end of the last.
#include "instance.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <memory>

#include "support/files.h"
#include "support/process.h"
#include "testing/test_support.h"

namespace qel::daemon_test {
namespace {

using alt_test::Child;
using daemon::Instance;

class InstanceTest : public ::testing::Test {
 protected:
  // A process that holds the file until it is killed; returns when it does.
  std::unique_ptr<Child> holder() {
    auto child = std::make_unique<Child>([this] {
      Instance instance;
      std::string error;
      if (!instance.take(file_, &error)) return 1;
      told_.send();
      for (;;) pause();
    });
    EXPECT_EQ('.', told_.receive());
    return child;
  }

  std::string content() const { return alt_test::read_file(file_).value_or("missing"); }

  testing::ScratchDirectory directory_;
  const std::string file_ = directory_ / "run/below/daemon.pid";
  testing::Channel told_;
  std::string error_;
};

TEST_F(InstanceTest, FileHoldsTheProcessIdAndItsDirectoriesAreMade) {
  Instance instance;
  ASSERT_TRUE(instance.take(file_, &error_)) << error_;
  EXPECT_FALSE(instance.found_unclean());
  EXPECT_EQ(std::to_string(getpid()) + "\n", content());
}

TEST_F(InstanceTest, SecondTakerIsRefusedWithTheProcessAndTheFileNamed) {
  const auto first = holder();
  Instance second;
  EXPECT_FALSE(second.take(file_, &error_));
  EXPECT_NE(std::string::npos, error_.find(std::to_string(first->pid()))) << error_;
  EXPECT_NE(std::string::npos, error_.find(file_)) << error_;
  EXPECT_EQ(std::to_string(first->pid()) + "\n", content()) << "the refused one wrote to the file";
}

TEST_F(InstanceTest, RefusedTakerDoesNotMakeTheEndOfTheOtherLookClean) {
  {
    const auto first = holder();
    Instance second;
    ASSERT_FALSE(second.take(file_, &error_));
  }
  Instance third;
  ASSERT_TRUE(third.take(file_, &error_)) << error_;
  EXPECT_TRUE(third.found_unclean());
}

TEST_F(InstanceTest, EndByKillIsFoundUncleanAndTheFileIsTaken) {
  const auto killed = holder();
  killed->kill(SIGKILL);
  EXPECT_EQ(alt_test::kChildSignalled + SIGKILL, killed->wait());
  Instance next;
  ASSERT_TRUE(next.take(file_, &error_)) << error_;
  EXPECT_TRUE(next.found_unclean());
  EXPECT_EQ(std::to_string(getpid()) + "\n", content());
}

TEST_F(InstanceTest, CleanEndLeavesAnEmptyFileAndIsNotFoundUnclean) {
  {
    Instance instance;
    ASSERT_TRUE(instance.take(file_, &error_)) << error_;
    instance.end_clean();
  }
  EXPECT_EQ("", content());
  Instance next;
  ASSERT_TRUE(next.take(file_, &error_)) << error_;
  EXPECT_FALSE(next.found_unclean());
}

TEST_F(InstanceTest, HolderThatGivesUpBeforeACleanEndIsFoundUnclean) {
  {
    Instance instance;
    ASSERT_TRUE(instance.take(file_, &error_)) << error_;
  }
  Instance next;
  ASSERT_TRUE(next.take(file_, &error_)) << error_;
  EXPECT_TRUE(next.found_unclean());
}

TEST_F(InstanceTest, UncleanEndIsForgottenAfterTheNextCleanOne) {
  { const auto killed = holder(); }
  {
    Instance next;
    ASSERT_TRUE(next.take(file_, &error_)) << error_;
    ASSERT_TRUE(next.found_unclean());
    next.end_clean();
  }
  Instance last;
  ASSERT_TRUE(last.take(file_, &error_)) << error_;
  EXPECT_FALSE(last.found_unclean());
}

TEST_F(InstanceTest, FileThatCannotBeMadeIsTheReasonGiven) {
  Instance instance;
  alt_test::write_file(directory_ / "plain", "");
  EXPECT_FALSE(instance.take(directory_ / "plain/daemon.pid", &error_));
  EXPECT_NE(std::string::npos, error_.find(directory_ / "plain")) << error_;
  EXPECT_FALSE(instance.take(directory_.path(), &error_));
  EXPECT_NE(std::string::npos, error_.find("Is a directory")) << error_;
}

}  // namespace
}  // namespace qel::daemon_test
