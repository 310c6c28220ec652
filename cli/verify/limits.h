// The largest store.
#pragma once

#include <cstdint>

#include "alert_log/layout.h"

namespace qel::cli {

// Records: an index names a record's line in eight digits.
inline constexpr uint32_t kCapacityMax = 99999999;

inline constexpr off_t kLogBytesMax =
    static_cast<off_t>(kCapacityMax) * off_t{kRecordLine} + off_t{kHeaderSearch};

}  // namespace qel::cli
