// Random logs, and all that the synchronisation may ask of them, beside the plain answer: look at
// every alert.
#include <gtest/gtest.h>

#include <set>

#include "support/random.h"
#include "support/sync_query.h"

namespace alt_test {
namespace {

class RandomSyncQuery : public SyncQueryTest {
 protected:
  RandomSyncQuery() { log_.set_levels(kFailures); }
  ~RandomSyncQuery() override { log_.set_levels(~0); }

  // Servers whose names begin alike, each with some runs of ids; `high` ones are 2 to the 31 apart
  // from the others, which the index as it is built from a log does not hold in order.
  static Alerts random_alerts(Random* random, size_t wanted, unsigned high) {
    const std::vector<std::string> names = {"a", "ab", "b", "node", "node1", "node10", "z"};
    std::set<std::pair<std::string, uint32_t>> alerts;
    while (alerts.size() < wanted) {
      const std::string name = random->pick(names);
      uint32_t id = 1 + static_cast<uint32_t>(random->below(3 * wanted));
      if (random->chance(high)) id = 0xffffff00 - id;
      for (uint64_t left = random->below(40); left > 0 && alerts.size() < wanted; --left) {
        alerts.emplace(name, id++);
      }
    }
    Alerts shuffled(alerts.begin(), alerts.end());
    for (size_t i = shuffled.size(); i > 1; --i) {
      std::swap(shuffled[i - 1], shuffled[random->below(i)]);
    }
    return shuffled;
  }
  // Ids that are held, missing, below and above all.
  static std::vector<std::pair<std::string, uint32_t>> questions(Random* random,
                                                                 const Alerts& alerts) {
    Alerts all = {{"a", 0}, {"none", 5}, {"", 5}, {"zz", 0}, {"a", 0xffffffff}, {"z", 1}};
    for (int i = 0; i < 150; ++i) {
      const auto& [name, id] = random->pick(alerts);
      const auto moved = id + static_cast<uint32_t>(random->between(-3, 3));
      all.emplace_back(random->chance(20) ? "node1" : name, moved);
    }
    return all;
  }
};

// The alerts in the order of the index.
class PlainLog {
 public:
  explicit PlainLog(std::vector<std::pair<std::string, uint32_t>> alerts)
      : alerts_(std::move(alerts)) {
    std::sort(alerts_.begin(), alerts_.end());
  }

  Numbers ids(const std::string& server) const {
    Numbers all;
    for (const auto& [name, id] : alerts_) {
      if (name == server) all.push_back(id);
    }
    return all;
  }
  IdAnswer id_of(const std::string& server, uint32_t from_id, int flag) const {
    const Numbers held = ids(server);
    if (held.empty()) return {1, flag == 1 ? from_id : 0};
    if (from_id == 0) return {0, held.back()};
    if (holds(server, from_id)) return {0, flag == 1 ? before_run(server, from_id) : from_id};
    return {0, flag == 1 ? from_id : position_below(server, from_id)};
  }
  Numbers records_of(const std::string& server, uint32_t from_id, int wanted) const {
    Numbers all;
    for (const uint32_t id : ids(server)) {
      if (id >= from_id && static_cast<int>(all.size()) < wanted) all.push_back(id);
    }
    return all;
  }
  // The first id from there on that is missing.
  uint32_t end_of_run(const std::string& server, uint32_t from_id) const {
    while (holds(server, from_id)) ++from_id;
    return from_id;
  }
  bool holds(const std::string& server, uint32_t id) const {
    return std::binary_search(alerts_.begin(), alerts_.end(), std::pair(server, id));
  }

