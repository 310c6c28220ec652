#include "support/random.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "support/sanitizer.h"

namespace alt_test {
namespace {

// Long runs count up from here.
constexpr uint64_t kFirstCampaignSeed = 1000000;

uint64_t environment_number(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? 0 : std::strtoull(value, nullptr, 10);
}

}  // namespace

std::vector<uint64_t> test_seeds(std::initializer_list<uint64_t> fixed) {
  if (std::getenv("QEL_TEST_SEED") != nullptr) return {environment_number("QEL_TEST_SEED")};
  const uint64_t rounds = environment_number("QEL_TEST_ROUNDS");
  std::vector<uint64_t> seeds;
  if (rounds == 0) {
    const size_t step = is_sanitized() ? 2 : 1;
    for (size_t i = 0; i < fixed.size(); i += step) seeds.push_back(fixed.begin()[i]);
    return seeds;
  }
  for (uint64_t i = 0; i < rounds; ++i) seeds.push_back(kFirstCampaignSeed + i);
  return seeds;
}

std::string repeat_command(uint64_t seed) {
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string command = "QEL_TEST_SEED=" + std::to_string(seed) + " " +
                        std::filesystem::read_symlink("/proc/self/exe").string();
  if (test != nullptr) {
    command += std::string(" --gtest_filter=") + test->test_suite_name() + "." + test->name();
  }
  return command;
}

}  // namespace alt_test
