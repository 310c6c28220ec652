// What a random series stores, looks for and breaks. Keys come from small pools, so that equal
// keys, equal times, repeated ids and full logs are the rule and not the exception.
#ifndef QEL_ALTD_TESTS_RANDOM_WORKLOAD_H
#define QEL_ALTD_TESTS_RANDOM_WORKLOAD_H

#include <string>
#include <vector>

#include "model/store_model.h"
#include "support/random.h"

namespace alt_test {

inline constexpr const char* kLocalServer = "alpha";

struct WorkloadStyle {
  bool rising_times = true;  // mostly, as alerts come; else drawn from a pool
  bool wide_ids = false;     // ids whose header number is wider than its column
};

class Workload {
 public:
  Workload(Random* random, WorkloadStyle style) : random_(*random), style_(style) {}

  alt_model::Record record();
  // One text field of it holds nothing but blanks.
  alt_model::Record unstorable_record();
  alt_model::Criteria criteria();

 private:
  uint32_t alert_id();
  std::string time();
  std::string old_time();

  Random& random_;
  WorkloadStyle style_;
  uint32_t next_id_ = 1;
  int clock_ = 0;
};

// A change of a file behind the store's back.
struct Damage {
  std::string words;
  std::string content;
};

// Of an index file of the given type that has a whole header.
Damage damage_index(Random* random, const std::string& content, int index);
// Of an alert log with the capacity `capacity`.
Damage damage_log(Random* random, const std::string& content, int capacity);

}  // namespace alt_test

#endif
