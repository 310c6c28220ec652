// Reads and writes under record locks, seen from other processes.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "alert_log.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/process.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

constexpr size_t kPiece = 524288;

// What another process sees of this process's locks on a file: "R 0+1024", "W 5+0", or "" when it
// could lock all of it.
std::string lock_seen_on(const std::string& path) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  in_process([&] {
    const Opened other(path);
    struct flock range = {};
    range.l_type = F_WRLCK;
    fcntl(other, F_GETLK, &range);
    char text[64] = "";
    if (range.l_type != F_UNLCK) {
      snprintf(text, sizeof(text), "%c %ld+%ld", range.l_type == F_RDLCK ? 'R' : 'W',
               static_cast<long>(range.l_start), static_cast<long>(range.l_len));
    }
    return write(ends[1], text, sizeof(text)) == sizeof(text) ? 0 : 1;
  });
  char text[64] = "";
  const ssize_t got = read(ends[0], text, sizeof(text));
  close(ends[0]);
  close(ends[1]);
  return got > 0 ? text : "nothing seen";
}

class RecordLock : public StoreTest {
 protected:
  std::string file() const { return path("file"); }
  void put(const std::string& content) const { write_file(file(), content); }
  std::string content() const { return read_file(file()).value(); }
};

// ---- ranges -------------------------------------------------------------------------------------

struct Range {
  int type;
  off_t start;
  off_t length;
  const char* seen;
};
void PrintTo(const Range& row, std::ostream* out) { *out << row.seen; }
class Ranges : public RecordLock, public ::testing::WithParamInterface<Range> {};
INSTANTIATE_TEST_SUITE_P(RecordLock, Ranges,
                         ::testing::Values(Range{F_WRLCK, 0, 0, "W 0+0"},
                                           Range{F_WRLCK, 100, 684, "W 100+684"},
                                           Range{F_RDLCK, 0, 1024, "R 0+1024"},
                                           Range{F_RDLCK, 5000000000, 1, "R 5000000000+1"}));

TEST_P(Ranges, AreSeenByAnotherProcessExactly) {
  put("content");
  const Opened locked(file());
  EXPECT_EQ(
      lock_reg(locked, F_SETLKW, GetParam().type, GetParam().start, SEEK_SET, GetParam().length),
      0);
  EXPECT_EQ(lock_seen_on(file()), GetParam().seen);
  EXPECT_EQ(lock_reg(locked, F_SETLK, F_UNLCK, GetParam().start, SEEK_SET, GetParam().length), 0);
  EXPECT_EQ(lock_seen_on(file()), "");
}

struct Conflict {
  int held;
  int wanted;
  bool granted;
};
void PrintTo(const Conflict& row, std::ostream* out) { *out << row.held << row.wanted; }
class Conflicts : public RecordLock, public ::testing::WithParamInterface<Conflict> {};
INSTANTIATE_TEST_SUITE_P(RecordLock, Conflicts,
                         ::testing::Values(Conflict{F_RDLCK, F_RDLCK, true},
                                           Conflict{F_RDLCK, F_WRLCK, false},
                                           Conflict{F_WRLCK, F_RDLCK, false},
                                           Conflict{F_WRLCK, F_WRLCK, false}));

TEST_P(Conflicts, OfTwoProcessesOnOneRange) {
  put("content");
  const Opened locked(file());
  ASSERT_EQ(lock_reg(locked, F_SETLKW, GetParam().held, 0, SEEK_SET, 10), 0);
  const int granted = in_process([&] {
    return lock_reg(Opened(file()), F_SETLK, GetParam().wanted, 5, SEEK_SET, 10) == 0 ? 1 : 0;
  });
  EXPECT_EQ(granted, GetParam().granted ? 1 : 0);
  EXPECT_EQ(in_process([&] {
              return lock_reg(Opened(file()), F_SETLK, GetParam().wanted, 10, SEEK_SET, 10);
            }),
            0);
}

TEST_F(RecordLock, RefusedLockIsReported) {
  EXPECT_EQ(lock_reg(-1, F_SETLKW, F_RDLCK, 0, SEEK_SET, 0), -1);
  EXPECT_TRUE(log_.has(kFailures, "call fcntl fail: 9"));
}

TEST_F(RecordLock, InterruptedLockIsNotTriedAgain) {
  put("");
  const Opened locked(file());
  const Fault fault(Site::kLockExclusive, EINTR, 0, 1);
  EXPECT_EQ(lock_reg(locked, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0), -1);
  EXPECT_TRUE(log_.has(kFailures, "call fcntl fail: 4"));
}

