// Random series of stores, queries, resizes and damages, compared with the model after every step.
#include <gtest/gtest.h>

#include "random_series.h"
#include "support/random.h"

namespace alt_test {
namespace {

// A seed above a million found something once and stays.
constexpr int kOperations = 400;
constexpr int kBigCapacity = 300;

void run_series(uint64_t seed, const SeriesStyle& style, int operations) {
  Series series(seed, style);
  if (!series.run(operations)) return;
  // What nothing defines may not push out what is tested.
  EXPECT_LT(series.skipped(), operations / 20) << repeat_command(seed);
  EXPECT_GT(series.performed().at("store"), operations / 4) << repeat_command(seed);
}

SeriesStyle small_style(uint64_t seed) {
  static const std::vector<int> capacities = {1, 2, 3, 5, 8, 13, 25, 40};
  Random random(~seed);
  SeriesStyle style;
  style.capacity = random.pick(capacities);
  style.workload.rising_times = random.chance(70);
  return style;
}

TEST(RandomStore, HealthyStoreDoesWhatTheModelDoes) {
  for (const uint64_t seed : test_seeds({1, 2, 3, 4, 5, 6})) {
    SeriesStyle style = small_style(seed);
    style.damage = false;
    run_series(seed, style, kOperations);
  }
}

TEST(RandomStore, DamagedStoreDoesWhatTheModelDoes) {
  for (const uint64_t seed : test_seeds({11, 12, 13, 14, 15, 16, 1000002})) {
    run_series(seed, small_style(seed), kOperations);
  }
}

TEST(RandomStore, WideIdsInTheHeaderDoWhatTheModelDoes) {
  for (const uint64_t seed : test_seeds({21, 22, 23, 24, 1000004, 1000099, 1000400})) {
    SeriesStyle style = small_style(seed);
    style.damage = seed % 2 == 0;
    style.workload.wide_ids = true;
    run_series(seed, style, kOperations);
  }
}

TEST(RandomStore, BigStoreDoesWhatTheModelDoes) {
  for (const uint64_t seed : test_seeds({31, 32})) {
    SeriesStyle style = small_style(seed);
    style.capacity = kBigCapacity;
    style.damage = seed % 2 == 0;
    run_series(seed, style, 3 * kBigCapacity);
  }
}

}  // namespace
}  // namespace alt_test
