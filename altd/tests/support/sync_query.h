// Logs of chosen servers and ids, and what the synchronisation asks of them.
#ifndef QEL_ALTD_TESTS_SUPPORT_SYNC_QUERY_H
#define QEL_ALTD_TESTS_SUPPORT_SYNC_QUERY_H

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "alert_config.h"
#include "alert_log.h"
#include "support/files.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"

namespace alt_test {

// A result and the id that came with it.
struct IdAnswer {
  int result;
  uint32_t id;

  bool operator==(const IdAnswer&) const = default;
};
inline void PrintTo(const IdAnswer& answer, std::ostream* out) {
  *out << answer.result << " with id " << answer.id;
}

// The records that get_alert_log gave.
struct Delivery {
  int result;
  int number;
  std::string buffer;

  std::string slot(int i) const { return buffer.substr(static_cast<size_t>(i) * kSlot, kSlot); }
  // Ids of the slots that were delivered.
  Numbers ids() const {
    Numbers all;
    for (int i = 0; i < number; ++i) {
      all.push_back(*reinterpret_cast<const uint32_t*>(slot(i).data()));
    }
    return all;
  }
  static constexpr size_t kSlot = 1000;
};

// No query leaves a file open.
class SyncQueryTest : public StoreTest {
 protected:
  using Alerts = std::vector<std::pair<std::string, uint32_t>>;
  static constexpr uint32_t kUntouched = 0xabcdef01;
  static constexpr int kServerIndex = 1;

  void TearDown() override {
    EXPECT_EQ(list_directory("/proc/self/fd").size(), descriptors_);
    StoreTest::TearDown();
  }

  static ALERT_RECORD_INFO record(const std::string& server, uint32_t id) {
    return record_of({.id = id, .server = server});
  }
  // A log with these alerts in the order given; the indexes are built when they are needed.
  void put_log(const Alerts& alerts) const {
    for (const char* name : alt_model::kIndexNames) remove_file(path(name));
    std::vector<ALERT_RECORD_INFO> records;
    for (const auto& [server, id] : alerts) records.push_back(record(server, id));
    alt_max_count = std::max(alt_max_count, static_cast<int>(records.size()));
    write_log(path("alertlog.alt"), static_cast<uint32_t>(alt_max_count), records);
  }
  // The index alone: the ids of a log that nobody reads.
  void put_id_index(Alerts alerts) const {
    std::sort(alerts.begin(), alerts.end());
    Entries entries;
    for (const auto& [server, id] : alerts) {
      entries.push_back({server, static_cast<uint32_t>(entries.size()), id});
    }
    write_file(path(kIdFile), index_text(alt_model::kIdIndex, entries));
  }
  // Nobody can open or make this file: its name leads to itself.
  void spoil(const char* name) const {
    remove_file(path(name));
    std::filesystem::create_symlink(name, path(name));
  }

  // Makes entry `position` of an index unreadable: its number is blank.
  void damage_entry(int index, int position) const {
    const size_t key = 65;
    write_file_at(index_path(store_.directory(), index),
                  alt_model::entry_offset(index, position) + key, "        ");
    if (index == alt_model::kIdIndex) {
      write_file_at(path(kIdFile), alt_model::entry_offset(index, position) + key, "          ");
    }
  }

  static IdAnswer id_of(const std::string& server, uint32_t from_id, int flag) {
    IdAnswer answer = {0, kUntouched};
    answer.result = get_alert_id(server.c_str(), from_id, &answer.id, flag);
    return answer;
  }
  static IdAnswer back_of(const std::string& server, uint32_t from_id) {
    IdAnswer answer = {0, kUntouched};
    answer.result = get_back_notcont_alert_id(server.c_str(), from_id, &answer.id);
    return answer;
  }
  static Delivery records_of(const std::string& server, uint32_t from_id, int wanted) {
    const size_t slots = static_cast<size_t>(std::max(wanted, 1));
    Delivery delivery = {0, wanted, std::string(slots * Delivery::kSlot, '\x5a')};
    delivery.result =
        get_alert_log(server.c_str(), from_id, &delivery.number, delivery.buffer.data());
    return delivery;
  }

  static constexpr const char* kIdFile = "srv_alt_id.idx";

 private:
  const size_t descriptors_ = list_directory("/proc/self/fd").size();
};

}  // namespace alt_test

#endif