TEST_F(RecordLock, ReadHoldsASharedLockOfItsRange) {
  put(std::string(2000, 'x'));
  const Opened locked(file());
  std::string seen;
  const Interception watch(Site::kRead, [&](size_t) {
    seen = lock_seen_on(file());
    return kPass;
  });
  char buffer[10];
  EXPECT_EQ(read_local_disk(locked, 332, buffer, sizeof(buffer), 684), 0);
  EXPECT_EQ(seen, "R 332+684");
  EXPECT_EQ(lock_seen_on(file()), "");
}

TEST_F(RecordLock, WriteHoldsAnExclusiveLockOfItsRange) {
  put("");
  const Opened locked(file());
  std::string seen;
  const Interception watch(Site::kWrite, [&](size_t) {
    seen = lock_seen_on(file());
    return kPass;
  });
  EXPECT_EQ(write_local_disk(locked, 332, "ab", 2, 684), 0);
  EXPECT_EQ(seen, "W 332+684");
  EXPECT_EQ(lock_seen_on(file()), "");
}

struct StoreRange {
  const char* name;
  Site site;
  void (*act)(int fd);
  const char* seen;
};
void PrintTo(const StoreRange& row, std::ostream* out) { *out << row.name; }
class StoreRanges : public RecordLock, public ::testing::WithParamInterface<StoreRange> {};

ALERT_FILE_HEADER new_header() {
  ALERT_FILE_HEADER header = {};
  init_header_data(&header);
  prepare_header_field(&header);
  return header;
}

INSTANTIATE_TEST_SUITE_P(
    RecordLock, StoreRanges,
    ::testing::Values(
        StoreRange{"header length", Site::kRead,
                   [](int fd) { EXPECT_EQ(get_header_length(fd), 332); }, "R 0+1024"},
        StoreRange{"header read", Site::kRead,
                   [](int fd) {
                     ALERT_FILE_HEADER header;
                     EXPECT_EQ(read_alert_header(fd, &header), 0);
                   },
                   "R 0+1024"},
        StoreRange{"numbers write", Site::kWrite,
                   [](int fd) { EXPECT_EQ(write_alert_header(fd, new_header(), 1), 0); },
                   "W 0+139"},
        StoreRange{"header write", Site::kWrite,
                   [](int fd) { EXPECT_EQ(write_alert_header(fd, new_header(), 0), 0); },
                   "W 0+332"}));

TEST_P(StoreRanges, AreLockedWhileTheyAreUsed) {
  write_log(path("alertlog.alt"), 10, {make_record(1), make_record(2)});
  const Opened log(path("alertlog.alt"));
  Texts seen;
  const Interception watch(GetParam().site, [&](size_t) {
    seen.push_back(lock_seen_on(path("alertlog.alt")));
    return kPass;
  });
  GetParam().act(log);
  EXPECT_FALSE(seen.empty());
  for (const std::string& each : seen) EXPECT_EQ(each, GetParam().seen);
}

TEST_F(RecordLock, RecordIsReadUnderALockOfItsLine) {
  write_log(path("alertlog.alt"), 10, {make_record(1), make_record(2)});
  const Opened log(path("alertlog.alt"));
  Texts seen;
  const Interception watch(Site::kRead, [&](size_t) {
    seen.push_back(lock_seen_on(path("alertlog.alt")));
    return kPass;
  });
  ALERT_RECORD_INFO record;
  EXPECT_EQ(read_alert_record(log, 1, &record), 0);
  EXPECT_EQ(seen, (Texts{"R 0+1024", "R 1016+684"}));
}

TEST_F(RecordLock, RecordIsWrittenUnderALockOfItsLine) {
  write_log(path("alertlog.alt"), 10, {make_record(1)});
  const Opened log(path("alertlog.alt"));
  ALERT_FILE_HEADER header = {};
  ASSERT_EQ(read_alert_header(log, &header), 0);
  Texts seen;
  const Interception watch(Site::kWrite, [&](size_t) {
    seen.push_back(lock_seen_on(path("alertlog.alt")));
    return kPass;
  });
  EXPECT_EQ(write_alert_record(log, 1, make_record(2), header, 1, 2), 0);
  ASSERT_FALSE(seen.empty());
  EXPECT_EQ(seen.front(), "W 1016+684");
  EXPECT_EQ(seen.back(), "W 0+139");
}

TEST_F(RecordLock, ReadWaitsForAWriterInAnotherProcess) {
  put("old");
  const Opened locked(file());
  ASSERT_EQ(lock_reg(locked, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0), 0);
  Child reader([&] {
    char buffer[4] = "";
    return read_local_disk(Opened(file()), 0, buffer, 3, 3) == 0 && strcmp(buffer, "new") == 0 ? 0
                                                                                               : 1;
  });
  usleep(20000);  // without the lock, the reader would most likely have ended by now
  ASSERT_EQ(pwrite(locked, "new", 3, 0), 3);
  ASSERT_EQ(lock_reg(locked, F_SETLK, F_UNLCK, 0, SEEK_SET, 0), 0);
  EXPECT_EQ(reader.wait(), 0);
}

