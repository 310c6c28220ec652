// qelalert gaps: whose alerts are held, and which are missing in between.
#include <memory>
#include <string>
#include <vector>

#include "alerts/id_runs.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/selection.h"
#include "output/columns.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert gaps\n"
    "  qelalert gaps -s node1 -o json\n"
    "  qelalert gaps || echo \"alerts are missing\"";

constexpr size_t kHolesShown = 8;  // of each server; JSON has all

struct GapsOptions {
  Query query;
  std::string output = "text";
};

Json as_json(const HeldAlerts& held) {
  Json holes = Json::array();
  for (const auto [first, last] : held.holes()) holes.push_back({first, last});
  return {{"server", held.server}, {"first", held.first()},     {"last", held.last()},
          {"count", held.count},   {"missing", held.missing()}, {"holes", holes}};
}

Json as_json(const std::vector<HeldAlerts>& servers) {
  Json list = Json::array();
  for (const HeldAlerts& held : servers) list.push_back(as_json(held));
  return list;
}

std::string as_table(const std::vector<HeldAlerts>& servers) {
  std::vector<Row> rows = {{"SERVER", "FIRST ID", "LAST ID", "HELD", "MISSING", "HOLES"}};
  for (const HeldAlerts& held : servers) {
    rows.push_back({held.server, std::to_string(held.first()), std::to_string(held.last()),
                    std::to_string(held.count), std::to_string(held.missing()),
                    runs_text(held.holes(), kHolesShown)});
  }
  return align_columns(rows, terminal_width());
}

ExitCode show_gaps(const GapsOptions& options) {
  const Session session;
  const std::vector<HeldAlerts> servers = held_alerts(Snapshot().matching(options.query));
  uint64_t missing = 0;
  for (const HeldAlerts& held : servers) missing += held.missing();
  if (options.output == "json") {
    print(json_text(as_json(servers)));
  } else if (servers.empty()) {
    message("no alerts are held");
  } else {
    print(as_table(servers));
  }
  return missing == 0 ? kDone : kIncomplete;
}

}  // namespace

Action define_gaps(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<GapsOptions>();
  add_server_option(app, options->query);
  add_answer_output_option(app, options->output);
  return [options] { return show_gaps(*options); };
}

}  // namespace qel::cli
