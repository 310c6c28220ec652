#include "alerts/id_runs.h"

#include <algorithm>
#include <map>

#include "alerts/record_text.h"

namespace qel {
namespace {

std::vector<IdRun> runs_of(const std::vector<uint32_t>& sorted_ids) {
  std::vector<IdRun> runs;
  for (const uint64_t id : sorted_ids) {
    if (!runs.empty() && id <= runs.back().last + 1) {
      runs.back().last = id;
    } else {
      runs.push_back({id, id});
    }
  }
  return runs;
}

}  // namespace

std::vector<IdRun> HeldAlerts::holes() const {
  std::vector<IdRun> holes;
  for (size_t i = 1; i < runs.size(); ++i) {
    holes.push_back({runs[i - 1].last + 1, runs[i].first - 1});
  }
  return holes;
}

uint64_t HeldAlerts::missing() const {
  uint64_t ids = 0;
  for (const IdRun& hole : holes()) ids += hole.last - hole.first + 1;
  return ids;
}

std::vector<HeldAlerts> held_alerts(const AlertList& alerts) {
  std::map<std::string, std::vector<uint32_t>, std::less<>> ids;
  for (const ALERT_RECORD_INFO* alert : alerts) {
    ids[std::string(field_text(alert->szServer))].push_back(alert->alert_id);
  }
  std::vector<HeldAlerts> held;
  for (auto& [server, of_server] : ids) {
    std::sort(of_server.begin(), of_server.end());
    held.push_back({server, of_server.size(), runs_of(of_server)});
  }
  return held;
}

std::string runs_text(const std::vector<IdRun>& runs, size_t most) {
  if (runs.empty()) return "-";
  std::string text;
  for (size_t i = 0; i < runs.size() && i < most; ++i) {
    const auto [first, last] = runs[i];
    text += (i > 0 ? ", " : "") + std::to_string(first);
    if (last != first) text += "-" + std::to_string(last);
  }
  return runs.size() > most ? text + ", ..." : text;
}

}  // namespace qel
