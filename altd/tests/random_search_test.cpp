// Random searches over random logs against the plain answer: look at every record.
//
// The order is newest first; equal times come in the reverse of their order in the index of the
// criterion with the fewest matches, or of the time index when nothing is restricted.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "alert_config.h"
#include "alert_log.h"
#include "model/formats.h"
#include "random_workload.h"
#include "support/files.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/records.h"
#include "support/temp_store.h"

namespace alt_test {
namespace {

using alt_model::Criteria;
using alt_model::Record;

// A log as it lies on the disk: its records by line, and its lines in the order of the time index.
struct Log {
  std::vector<Record> records;
  std::vector<uint32_t> by_time;
};

Log read_log(const TempStore& store) {
  Log log;
  const auto content = read_file(store.path(alt_model::kLogName));
  const auto times = read_file(store.path("time.idx"));
  if (!content || !times) throw std::runtime_error("no log or no time index");
  const auto file = std::make_shared<std::string>(*content);
  const auto time_file = std::make_shared<std::string>(*times);
  const uint32_t count = alt_model::parse_header(file).value().count;
  for (uint32_t line = 0; line < count; ++line) {
    log.records.push_back(alt_model::read_record(file, line).value());
    log.by_time.push_back(
        alt_model::read_entry(time_file, alt_model::kTimeIndex, static_cast<int>(line)).line);
  }
  return log;
}

// The time index holds every line once and its times rise.
void expect_sound_time_index(const Log& log) {
  std::vector<uint32_t> lines = log.by_time;
  std::sort(lines.begin(), lines.end());
  for (uint32_t i = 0; i < lines.size(); ++i) ASSERT_EQ(lines[i], i);
  for (size_t i = 1; i < log.by_time.size(); ++i) {
    ASSERT_LE(log.records[log.by_time[i - 1]].server_time, log.records[log.by_time[i]].server_time);
  }
}

using Test = bool (*)(const Record&, const Criteria&);

// One for each criterion, in the order of the indexes.
constexpr std::array<Test, 5> kTests = {
    [](const Record& r, const Criteria& c) {
      return (c.start.empty() || r.server_time >= c.start) &&
             (c.stop.empty() || r.server_time <= c.stop);
    },
    [](const Record& r, const Criteria& c) { return c.server.empty() || r.server == c.server; },
    [](const Record& r, const Criteria& c) { return c.module.empty() || r.module == c.module; },
    [](const Record& r, const Criteria& c) {
      return c.event.empty() || std::atoi(r.event.c_str()) == std::atoi(c.event.c_str());
    },
    [](const Record& r, const Criteria& c) { return c.level.empty() || r.level == c.level; },
};

std::vector<Record> plain_search(const Log& log, const Criteria& criteria) {
  std::array<long, 5> matches{};
  for (size_t i = 0; i < kTests.size(); ++i) {
    matches[i] = std::count_if(log.records.begin(), log.records.end(),
                               [&](const Record& r) { return kTests[i](r, criteria); });
  }
  const auto fewest = std::min_element(matches.begin(), matches.end()) - matches.begin();
  std::vector<uint32_t> order = log.by_time;
  // The other indexes hold equal keys by line.
  if (fewest != 0) std::sort(order.begin(), order.end());
  std::vector<Record> found;
  for (const uint32_t line : order) {
    const Record& record = log.records[line];
    const auto fits = [&](Test test) { return test(record, criteria); };
    if (std::all_of(kTests.begin(), kTests.end(), fits)) found.push_back(record);
  }
  std::stable_sort(found.begin(), found.end(),
                   [](const Record& a, const Record& b) { return a.server_time < b.server_time; });
  std::reverse(found.begin(), found.end());
  return found;
}

ALERT_SEARCH_INFO search_info(const Criteria& criteria) {
  ALERT_SEARCH_INFO info;
  std::memset(&info, 0, sizeof(info));
  set_text(info.startTime, criteria.start);
  set_text(info.stopTime, criteria.stop);
  set_text(info.szLevel, criteria.level);
  set_text(info.szServer, criteria.server);
  set_text(info.szModule, criteria.module);
  set_text(info.szEventId, criteria.event);
  return info;
}

Record record_of(const ALERT_RECORD_INFO& info) {
  return alt_model::record_of_image({image(info), ALERT_RECORD_SIZE});
}

struct Answer {
  int result;
  int size;
  int page;
  std::vector<Record> records;
};

Answer ask_library(const Criteria& criteria, int size, int page) {
  std::vector<ALERT_RECORD_INFO> room(static_cast<size_t>(size));
  Answer answer{0, size, page, {}};
  answer.result = alert_search(search_info(criteria), &answer.size, &answer.page, room.data());
  for (int i = 0; answer.result > 0 && i < std::min(size, answer.size); ++i) {
    answer.records.push_back(record_of(room[static_cast<size_t>(i)]));
  }
  return answer;
}

void expect_page(const std::vector<Record>& all, int size, int page, const Answer& answer) {
  const int total = static_cast<int>(all.size());
  const int begin = size * page;
  const int end = std::min(begin + size, total);
  ASSERT_EQ(answer.result, total);
  ASSERT_EQ(answer.page, page);
  ASSERT_EQ(answer.size, end - begin);
  for (int i = begin; i < end; ++i) {
    ASSERT_EQ(describe(answer.records[static_cast<size_t>(i - begin)]),
              describe(all[static_cast<size_t>(i)]))
        << "record " << i << " of " << total;
  }
}

// Every page of one search, and one past the end.
void expect_all_pages(const Log& log, const Criteria& criteria, int size) {
  const std::vector<Record> all = plain_search(log, criteria);
  const int total = static_cast<int>(all.size());
  if (total == 0) {
    const Answer answer = ask_library(criteria, size, 0);
    ASSERT_EQ(answer.result, 0);
    ASSERT_EQ(answer.size, 0);
    ASSERT_EQ(answer.page, -1);
    return;
  }
  const int pages = (total + size - 1) / size;
  for (int page = 0; page < pages; ++page) {
    ASSERT_NO_FATAL_FAILURE(expect_page(all, size, page, ask_library(criteria, size, page)));
  }
  ASSERT_NO_FATAL_FAILURE(expect_page(all, size, pages - 1, ask_library(criteria, size, pages)));
}

struct Plan {
  int capacity;
  int stores;
  int searches;
  int page_size_max;
};

class RandomSearch : public ::testing::Test {
 protected:
  RandomSearch() { LogCapture::instance().set_levels(1); }
  ~RandomSearch() override { LogCapture::instance().set_levels(~0); }

