// Random numbers that can be repeated: everything a random test does follows from its seed.
#ifndef QEL_ALTD_TESTS_SUPPORT_RANDOM_H
#define QEL_ALTD_TESTS_SUPPORT_RANDOM_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

namespace alt_test {

class Random {
 public:
  explicit Random(uint64_t seed) : engine_(seed) {}

  // 0 to count - 1; count must be above 0.
  uint64_t below(uint64_t count) { return engine_() % count; }
  int between(int low, int high) {
    return low + static_cast<int>(below(static_cast<uint64_t>(high - low) + 1));
  }
  bool chance(unsigned percent) { return below(100) < percent; }
  template <typename T>
  const T& pick(const std::vector<T>& from) {
    return from[below(from.size())];
  }

 private:
  std::mt19937_64 engine_;
};

// The seeds a random test runs with: the one in QEL_TEST_SEED; else, with QEL_TEST_ROUNDS=n, n
// seeds that no short run uses; else the fixed ones, with sanitizers every other one of them.
std::vector<uint64_t> test_seeds(std::initializer_list<uint64_t> fixed);

// The command that runs the current test with this seed alone.
std::string repeat_command(uint64_t seed);

}  // namespace alt_test

#endif