// ---- reading ------------------------------------------------------------------------------------

TEST_F(RecordLock, ShortReadLeavesTheRestOfTheBuffer) {
  put("0123456789");
  char buffer[684];
  memset(buffer, 'x', sizeof(buffer));
  EXPECT_EQ(read_local_disk(Opened(file()), 4, buffer, sizeof(buffer), sizeof(buffer)), 0);
  EXPECT_EQ(std::string(buffer, 8), "456789xx");
  EXPECT_EQ(buffer[683], 'x');
}

TEST_F(RecordLock, ReadBehindTheEndReadsNothing) {
  put("0123");
  char buffer[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(read_local_disk(Opened(file()), 100, buffer, 4, 4), 0);
  EXPECT_EQ(std::string(buffer, 4), "xxxx");
}

TEST_F(RecordLock, LineIsReadFromSeveralPieces) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Opened reading(ends[0]);
  Child writer([&] {
    for (const char* piece : {"ab", "cd", "ef"}) {
      if (write(ends[1], piece, 2) != 2) return 1;
      usleep(2000);
    }
    return 0;
  });
  close(ends[1]);
  char buffer[8] = "";
  EXPECT_EQ(read_line(reading, buffer, 5), 5);
  EXPECT_STREQ(buffer, "abcde");
  EXPECT_EQ(read_line(reading, buffer, 5), 1);  // the end of the file
  EXPECT_EQ(writer.wait(), 0);
}

