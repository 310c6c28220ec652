// The order of an index that is built from the log.
#ifndef QEL_ALTD_TESTS_MODEL_SORTING_H
#define QEL_ALTD_TESTS_MODEL_SORTING_H

#include <cstdint>
#include <string>
#include <vector>

namespace alt_model {

// One record of the log, as an index is built from it.
struct Node {
  uint32_t line = 0;
  std::string key;
  std::string server;   // second key of the time index
  uint32_t number = 0;  // second key of the others: the line, or the alert id
};

// Sorts as the files require it: the order of equal entries, and whatever comes of keys that have
// no consistent order (alert ids more than 2^31 apart), follow from the very steps.
void sort_nodes(std::vector<Node>* nodes, int index);

// Keys of an index: text by its bytes, event ids by their number.
int compare_keys(const std::string& a, const std::string& b, int index);

}  // namespace alt_model

#endif
