// The headers of log and indexes as the library reads and writes them: it is given the bytes in a
// file that exists in memory only, since it would delete a file of the store that it takes for
// destroyed.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "alert_types.h"

namespace qel::cli {

struct LogHeaderText {
  ALERT_FILE_HEADER numbers;
  size_t length;  // up to the first record, as every program finds it
};

// The header at the start of a log that is not empty. Nothing when a number is missing.
std::optional<LogHeaderText> parse_log_header(std::string_view log);

// The whole header of a new log with these numbers.
std::string format_log_header(ALERT_FILE_HEADER numbers);

// The header of an index. Nothing when it is not whole.
std::optional<INDEX_HEADER> parse_index_header(std::string_view index);

std::string format_index_header(int idxtype, unsigned count);

}  // namespace qel::cli
