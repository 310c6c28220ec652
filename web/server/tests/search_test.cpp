// Searches against a plain look at every alert, while the log is full, wraps, changes, and with
// damaged indexes.
#include "search.h"

#include <algorithm>

#include "alert_config.h"
#include "alert_index.h"
#include "alerts/store.h"
#include "front_end_test.h"
#include "support/files.h"
#include "support/random.h"
#include "support/sanitizer.h"

namespace qel::web::testing {
namespace {

class Search : public alt_test::StoreTest {
 protected:
  Search() { alt_max_count = 60; }

  // The alerts as they were stored last, newest first, by a look at every one.
  std::vector<ALERT_RECORD_INFO> expected(const Criteria& criteria) const {
    std::vector<ALERT_RECORD_INFO> found;
    for (const ALERT_RECORD_INFO& alert : read_lines()) {
      if (matches(criteria.query(), alert)) found.push_back(alert);
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return is_earlier(b, a); });
    return found;
  }

  static std::string order_of(const std::vector<ALERT_RECORD_INFO>& alerts) {
    std::string text;
    for (const ALERT_RECORD_INFO& alert : alerts) text += alt_test::describe(alert) + "\n";
    return text;
  }

  // All pages of a search one after the other.
  std::string all_pages(LogView* view, const Criteria& criteria, int64_t size, bool* by_index) {
    std::vector<ALERT_RECORD_INFO> alerts;
    FoundPage page;
    int64_t number = 0;
    do {
      view->look();
      page = search(view, criteria, {.page = number, .size = size});
      EXPECT_TRUE(page.pages == 0 || number == page.page) << number;
      alerts.insert(alerts.end(), page.alerts.begin(), page.alerts.end());
      *by_index = *by_index || page.by_index;
    } while (++number < page.pages);
    EXPECT_EQ(page.total, alerts.size());
    return order_of(alerts);
  }

