// Places in a text.
#pragma once

#include <algorithm>
#include <string_view>

#include "verify/report.h"

namespace qel::cli {

// The place of a byte; one behind the end counts as the end.
inline Position position_of(std::string_view text, size_t byte) {
  const size_t end = std::min(byte, text.size());
  const auto ends = std::count(text.begin(), text.begin() + static_cast<ptrdiff_t>(end), '\n');
  return {.line = static_cast<size_t>(ends) + 1, .byte = end};
}

// Where two texts part; the length of the shorter one when it begins the other.
inline size_t difference(std::string_view left, std::string_view right) {
  const auto [in_left, in_right] =
      std::mismatch(left.begin(), left.end(), right.begin(), right.end());
  return static_cast<size_t>(in_left - left.begin());
}

}  // namespace qel::cli
