// One index: its header, its size, each of its entries, and what of the log it shows.
#pragma once

#include <string_view>

#include "verify/log_check.h"
#include "verify/report.h"

namespace qel::cli {

// Without a readable header of the log the index is examined by itself.
Findings check_index(int idxtype, std::string_view index, const CheckedLog& log);

}  // namespace qel::cli
