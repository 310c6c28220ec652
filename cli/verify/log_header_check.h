// The header of the log.
#pragma once

#include <cstddef>
#include <string_view>

#include "alert_types.h"
#include "verify/report.h"

namespace qel::cli {

// The lines of the header's numbers, from 0.
enum HeaderLine {
  kMaxCountLine,
  kCurCountLine,
  kToWriteLine,
  kRecordSizeLine,
  kChangedLine,
  kCurrentIdLine,
  kNumberLines
};

// What the rest of the examination needs of the header.
struct LogHeader {
  bool readable = false;  // else the numbers mean nothing, and no record can be found
  ALERT_FILE_HEADER numbers = {};
  Position number[kNumberLines] = {};  // where each line begins
  Position records = {};               // where the first record begins, or would begin
};

LogHeader check_log_header(std::string_view log, Findings* findings);

}  // namespace qel::cli
