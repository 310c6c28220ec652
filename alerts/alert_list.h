// Alerts that somebody else owns, in an order.
#pragma once

#include <vector>

#include "alert_types.h"

namespace qel {

using AlertList = std::vector<const ALERT_RECORD_INFO*>;

}  // namespace qel
