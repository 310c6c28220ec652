#include "delivery_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <vector>

#include "alert_msg/servers.h"

namespace qel::daemon {

namespace {

using nlohmann::json;
using Outstanding = std::vector<PeerBook::Outstanding>;

std::string line(const json& answer) {
  return answer.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

const char* delivery(const std::string& server, uint32_t id, const Outstanding& outstanding,
                     const PeerBook& book) {
  const auto is_waiting = [&](const PeerBook::Outstanding& alert) {
    return alert.alert_id == id && alert.server == server;
  };
  if (std::any_of(outstanding.begin(), outstanding.end(), is_waiting)) return "waiting";
  const auto& given_up = book.peer(server).given_up_ids;
  const bool lost = std::find(given_up.begin(), given_up.end(), id) != given_up.end();
  return lost ? "given up" : "acknowledged";
}

}  // namespace

std::string delivery_report(const json& request, const PeerBook& book, uint32_t known_after) {
  const auto wanted = request.find("id");
  if (wanted == request.end() || !wanted->is_number_unsigned() || *wanted == 0 ||
      *wanted > UINT32_MAX) {
    return line({{"error", "the request \"delivery\" has no alert id as its member \"id\""}});
  }
  const auto id = wanted->get<uint32_t>();
  const Outstanding outstanding = PeerBook::outstanding_alerts();
  json peers = json::array();
  for (const ty_svrlist* server = server_list_head; server != nullptr; server = server->next) {
    if (is_local(server)) continue;
    const char* const how =
        id > known_after ? delivery(server->svr_name, id, outstanding, book) : "unknown";
    peers.push_back(
        {{"server", server->svr_name}, {"state", book.state(server->svr_name)}, {"delivery", how}});
  }
  return line(
      {{"server", local_svr != nullptr ? local_svr->svr_name : ""}, {"id", id}, {"peers", peers}});
}

}  // namespace qel::daemon
