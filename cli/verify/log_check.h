// The log: its header, its size, each of its records, and the records among each other.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "alert_types.h"
#include "verify/log_header_check.h"
#include "verify/report.h"

namespace qel::cli {

// The log as the indexes have to show it.
struct CheckedLog {
  LogHeader header;
  // By line, as far as the file goes; nothing: the line cannot be cut into its columns.
  std::vector<std::optional<ALERT_RECORD_INFO>> records;

  Position place_of(size_t line) const;
};

// `local_server` is whose log it is; empty when that is not known.
CheckedLog check_log(std::string_view log, const std::string& local_server, Findings* findings);

}  // namespace qel::cli
