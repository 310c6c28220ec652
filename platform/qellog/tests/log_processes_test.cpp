/* Several processes with the same log: nothing torn, nothing lost, nobody waits. */
#include <fcntl.h>
#include <sys/file.h>

#include <cstdio>
#include <map>
#include <optional>

#include "common/unique_fd.h"
#include "qellog.h"
#include "testing/test_support.h"

namespace {

using qel::testing::Channel;
using qel::testing::Child;
using qel::testing::Gate;
using qel::testing::read_lines;
using qel::testing::ScopedVariable;
using qel::testing::ScratchDirectory;

struct Origin {
  int writer;
  int number;
};

/* Who wrote a line; none when it is not whole. */
std::optional<Origin> origin_of(const std::string& line) {
  constexpr size_t kTimeWidth = 24; /* with the blank behind it */
  Origin origin{};
  int text = 0;
  if (line.size() < kTimeWidth ||
      std::sscanf(line.c_str() + kTimeWidth, "[%*d] NOTE  f.cpp:1 g: writer %d line %d of %*d %n",
                  &origin.writer, &origin.number, &text) != 2) {
    return std::nullopt;
  }
  const bool whole = line.substr(kTimeWidth + text) == std::string(origin.number % 150, 'x');
  return whole ? std::optional<Origin>(origin) : std::nullopt;
}

class LogOfSeveralProcesses : public ::testing::Test {
 protected:
  std::string file() const { return scratch_ / "alert.log"; }
  std::string older() const { return scratch_ / "alert.log.1"; }

  /* Each process opens the log by itself and writes "writer W line N of COUNT". */
  void write_from_processes(int processes, int lines, int max_bytes) {
    Gate gate;
    std::vector<Child> writers;
    writers.reserve(processes);
    for (int w = 0; w < processes; w++) {
      writers.emplace_back([&] {
        gate.wait_in_child();
        void* handle = nullptr;
        int result = log_init("alert", &handle, 4, max_bytes, scratch_.path().c_str());
        for (int n = 0; n < lines && result == 0; n++) {
          result = log_write(handle, 4, 0, "f.cpp", 1, "g", "writer %d line %d of %d %s", w, n,
                             lines, std::string(n % 150, 'x').c_str());
        }
        return result == 0 ? 0 : 1;
      });
    }
    gate.open();
    for (Child& writer : writers) {
      EXPECT_EQ(writer.wait(), 0);
    }
  }

  /* Line numbers by writer, in the order of the log; every line must be whole. An empty line
   * stands for an append that was taken for torn. */
  std::map<int, std::vector<int>> read_by_writer() const {
    std::map<int, std::vector<int>> numbers;
    for (const std::string& path : {older(), file()}) {
      for (const std::string& line : read_lines(path)) {
        const auto origin = origin_of(line);
        EXPECT_TRUE(origin || line.empty()) << path << ": " << line;
        if (origin) {
          numbers[origin->writer].push_back(origin->number);
        }
      }
    }
    return numbers;
  }

