// What a kill in the middle of a store leaves, and a start that mends it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>

#include "drain_fixture.h"
#include "recovery.h"

namespace qel::daemon_test {

constexpr uint32_t kCapacity = alt_test::TempStore::kDefaultCapacity;

class Recovery : public DrainTest {
 protected:
  void store_ids(uint32_t first, uint32_t last) {
    for (uint32_t id = first; id <= last; ++id) store(id);
  }

  // As the daemon starts: mends, opens, completes, drains what is in the intake.
  void restart() {
    daemon::mend_files();
    ASSERT_EQ(0, check_file_size());
    ASSERT_EQ(0, daemon::complete_interrupted_store());
    EXPECT_EQ("", index_difference());
    IntakeDrain fresh(settings_, &log_sync_);
    ASSERT_EQ(IntakeDrain::Outcome::kEmpty, drain(&fresh));
  }

  void restart_with_intake(const std::string& bytes) {
    put_intake(bytes);
    restart();
    EXPECT_EQ("", index_difference());
  }

  void append_to_log(const std::string& bytes) const {
    alt_test::write_file(log_path(), *alt_test::read_file(log_path()) + bytes);
  }

  void set_header(const ALERT_FILE_HEADER& numbers) const {
    const UniqueFd log(open_file(alt_name_only, O_RDWR));
    ASSERT_EQ(0, write_alert_header(log.get(), numbers, 1));
  }
  ALERT_FILE_HEADER header() const {
    ALERT_FILE_HEADER numbers = {};
    const UniqueFd log(open_file(alt_name_only, O_RDWR));
    EXPECT_EQ(0, read_alert_header(log.get(), &numbers));
    return numbers;
  }
  void set_current_id(uint32_t id) const {
    ALERT_FILE_HEADER numbers = header();
    numbers.current_alert_id = id;
    set_header(numbers);
  }

  // Replaces the first `size` bytes of the line that the header aims at, and nothing else.
  void overwrite_aimed_line(const std::string& line, size_t size) const {
    const std::string log = *alt_test::read_file(log_path());
    const size_t offset = log.find("\n\n") + 2 + header().nCurToWrite * kRecordLine;
    alt_test::write_file_at(log_path(), offset, line.substr(0, size));
  }

  // The indexes as they were before the last store.
  void keep_indexes() { kept_ = alt_test::read_directory(store_.directory()); }
  void put_old_indexes_back() const {
    for (int i = 1; i < 7; ++i) {
      alt_test::write_file(path(alt_test::kStoreFiles[i]), kept_.at(alt_test::kStoreFiles[i]));
    }
  }

 private:
  std::map<std::string, std::string> kept_;
};

inline std::string stored_line(uint32_t id) { return line_of(alt_test::make_record(id)); }

// A full log in which the store of alert 11 in place of alert 1 was interrupted.
class FullLogRecovery : public Recovery {
 protected:
  static constexpr uint32_t kNext = kCapacity + 1;
  // So many bytes of a line end before the last digit of its message.
  static constexpr size_t kInMessage = kColumnMessage.begin + sizeof "alert 1" - 1;

  FullLogRecovery() { store_ids(1, kCapacity); }

  void expect_last_stored(uint32_t id) {
    Texts expected;
    for (uint32_t number = id - kCapacity + 1; number <= id; ++number) {
      expected.push_back(std::to_string(number) + " alert " + std::to_string(number));
    }
    Texts found = stored();
    std::sort(expected.begin(), expected.end());
    std::sort(found.begin(), found.end());
    EXPECT_EQ(expected, found);
    EXPECT_EQ(id, header().current_alert_id);
    EXPECT_EQ(id % kCapacity, header().nCurToWrite);
  }
};

}  // namespace qel::daemon_test
