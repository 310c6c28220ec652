// A model with a store of four records, for the tests of the model itself.
#ifndef QEL_ALTD_TESTS_MODEL_MODEL_FIXTURE_H
#define QEL_ALTD_TESTS_MODEL_MODEL_FIXTURE_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "model/store_model.h"

namespace alt_model {

inline constexpr int kRemote = 0;
inline constexpr int kLocal = 1;

inline Record alert(uint32_t id, const std::string& server, const std::string& time) {
  return {id, "100", "1", server, "disk", "2024/01/01 00:00:00.000", time, "message"};
}

class Model : public ::testing::Test {
 protected:
  Model() { model_.process.max_count = 4; }

  int store(const Record& record, int islocal = kLocal) {
    const std::string image = image_of_record(record);
    return model_.store(image, image.size(), islocal);
  }
  LogHeader header() { return parse_header(model_.disk.open(kLogName)).value(); }
  // Keys of an index, in its order.
  std::vector<std::string> keys(int index) {
    std::vector<std::string> all;
    for (const Entry& entry : entries(index)) all.push_back(entry.key);
    return all;
  }
  std::vector<uint32_t> lines(int index) {
    std::vector<uint32_t> all;
    for (const Entry& entry : entries(index)) all.push_back(entry.line);
    return all;
  }
  std::vector<Entry> entries(int index) {
    const File file = model_.open_file(kIndexNames[index]);
    std::vector<Entry> all;
    for (uint32_t i = 0; i < parse_index_header(file).value(); ++i) {
      all.push_back(read_entry(file, index, static_cast<int>(i)));
    }
    return all;
  }

  StoreModel model_;
};

using Texts = std::vector<std::string>;
using Lines = std::vector<uint32_t>;

}  // namespace alt_model

#endif
