#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "scenario.h"
#include "support/random.h"

namespace qel::simulation {
namespace {

// Time stamps are local time; the trace of a seed shall be the same everywhere.
class SameTimeEverywhere : public ::testing::Environment {
  void SetUp() override {
    setenv("TZ", "UTC", 1);
    tzset();
  }
};
const auto* const environment = ::testing::AddGlobalTestEnvironment(new SameTimeEverywhere);

void print(uint64_t seed, const Outcome& outcome) {
  printf("seed %llu: %zu alerts, settled %lld s after the faults\n",
         static_cast<unsigned long long>(seed), outcome.raised,
         static_cast<long long>(outcome.settled_after / kSecond));
  fflush(stdout);
}

void expect_agreement(int servers, std::initializer_list<uint64_t> seeds) {
  for (const uint64_t seed : alt_test::test_seeds(seeds)) {
    const Outcome outcome = Scenario(servers, seed).run();
    print(seed, outcome);
    EXPECT_EQ("", outcome.fault) << servers << " servers, seed " << seed << "\n"
                                 << outcome.story << "repeat: " << alt_test::repeat_command(seed);
  }
}

TEST(Simulation, ThreeServersHoldTheSameAlertsAfterFaults) {
  expect_agreement(3, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10});
}

TEST(Simulation, FiveServersHoldTheSameAlertsAfterFaults) {
  expect_agreement(5, {1, 2, 3, 4, 5, 6});
}

TEST(Simulation, SixteenServersHoldTheSameAlertsAfterFaults) { expect_agreement(16, {1, 2}); }

TEST(Simulation, SameSeedGivesTheSameHistory) {
  for (const uint64_t seed : alt_test::test_seeds({11, 12, 13})) {
    const Outcome first = Scenario(3, seed).run();
    const Outcome second = Scenario(3, seed).run();
    EXPECT_EQ(first.trace_hash, second.trace_hash) << "repeat: " << alt_test::repeat_command(seed);
  }
}

TEST(Simulation, AnotherSeedGivesAnotherHistory) {
  EXPECT_NE(Scenario(3, 21).run().trace_hash, Scenario(3, 22).run().trace_hash);
}

}  // namespace
}  // namespace qel::simulation