  // With what a daemon hands in: a write time, and no trailing blanks, which are stored as another
  // key than they are read back as.
  static void fill(Workload* workload, int stores) {
    for (int i = 0; i < stores; ++i) {
      Record record = workload->record();
      if (record.write_time.empty()) record.write_time = "2024/01/01 00:00:00.000";
      for (std::string* text : {&record.server, &record.module, &record.message}) {
        text->erase(text->find_last_not_of(' ') + 1);
      }
      const std::string bytes = alt_model::image_of_record(record);
      ASSERT_EQ(udp_write_disk(bytes.data(), bytes.size(), 1), 0);
    }
  }

  static void search_all(Random* random, Workload* workload, const Log& log, const Plan& plan) {
    for (int i = 0; i < plan.searches; ++i) {
      const Criteria criteria = i == 0 ? Criteria{} : workload->criteria();
      const int size = random->between(1, plan.page_size_max);
      ASSERT_NO_FATAL_FAILURE(expect_all_pages(log, criteria, size))
          << "search " << i << ": start '" << criteria.start << "' stop '" << criteria.stop
          << "' server '" << criteria.server << "' module '" << criteria.module << "' event '"
          << criteria.event << "' level '" << criteria.level << "' page size " << size;
    }
  }

  static void run(uint64_t seed, const Plan& plan) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", repeat: " + repeat_command(seed));
    const TempStore store(plan.capacity);
    alt_log_handle = LogCapture::instance().handle();
    Random random(seed);
    Workload workload(&random, {random.chance(60), false});
    ASSERT_NO_FATAL_FAILURE(fill(&workload, plan.stores));
    const Log log = read_log(store);
    ASSERT_EQ(log.records.size(), static_cast<size_t>(std::min(plan.capacity, plan.stores)));
    ASSERT_NO_FATAL_FAILURE(expect_sound_time_index(log));
    search_all(&random, &workload, log, plan);
  }
};

TEST_F(RandomSearch, SmallLogsGiveWhatLookingAtEveryRecordGives) {
  for (const uint64_t seed : test_seeds({1, 2, 3, 4, 5, 6, 7, 8})) {
    Random random(~seed);
    const int capacity = random.between(1, 60);
    const Plan plan{capacity, random.between(1, 3 * capacity), 40, capacity + 5};
    ASSERT_NO_FATAL_FAILURE(run(seed, plan));
  }
}

TEST_F(RandomSearch, FullLogOfTwoThousandGivesWhatLookingAtEveryRecordGives) {
  for (const uint64_t seed : test_seeds({1})) {
    ASSERT_NO_FATAL_FAILURE(run(seed, {2000, 2400, 40, 700}));
  }
}

// Both queries go back through the time index, newest first.
TEST_F(RandomSearch, LatestOfTwoThousandAreTheEndOfTheTimeIndex) {
  const TempStore store(2000);
  alt_log_handle = LogCapture::instance().handle();
  Random random(77);
  Workload workload(&random, {});
  ASSERT_NO_FATAL_FAILURE(fill(&workload, 2100));
  const Log log = read_log(store);
  std::vector<Record> newest;
  for (auto line = log.by_time.rbegin(); line != log.by_time.rend(); ++line) {
    newest.push_back(log.records[*line]);
  }

  std::vector<ALERT_RECORD_INFO> room(1500);
  ASSERT_EQ(alert_get_last(room.data(), 1500), 1500);
  for (size_t i = 0; i < room.size(); ++i) {
    ASSERT_EQ(describe(record_of(room[i])), describe(newest[i])) << "record " << i;
  }

  newest.resize(1234);
  for (int page = 0; page < 13; ++page) {
    Answer answer{0, 100, page, {}};
    answer.result = get_alert_by_count(1234, &answer.size, &answer.page, room.data());
    for (int i = 0; i < std::min(100, answer.size); ++i) {
      answer.records.push_back(record_of(room[static_cast<size_t>(i)]));
    }
    ASSERT_NO_FATAL_FAILURE(expect_page(newest, 100, page, answer));
  }
}

}  // namespace
}  // namespace alt_test