  const ScopedVariable no_journal_{"JOURNAL_STREAM", nullptr};
  const ScratchDirectory scratch_;
};

std::vector<int> numbers_up_to(int count) {
  std::vector<int> numbers(count);
  for (int i = 0; i < count; i++) {
    numbers[i] = i;
  }
  return numbers;
}

TEST_F(LogOfSeveralProcesses, OneRotationUnderFullLoadKeepsEveryLine) {
  constexpr int kProcesses = 4;
  constexpr int kLines = 400;
  constexpr int kRounds = 20;
  for (int round = 0; round < kRounds && !HasFailure(); round++) {
    /* about 1600 lines of 130 bytes: more than one file, less than two */
    write_from_processes(kProcesses, kLines, 140 << 10);
    EXPECT_TRUE(std::filesystem::exists(older()));
    const auto numbers = read_by_writer();
    ASSERT_EQ(numbers.size(), static_cast<size_t>(kProcesses));
    for (const auto& [writer, lines] : numbers) {
      EXPECT_EQ(lines, numbers_up_to(kLines)) << "round " << round << " writer " << writer;
    }
    std::filesystem::remove(file());
    std::filesystem::remove(older());
  }
}

/* Only the two newest files are left; in them nothing of any writer may be missing between its
 * first line there and its last one. */
TEST_F(LogOfSeveralProcesses, ConstantRotationLeavesNoGapInAnyWritersLines) {
  constexpr int kProcesses = 4;
  constexpr int kLines = 2000;
  write_from_processes(kProcesses, kLines, 8 << 10);
  size_t left = 0;
  for (const auto& [writer, lines] : read_by_writer()) {
    left += lines.size();
    EXPECT_EQ(lines.back(), kLines - 1) << "writer " << writer;
    for (size_t i = 1; i < lines.size(); i++) {
      EXPECT_EQ(lines[i], lines[i - 1] + 1) << "writer " << writer;
    }
  }
  EXPECT_GT(left, 0U);
}

TEST_F(LogOfSeveralProcesses, ARotationByOneIsFollowedByTheOther) {
  void* first = nullptr;
  void* second = nullptr;
  ASSERT_EQ(log_init("alert", &first, 4, 150, scratch_.path().c_str()), 0);
  ASSERT_EQ(log_init("alert", &second, 4, 1 << 20, scratch_.path().c_str()), 0);
  EXPECT_EQ(log_write(first, 4, 0, "f", 1, "g", "%0100d", 1), 0);
  EXPECT_EQ(log_write(first, 4, 0, "f", 1, "g", "%0100d", 2), 0);
  EXPECT_EQ(log_write(second, 4, 0, "f", 1, "g", "follows"), 0);
  log_term(first);
  log_term(second);
  EXPECT_EQ(read_lines(older()).size(), 1U);
  ASSERT_EQ(read_lines(file()).size(), 2U);
  EXPECT_TRUE(read_lines(file())[1].ends_with("follows"));
}

TEST_F(LogOfSeveralProcesses, AProcessThatStopsWhileItRotatesHoldsUpNobody) {
  void* handle = nullptr;
  ASSERT_EQ(log_init("alert", &handle, 4, 100, scratch_.path().c_str()), 0);
  Channel locked;
  Child rotating([&] {
    const qel::UniqueFd fd(::open(file().c_str(), O_RDWR));
    (void)(::flock(fd.get(), LOCK_EX) == 0 && locked.send());
    ::raise(SIGSTOP);
    return 0;
  });
  ASSERT_TRUE(locked.receive());
  for (int i = 0; i < 5; i++) {
    EXPECT_EQ(log_write(handle, 4, 0, "f", 1, "g", "goes on"), 0);
  }
  EXPECT_FALSE(std::filesystem::exists(older()));
  EXPECT_EQ(read_lines(file()).size(), 5U);
  EXPECT_EQ(rotating.kill(), 1000 + SIGKILL);
  EXPECT_EQ(log_write(handle, 4, 0, "f", 1, "g", "rotates"), 0);
  EXPECT_EQ(read_lines(older()).size(), 5U);
  log_term(handle);
}

TEST_F(LogOfSeveralProcesses, AKilledProcessLeavesAllItWrote) {
  Child writer([&] {
    void* handle = nullptr;
    log_init("alert", &handle, 4, 1 << 20, scratch_.path().c_str());
    for (int i = 0; i < 100; i++) {
      log_write(handle, 4, 0, "f", 1, "g", "line %d", i);
    }
    return ::raise(SIGKILL);
  });
  EXPECT_EQ(writer.wait(), 1000 + SIGKILL);
  EXPECT_EQ(read_lines(file()).size(), 100U);
}

TEST_F(LogOfSeveralProcesses, AForkedProcessGoesOnWithTheHandle) {
  void* handle = nullptr;
  ASSERT_EQ(log_init("alert", &handle, 4, 4 << 10, scratch_.path().c_str()), 0);
  const auto write_numbers = [&](int writer) {
    int result = 0;
    for (int n = 0; n < 1000 && result == 0; n++) {
      result = log_write(handle, 4, 0, "f.cpp", 1, "g", "writer %d line %d of 1000 %s", writer, n,
                         std::string(n % 150, 'x').c_str());
    }
    return result;
  };
  Child forked([&] { return write_numbers(1) == 0 ? 0 : 1; });
  EXPECT_EQ(write_numbers(0), 0);
  EXPECT_EQ(forked.wait(), 0);
  for (const auto& [writer, lines] : read_by_writer()) {
    EXPECT_EQ(lines.back(), 999) << "writer " << writer;
    EXPECT_EQ(lines.back() - lines.front() + 1, static_cast<int>(lines.size()));
  }
  log_term(handle);
}

}  // namespace
