// How far an alert of this server has come.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "cluster/peer_book.h"

namespace qel::daemon {

// The answer to {"request":"delivery","id":N} as one line of JSON with its line end: server, id,
// and peers [{server, state, delivery}], where delivery is "acknowledged", "waiting", "given up"
// (the other server fetches the alert when it catches up), or "unknown" for an id up to
// `known_after`, which this process did not send. {"error":"..."} when N is no alert id.
std::string delivery_report(const nlohmann::json& request, const PeerBook& book,
                            uint32_t known_after);

}  // namespace qel::daemon
