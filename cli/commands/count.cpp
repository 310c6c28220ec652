// qelalert count: how many alerts there are.
#include <memory>
#include <string>

#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/selection.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert count\n"
    "  qelalert count --last 1h -p 1\n"
    "  qelalert count -s node1 -g failed";

ExitCode count_alerts(const Query& query) {
  check_period(query);
  const Session session;
  print(std::to_string(Snapshot().matching(query).size()) + "\n");
  return kDone;
}

}  // namespace

Action define_count(CLI::App& app) {
  add_examples(app, kExamples);
  const auto query = std::make_shared<Query>();
  add_selection_options(app, *query);
  return [query] { return count_alerts(*query); };
}

}  // namespace qel::cli