TEST_F(RecordLock, ReadIntoNothingIsAnError) {
  EXPECT_EQ(read_line(0, nullptr, 1), -1);
  EXPECT_EQ(read_local_disk(0, 0, nullptr, 1, 1), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

TEST_F(RecordLock, FailedReadIsReported) {
  char buffer[4];
  EXPECT_EQ(read_line(-1, buffer, 4), -1);
  EXPECT_TRUE(log_.has(kFailures, "read failed"));
}

TEST_F(RecordLock, InterruptedReadIsNotTriedAgain) {
  put("0123");
  const Opened reading(file());
  const Fault fault(Site::kRead, EINTR, 0, 1);
  char buffer[4];
  EXPECT_EQ(read_line(reading, buffer, 4), -1);
}

// ---- writing ------------------------------------------------------------------------------------

TEST_F(RecordLock, LargeWriteGoesOutInPiecesOf524288Bytes) {
  put("");
  std::vector<size_t> pieces;
  const Interception watch(Site::kWrite, [&](size_t bytes) {
    pieces.push_back(bytes);
    return kPass;
  });
  const std::string data(2 * kPiece + 5, 'x');
  EXPECT_EQ(write_line(Opened(file()), data.data(), data.size()),
            static_cast<ssize_t>(data.size()));
  EXPECT_EQ(pieces, (std::vector<size_t>{kPiece, kPiece, 5}));
  EXPECT_EQ(content(), data);
}

TEST_F(RecordLock, WriteOfOnePieceIsOneWrite) {
  put("");
  int writes = 0;
  const Interception watch(Site::kWrite, [&](size_t) {
    ++writes;
    return kPass;
  });
  const std::string data(kPiece, 'x');
  EXPECT_EQ(write_line(Opened(file()), data.data(), data.size()), static_cast<ssize_t>(kPiece));
  EXPECT_EQ(writes, 1);
}

TEST_F(RecordLock, WrittenDataIsDumpedUpTo80Characters) {
  put("");
  const std::string data(100, 'd');
  EXPECT_EQ(write_line(Opened(file()), data.data(), data.size()), 100);
  EXPECT_TRUE(log_.has(kTrace, "Enter function: write_line"));
  EXPECT_TRUE(log_.has(kDump, "write:" + std::string(80, 'd')));
  EXPECT_TRUE(log_.has(kDump, "string len: 100"));
}

TEST_F(RecordLock, WriteThatWritesNothingReturns0AndPassesForASuccess) {
  put("");
  const Opened writing(file());
  const Fault fault(Site::kWrite, kReturnZero);
  EXPECT_EQ(write_line(writing, "ab", 2), 0);
  EXPECT_TRUE(log_.has(kFailures, "call write failed"));
  EXPECT_EQ(write_local_disk(writing, 0, "ab", 2, 2), 0);
}

TEST_F(RecordLock, FailedWriteIsReported) {
  EXPECT_EQ(write_line(Opened("/dev/full", O_RDWR), "ab", 2), -1);
  EXPECT_TRUE(log_.has(kFailures, "call write failed"));
}

TEST_F(RecordLock, WriteOfNothingIsAnError) {
  EXPECT_EQ(write_line(1, nullptr, 1), -1);
  EXPECT_EQ(write_local_disk(1, 0, nullptr, 1, 1), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

TEST_F(RecordLock, WriteIsPlacedAtItsOffset) {
  put("0123456789");
  EXPECT_EQ(write_local_disk(Opened(file()), 4, "ab", 2, 2), 0);
  EXPECT_EQ(content(), "0123ab6789");
}

// ---- faults -------------------------------------------------------------------------------------

struct DiskFault {
  Site site;
  const char* on_read;  // null: reading has no such step
  const char* on_write;
};
void PrintTo(const DiskFault& fault, std::ostream* out) { *out << fault.on_write; }
class DiskFaults : public RecordLock, public ::testing::WithParamInterface<DiskFault> {
 protected:
  DiskFaults() { put("0123456789"); }
};
INSTANTIATE_TEST_SUITE_P(
    RecordLock, DiskFaults,
    ::testing::Values(DiskFault{Site::kSeek, "lseek failed: 5", "call lseek failed: 5"},
                      DiskFault{Site::kLockShared, "lock file failed: 5", nullptr},
                      DiskFault{Site::kLockExclusive, nullptr, "call writew_lock failed: 5"},
                      DiskFault{Site::kRead, "call read_line failed", nullptr},
                      DiskFault{Site::kWrite, nullptr, "write data to disk failed"},
                      DiskFault{Site::kUnlock, "unlock file failed: 5", "call un_lock failed: 5"}));

TEST_P(DiskFaults, AreReportedAndHoldNoLock) {
  const Opened disk(file());
  char buffer[4];
  const auto faulty = [&](const char* message, auto call) {
    if (message == nullptr) return;
    const Fault fault(GetParam().site, EIO, 0, 1);
    EXPECT_EQ(call(), -1);
    EXPECT_TRUE(log_.has(kFailures, message));
  };
  faulty(GetParam().on_read, [&] { return read_local_disk(disk, 0, buffer, 4, 4); });
  faulty(GetParam().on_write, [&] { return write_local_disk(disk, 0, "ab", 2, 2); });
  if (GetParam().site != Site::kUnlock) {
    EXPECT_EQ(lock_seen_on(file()), "");
  }
}

TEST_F(RecordLock, PipesCannotBeSought) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const Opened reading(ends[0]);
  const Opened writing(ends[1]);
  char buffer[4];
  EXPECT_EQ(read_local_disk(reading, 0, buffer, 4, 4), -1);
  EXPECT_EQ(write_local_disk(writing, 0, "ab", 2, 2), -1);
  EXPECT_TRUE(log_.has(kFailures, "lseek failed: 29"));
  EXPECT_TRUE(log_.has(kFailures, "call lseek failed: 29"));
}

TEST_F(RecordLock, ReadOnlyDescriptorCannotBeLockedForWriting) {
  put("0123");
  EXPECT_EQ(write_local_disk(Opened(file(), O_RDONLY), 0, "ab", 2, 2), -1);
  EXPECT_TRUE(log_.has(kFailures, "call writew_lock failed: 9"));
  EXPECT_EQ(content(), "0123");
}

// ---- flags --------------------------------------------------------------------------------------

TEST_F(RecordLock, SynchronousFlagIsAskedFor) {
  put("");
  const Opened writing(file());
  int asked = 0;
  const Interception watch(Site::kSetFlags, [&](size_t) {
    ++asked;
    return kPass;
  });
  set_file_flag(writing);
  EXPECT_EQ(write_local_disk(writing, 0, "ab", 2, 2), 0);
  EXPECT_EQ(asked, 2);
}

TEST_F(RecordLock, FlagsThatCannotBeReadOrSetAreAMinorFailure) {
  put("");
  const Opened writing(file());
  {
    const Fault fault(Site::kGetFlags, EBADF);
    EXPECT_EQ(write_local_disk(writing, 0, "ab", 2, 2), 0);
  }
  EXPECT_TRUE(log_.has(kMinor, "fcntl(F_GETFL) failed"));
  const Fault fault(Site::kSetFlags, EBADF);
  EXPECT_EQ(write_local_disk(writing, 0, "ab", 2, 2), 0);
  EXPECT_TRUE(log_.has(kMinor, "fcntl(F_SETFL) failed"));
  EXPECT_TRUE(log_.texts(kFailures).empty());
}

}  // namespace
}  // namespace alt_test
