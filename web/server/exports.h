// Alerts as files: JSON lines and CSV.
#pragma once

#include <memory>
#include <vector>

#include "alerts/snapshot.h"
#include "http/message.h"
#include "parameters.h"

namespace qel::web {

enum class AlertForm { kJson, kJsonLines, kCsv };

// The parameter "format", else the first known type of the Accept header, else JSON. Throws
// BadParameter.
AlertForm form_wanted(const Request& request, const Parameters& parameters);

// All alerts that match, newest first; made piece by piece while they are sent. `share` is kept as
// long as that takes.
Response export_all(std::shared_ptr<const Snapshot> snapshot, const Query& query, AlertForm form,
                    std::shared_ptr<const char> share);

// These alerts, in their order.
Response export_page(const std::vector<ALERT_RECORD_INFO>& alerts, AlertForm form);

}  // namespace qel::web
