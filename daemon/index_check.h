// Whether the indexes can be believed.
#pragma once

#include "alert_types.h"

namespace qel::daemon {

// Builds the indexes again when one of them has another size than its entries take, or another
// count than the log: lookups trust them. Missing ones are left to their next open.
void mend_indexes();

enum class Held { kNo, kYes, kUnknown };

// Whether the log holds an alert with this server and id. The answer comes from an index, and a
// full disk leaves one that was only half built and looks like a whole one: a "no" counts only when
// the index has as many entries as the log. One that has not is built again; when that fails the
// answer is unknown, and nothing should be stored.
Held look_up(const ALERT_RECORD_INFO& record);

}  // namespace qel::daemon