  // The halving search as it is prescribed: the last two positions stay unexamined.
  uint32_t back_of(const std::string& server, uint32_t from_id) const {
    if (!holds(server, from_id)) return from_id;
    const std::pair wanted(server, from_id);
    auto low = std::lower_bound(alerts_.begin(), alerts_.end(), wanted) - alerts_.begin();
    auto high = static_cast<ptrdiff_t>(alerts_.size()) - 1;
    while (low < high - 1) {
      const auto middle = (low + high) / 2;
      const uint32_t expected = from_id + static_cast<uint32_t>(middle - low);
      if (alerts_[static_cast<size_t>(middle)] == std::pair(server, expected)) {
        low = middle;
        from_id = expected;
      } else {
        high = middle - 1;
      }
    }
    return from_id + 1;
  }

 private:
  uint32_t before_run(const std::string& server, uint32_t id) const {
    while (id > 1 && holds(server, id - 1)) --id;
    return std::max(id - 1, 1U);
  }
  uint32_t position_below(const std::string& server, uint32_t id) const {
    const auto above = std::lower_bound(alerts_.begin(), alerts_.end(), std::pair(server, id));
    if (above == alerts_.begin() || std::prev(above)->first != server) return 0;
    return static_cast<uint32_t>(above - alerts_.begin()) - 1;
  }

  std::vector<std::pair<std::string, uint32_t>> alerts_;
};

TEST_F(RandomSyncQuery, IdsAreThoseThatLookingAtEveryAlertGives) {
  for (const uint64_t seed : test_seeds({1, 2, 3, 4})) {
    SCOPED_TRACE(repeat_command(seed));
    Random random(seed);
    const Alerts alerts = random_alerts(&random, seed % 2 == 0 ? 6000 : 1 + random.below(60), 5);
    put_id_index(alerts);
    const PlainLog plain(alerts);
    for (const auto& [server, from_id] : questions(&random, alerts)) {
      for (const int flag : {0, 1, 2}) {
        ASSERT_EQ(id_of(server, from_id, flag), plain.id_of(server, from_id, flag))
            << server << " from " << from_id << " flag " << flag;
      }
    }
  }
}

TEST_F(RandomSyncQuery, EndsOfRunsAreThosePrescribedAndNeverTooFar) {
  for (const uint64_t seed : test_seeds({5, 6, 7, 8})) {
    SCOPED_TRACE(repeat_command(seed));
    Random random(seed);
    const Alerts alerts = random_alerts(&random, seed % 2 == 0 ? 6000 : 1 + random.below(60), 5);
    put_id_index(alerts);
    const PlainLog plain(alerts);
    for (const auto& [server, from_id] : questions(&random, alerts)) {
      if (from_id == 0) continue;
      const IdAnswer answer = back_of(server, from_id);
      ASSERT_EQ(answer, (IdAnswer{0, plain.back_of(server, from_id)}))
          << server << " from " << from_id;
      const uint32_t missed = plain.end_of_run(server, from_id) - answer.id;
      ASSERT_LE(missed, 2U) << server << " from " << from_id << ": " << answer.id;
    }
  }
}

TEST_F(RandomSyncQuery, RecordsOfALogOfThousandsAreThoseThatLookingAtEveryAlertGives) {
  for (const uint64_t seed : test_seeds({9})) {
    SCOPED_TRACE(repeat_command(seed));
    Random random(seed);
    const Alerts alerts = random_alerts(&random, 2500, 0);
    put_log(alerts);
    const PlainLog plain(alerts);
    for (const auto& [server, from_id] : questions(&random, alerts)) {
      const int wanted = random.between(0, 9);
      const Delivery delivery = records_of(server, from_id, wanted);
      ASSERT_EQ(delivery.result, 0);
      ASSERT_EQ(delivery.ids(), plain.records_of(server, from_id, wanted))
          << server << " from " << from_id;
      for (int i = 0; i < delivery.number; ++i) {
        const ALERT_RECORD_INFO sent = record(server, delivery.ids()[static_cast<size_t>(i)]);
        ASSERT_EQ(delivery.slot(i),
                  std::string(image(sent), sizeof(sent)) + std::string(320, '\x5a'));
      }
    }
  }
}

}  // namespace
}  // namespace alt_test
