// Binary searches over the entries of an index file.
#ifndef QEL_ALTD_TESTS_MODEL_LOOKUP_H
#define QEL_ALTD_TESTS_MODEL_LOOKUP_H

#include <cstdint>
#include <string>

#include "model/disk.h"

namespace alt_model {

// Where a search ended: at the entry `at`, or, when at is -1, between `high` and `high` + 1.
struct Probe {
  int at = -1;
  int high = -1;

  int insertion() const { return high + 1; }
};

// By key alone.
Probe find_key(const File& file, int index, int count, const std::string& key);
// By key and log line.
Probe find_key_line(const File& file, int index, int count, const std::string& key, uint32_t line);
// By server and alert id.
Probe find_server_id(const File& file, int count, const std::string& server, uint32_t id);

// First and last entry of a key; both -1 when it is absent.
struct Range {
  int begin = -1;
  int end = -1;
};
Range find_range(const File& file, int index, int count, const std::string& key);

// The ends of a time range; kNoneOnThatSide when no entry is left.
inline constexpr int kNoneOnThatSide = -2;
int first_from(const File& time_index, int count, const std::string& time);
int last_until(const File& time_index, int count, const std::string& time);

}  // namespace alt_model

#endif
