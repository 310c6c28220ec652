// The examination of a whole store.
#pragma once

#include "verify/report.h"
#include "verify/store_copy.h"

namespace qel::cli {

// What is wrong with the store. Throws a Failure when it cannot be read.
Report examine_store(const StorePlace& place);

}  // namespace qel::cli