  std::string all_by_cursor(LogView* view, const Criteria& criteria, int64_t size) {
    FoundPage page = search(view, criteria, {.page = 0, .size = size});
    std::vector<ALERT_RECORD_INFO> alerts = page.alerts;
    while (page.next.has_value() && alerts.size() <= page.total) {
      page = search(view, criteria, {.size = size, .behind = page.next});
      alerts.insert(alerts.end(), page.alerts.begin(), page.alerts.end());
    }
    return order_of(alerts);
  }
};

std::string pick(alt_test::Random* random, const std::vector<std::string>& texts) {
  return texts[random->below(static_cast<uint32_t>(texts.size()))];
}

const std::vector<std::string> kServers = {"node1", "node2", "node3"};
const std::vector<std::string> kModules = {"storage", "network", "cpu"};
const std::vector<std::string> kEvents = {"1", "2", "10", "1042"};
const std::vector<std::string> kLevels = {"1", "2", "3"};

// Few times, so that many are equal.
std::string random_time(alt_test::Random* random) {
  return "2024/01/31 12:00:0" + std::to_string(random->below(10)) + ".000";
}

ALERT_RECORD_INFO random_alert(alt_test::Random* random, uint32_t id) {
  return make_record(id, pick(random, kServers), pick(random, kModules), pick(random, kEvents),
                     pick(random, kLevels), random_time(random),
                     "Message " + std::to_string(random->below(20)));
}

void maybe(alt_test::Random* random, const char* name, const std::vector<std::string>& values,
           std::vector<NamedText>* parameters) {
  const uint32_t kind = random->below(4);
  if (kind == 0) parameters->emplace_back(name, pick(random, values));
  if (kind == 1 && random->below(3) == 0) parameters->emplace_back(name, "!" + values[0]);
}

std::vector<NamedText> random_filters(alt_test::Random* random) {
  std::vector<NamedText> parameters;
  maybe(random, "server", kServers, &parameters);
  maybe(random, "module", kModules, &parameters);
  maybe(random, "event", kEvents, &parameters);
  maybe(random, "level", kLevels, &parameters);
  if (random->below(6) == 0) parameters.emplace_back("text", "MESSAGE 1");
  std::string since = random_time(random);
  std::string until = random_time(random);
  if (until < since) std::swap(since, until);
  if (random->below(3) == 0) parameters.emplace_back("since", since);
  if (random->below(3) == 0) parameters.emplace_back("until", until);
  return parameters;
}

class RandomSearch : public Search, public ::testing::WithParamInterface<uint64_t> {};

TEST_P(RandomSearch, FindsWhatALookAtEveryAlertFinds) {
  alt_test::Random random(GetParam());
  ASSERT_EQ(0, create_file(0, alt_name_only));
  LogView view;
  uint32_t id = 0;
  bool by_index = false;
  const int rounds = alt_test::is_sanitized() ? 30 : 80;
  for (int round = 0; round < rounds; ++round) {
    for (uint32_t i = random.below(4); i > 0; --i) store(random_alert(&random, ++id));
    const std::vector<NamedText> filters = random_filters(&random);
    SCOPED_TRACE(::testing::PrintToString(filters));
    const Criteria criteria = criteria_of(filters);
    const std::string wanted = order_of(expected(criteria));
    const int64_t size = 1 + random.below(9);
    EXPECT_EQ(wanted, all_pages(&view, criteria, size, &by_index));
    EXPECT_EQ(wanted, all_by_cursor(&view, criteria, size));
    EXPECT_EQ("", view.indexes().fault());
  }
  EXPECT_TRUE(by_index);
}

INSTANTIATE_TEST_SUITE_P(Web, RandomSearch, ::testing::Values(1, 2, 3));

TEST_F(Search, PlainOneIsAnsweredByTheIndexesAndARicherOneByTheCopy) {
  store(1, 20);
  LogView view;
  EXPECT_TRUE(search(&view, criteria_of({{"server", "node1"}}), {}).by_index);
  EXPECT_FALSE(search(&view, criteria_of({{"text", "a"}}), {}).by_index);
}

TEST_F(Search, PageBehindTheLastIsTheLast) {
  store(1, 25);
  LogView view;
  for (const auto& filters : {std::vector<NamedText>{}, {{"text", "e"}}}) {
    const FoundPage found = search(&view, criteria_of(filters), {.page = 7, .size = 10});
    EXPECT_EQ(2, found.page);
    EXPECT_EQ(3, found.pages);
    EXPECT_EQ(5U, found.alerts.size());
  }
}

TEST_F(Search, NothingFoundHasNoPage) {
  store(1, 5);
  LogView view;
  const FoundPage found = search(&view, criteria_of({{"server", "nobody"}}), {});
  EXPECT_EQ(0U, found.total);
  EXPECT_EQ(-1, found.page);
  EXPECT_FALSE(found.next.has_value());
}

TEST_F(Search, CursorGoesOnBehindItsAlertWhileNewOnesArrive) {
  store(1, 20);
  LogView view;
  FoundPage page = search(&view, criteria_of({}), {.page = 0, .size = 8});
  store(21, 30);
  view.look();
  page = search(&view, criteria_of({}), {.size = 8, .behind = page.next});
  EXPECT_EQ((std::vector<uint32_t>{12, 11, 10, 9, 8, 7, 6, 5}), ids_of(page.alerts));
  EXPECT_EQ(30U, page.total);
}

TEST_F(Search, CursorIsReadBackAndAnotherTextIsNone) {
  const Position position{"2024/01/31 12:00:00.000", "node1", 4294967295U};
  const auto read = Position::of_cursor(position.cursor());
  ASSERT_TRUE(read.has_value());
  EXPECT_EQ(position.raised, read->raised);
  EXPECT_EQ(position.server, read->server);
  EXPECT_EQ(position.id, read->id);
  for (const char* text : {"", "0", "zz", "00", "6100620063", "610062", "61006200"}) {
    EXPECT_FALSE(Position::of_cursor(text).has_value()) << text;
  }
}

TEST_F(Search, EventIdsThatAreNoNumbersAreFoundByTheirTextAndAreNoDamage) {
  store(make_record(1, "node1", "m", "7", "1", "2024/01/31 12:00:00.000", "seven"));
  store(make_record(2, "node1", "m", "007", "1", "2024/01/31 12:00:01.000", "agent"));
  store(make_record(3, "node1", "m", "7x", "1", "2024/01/31 12:00:02.000", "model"));
  LogView view;
  const FoundPage found = search(&view, criteria_of({{"event", "7"}}), {});
  EXPECT_EQ(std::vector<uint32_t>{1}, ids_of(found.alerts));
  EXPECT_EQ("", view.indexes().fault());
}

TEST_F(Search, EventIdWithAZeroBeforeItIsAnotherTextAndNoDamage) {
  store(make_record(1, "node1", "m", "42", "1", "2024/01/31 12:00:00.000", "text"));
  LogView view;
  EXPECT_EQ(0U, search(&view, criteria_of({{"event", "042"}}), {}).total);
  EXPECT_EQ("", view.indexes().fault());
}

class DamagedIndex : public Search, public ::testing::WithParamInterface<int> {
 protected:
  // Lets every entry lead to the log's first line.
  void damage() const {
    const std::string file = path(idx_name[GetParam()]);
    std::string bytes = alt_test::read_file(file).value();
    constexpr size_t kHeader = 148;
    constexpr size_t kEntry = 74;
    constexpr size_t kLine = 65;
    for (size_t at = kHeader; at < bytes.size(); at += kEntry) {
      bytes.replace(at + kLine, 8, "0       ");
    }
    alt_test::write_file(file, bytes);
  }
};

TEST_P(DamagedIndex, IsNoticedWhileTheLogAnswersAndIsBuiltAgain) {
  for (uint32_t id = 1; id <= 20; ++id) {
    const std::string odd = std::to_string(id % 2 + 1);
    store(make_record(id, "node" + odd, "module" + odd, odd, odd,
                      "2024/01/31 12:00:" + std::to_string(10 + id) + ".000", "text"));
  }
  LogView view;
  const Criteria criteria = criteria_of({{"since", "2024/01/31 12:00:15"},
                                         {"server", "node1"},
                                         {"module", "module1"},
                                         {"event", "1"},
                                         {"level", "1"}});
  const std::string wanted = order_of(expected(criteria));
  ASSERT_TRUE(search(&view, criteria, {}).by_index);
  damage();
  alt_test::set_log_changed(path(alt_name_only), 128);  // or the kept result would answer
  view.look();
  FoundPage found = search(&view, criteria, {});
  EXPECT_FALSE(found.by_index);
  EXPECT_EQ(wanted, order_of(found.alerts));
  EXPECT_NE("", view.indexes().fault());
  check_indexes(&view);
  EXPECT_EQ("", view.indexes().fault());
  found = search(&view, criteria, {});
  EXPECT_TRUE(found.by_index);
  EXPECT_EQ(wanted, order_of(found.alerts));
}

INSTANTIATE_TEST_SUITE_P(Web, DamagedIndex, ::testing::Range(0, 5));

TEST_F(Search, LogThatIsGoneIsAnsweredFromWhatWasReadLastAndIsNotMadeAnew) {
  store(1, 5);
  LogView view;
  unlink(path(alt_name_only).c_str());
  view.look();
  const FoundPage found = search(&view, criteria_of({}), {});
  EXPECT_EQ(5U, found.total);
  EXPECT_EQ(LogCondition::kMissing, view.condition());
  EXPECT_NE(0, access(path(alt_name_only).c_str(), F_OK));
}

}  // namespace
}  // namespace qel::web::testing
