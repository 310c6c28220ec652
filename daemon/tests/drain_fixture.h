// A store with an intake, and the daemon's parts that work on them, in the test's own process.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "alert_log.h"
#include "alert_log/layout.h"
#include "intake_drain.h"
#include "intake_line.h"
#include "support/cluster.h"
#include "support/files.h"
#include "support/records.h"
#include "support/temp_store.h"

namespace qel::daemon_test {

using daemon::IntakeDrain;
using daemon::kIntakeLine;
using Texts = std::vector<std::string>;

inline std::string line_of(const ALERT_RECORD_INFO& alert) {
  std::string line(kRecordLine, '\0');
  format_record(line.data(), alert);
  return line;
}

// The alert of alt_test::make_record(number) as a program writes it, without an id.
inline std::string new_line(uint32_t number) {
  ALERT_RECORD_INFO alert = alt_test::make_record(number);
  alert.alert_id = 0;
  return line_of(alert);
}

inline std::string with_stamp(std::string line, uint32_t id) {
  daemon::format_stamp(line.data(), id);
  return line;
}

inline std::string stamped_line(uint32_t id, uint32_t number) {
  return with_stamp(new_line(number), id);
}

// A line that lacks its module, which every stored alert needs.
inline std::string unstorable_line(uint32_t number) {
  return new_line(number).replace(kColumnModule.begin, kColumnModule.width, kColumnModule.width,
                                  ' ');
}

inline std::string new_lines(uint32_t first, uint32_t last) {
  std::string lines;
  for (uint32_t number = first; number <= last; ++number) lines += new_line(number);
  return lines;
}

// "id alert number" for the alerts with these numbers and ids that count up from `first_id`.
inline Texts stored_texts(uint32_t first_id, uint32_t first_number, uint32_t last_number) {
  Texts texts;
  for (uint32_t number = first_number; number <= last_number; ++number) {
    texts.push_back(std::to_string(first_id++) + " alert " + std::to_string(number));
  }
  return texts;
}

// The process is the daemon of "node1".
class DrainTest : public alt_test::StoreTest {
 protected:
  DrainTest() { setenv("QEL_IPC_NAME", shared_state().c_str(), 1); }
  ~DrainTest() override { shm_unlink(shared_state().c_str()); }

  std::string log_path() const { return path("alertlog.alt"); }
  std::string aside() const { return alt_test::read_file(path("alerttmp.bad")).value_or(""); }
  std::string intake() const { return alt_test::read_file(path("alerttmp.alt")).value_or(""); }
  void put_intake(const std::string& bytes) const {
    alt_test::write_file(path("alerttmp.alt"), bytes);
  }

  // Stores an alert past the intake.
  void store(uint32_t id, const std::string& server = "node1") const {
    ALERT_RECORD_INFO alert = alt_test::make_record(id);
    alt_test::set_text(alert.szServer, server);
    ASSERT_EQ(0, udp_write_disk(alt_test::image(alert), sizeof alert, 1));
  }

  // Rounds until there is nothing left or the store fails.
  static IntakeDrain::Outcome drain(IntakeDrain* intake) {
    auto outcome = IntakeDrain::Outcome::kMore;
    for (int i = 0; i < 10000 && outcome == IntakeDrain::Outcome::kMore; ++i) {
      outcome = intake->round();
    }
    return outcome;
  }
  void drain_all(const std::string& bytes) {
    put_intake(bytes);
    ASSERT_EQ(IntakeDrain::Outcome::kEmpty, drain(&intake_));
    EXPECT_EQ("", intake());
  }

  std::vector<ALERT_RECORD_INFO> alerts() const {
    const auto numbers = alt_test::read_log_numbers(log_path());
    std::vector<ALERT_RECORD_INFO> found(numbers.count);
    const UniqueFd log(open_file(alt_name_only, 0));
    for (uint32_t line = 0; line < numbers.count; ++line) {
      EXPECT_EQ(0, read_alert_record(log.get(), static_cast<int>(line), &found[line]));
    }
    return found;
  }
  // "id message" of each stored alert, by line.
  Texts stored() const {
    Texts texts;
    for (const ALERT_RECORD_INFO& alert : alerts()) {
      texts.push_back(std::to_string(alert.alert_id) + " " + alert.szAlertMessage);
    }
    return texts;
  }

  // What differs between the indexes and fresh ones; empty when nothing does.
  std::string index_difference() const {
    const auto kept = alt_test::read_directory(store_.directory());
    EXPECT_EQ(0, recreate_index_files());
    auto fresh = alt_test::read_directory(store_.directory());
    fresh["alertlog.alt"] = kept.at("alertlog.alt");
    return alt_test::first_difference(kept, fresh);
  }

  daemon::Settings settings_;
  daemon::LogSync log_sync_{settings_};
  IntakeDrain intake_{settings_, &log_sync_};

 private:
  static std::string shared_state() { return "/qelalertd-test-" + std::to_string(getpid()); }

  alt_test::Cluster cluster_{"node1"};
};

}  // namespace qel::daemon_test
