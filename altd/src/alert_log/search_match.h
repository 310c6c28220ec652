// Matching the criteria of a search.
#pragma once

#include <array>

#include "alert_log/search_lines.h"
#include "alert_types.h"
#include "common/descriptor.h"

namespace qel {

inline constexpr int kCriteria = 5;  // time range, server, module, event id, level
inline constexpr int kTimeRange = 0;

// The open files of a search: the log with its header, and the index of each criterion.
struct SearchFiles {
  Descriptor log;
  std::array<Descriptor, kCriteria> index;
  ALERT_FILE_HEADER header = {};

  int count() const { return static_cast<int>(header.nCurCount); }
};

// What a search has found.
struct Match {
  Lines result;      // the matching lines, newest first; null when every record matches
  int allrecds = 0;  // 1: every record matches
  int realcount = 0;
};

// Finds the records that meet every criterion. 0, or -1 (logged).
int match_criteria(const SearchFiles& files, const ALERT_SEARCH_INFO& info, Match* match);

}  // namespace qel
