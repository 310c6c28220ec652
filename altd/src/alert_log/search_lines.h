// The log lines that one criterion of a search selects.
#pragma once

#include <cstdlib>
#include <memory>

namespace qel {

struct FreeLines {
  void operator()(int* lines) const { free(lines); }
};
using Lines = std::unique_ptr<int[], FreeLines>;

// Room for `count` lines; null when memory is short (logged).
Lines allocate_lines(int count);

// `lines` is null when the criterion selects every record or none.
struct Selection {
  int count = 0;
  Lines lines;
};

}  // namespace qel
