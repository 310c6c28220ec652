// One record line of the log.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace qel::cli {

struct RecordFault {
  size_t offset;  // in the line
  std::string what;
};

// The first thing that is not as the store writes it in a line of kRecordLine bytes.
std::optional<RecordFault> find_record_fault(const char* line);

}  // namespace qel::cli
