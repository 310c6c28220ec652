#include "store_content.h"

#include <stdexcept>

#include "support/files.h"

namespace qel::simulation {

std::vector<alt_model::Record> parse_log(const std::string& content) {
  if (content.empty()) return {};
  const auto log = std::make_shared<std::string>(content);
  const auto header = alt_model::parse_header(log);
  if (!header) throw std::runtime_error("a log without a header");
  std::vector<alt_model::Record> records;
  for (uint32_t line = 0; line < header->count; ++line) {
    const auto record = alt_model::read_record(log, line);
    if (!record) throw std::runtime_error("a line of a log cannot be cut");
    records.push_back(*record);
  }
  return records;
}

std::vector<alt_model::Record> read_log(const std::string& store) {
  return parse_log(alt_test::read_file(store + "/" + alt_model::kLogName).value_or(""));
}

}  // namespace qel::simulation
