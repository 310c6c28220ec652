// qelalert list: searches the alert log of this server.
#include <algorithm>
#include <memory>
#include <string>

#include "alerts/seen_alerts.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "commands/command.h"
#include "commands/follow.h"
#include "commands/options.h"
#include "commands/presentation.h"
#include "commands/selection.h"
#include "output/out.h"
#include "output/pager.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert list --since today\n"
    "  qelalert list -S yesterday -U today -p 1..2\n"
    "  qelalert list --last 2h -s node1 -s node2 -m '!disk'\n"
    "  qelalert list -g 'link (up|down)' -n 50 -r -o table\n"
    "  qelalert list --cursor-file poller.state -o json   what is new since last time";

struct ListOptions {
  Query query;
  PresentationOptions presentation;
  int count = 0;  // 0: all
  bool reverse = false;
  bool follow = false;
  std::string cursor_file;
};

constexpr int kFollowedFirst = 10;

AlertList chosen(const ListOptions& options, const Snapshot& snapshot, SeenAlerts* seen) {
  AlertList alerts = snapshot.matching(options.query);
  if (!options.cursor_file.empty()) {
    (void)seen->load(options.cursor_file);
    alerts = seen->take_new(snapshot.alerts());
    std::erase_if(alerts,
                  [&](const ALERT_RECORD_INFO* alert) { return !matches(options.query, *alert); });
  }
  const auto wanted = static_cast<size_t>(options.count);
  if (wanted > 0 && alerts.size() > wanted) {
    alerts.erase(alerts.begin(), alerts.end() - static_cast<ptrdiff_t>(wanted));
  }
  if (options.reverse) std::reverse(alerts.begin(), alerts.end());
  return alerts;
}

void tell_nothing(const ListOptions& options, const Snapshot& snapshot) {
  if (snapshot.alerts().empty()) {
    message("the alert log is empty");
  } else if (options.cursor_file.empty()) {
    message("no alerts match");
  }
}

ExitCode list_alerts(const ListOptions& options) {
  check_period(options.query);
  const Presentation presentation = presentation_of(options.presentation, "short");
  if (options.follow) {
    const auto first = static_cast<size_t>(options.count > 0 ? options.count : kFollowedFirst);
    follow_alerts({options.query, presentation, first, options.cursor_file});
  }
  const Session session;
  const Snapshot snapshot;
  SeenAlerts seen;
  const AlertList alerts = chosen(options, snapshot, &seen);
  if (alerts.empty()) tell_nothing(options, snapshot);
  {
    const Pager pager(!options.presentation.no_pager);
    AlertPrinter printer(presentation);
    printer.print_batch(alerts);
    flush_output();
  }
  if (!options.cursor_file.empty()) seen.save(options.cursor_file);
  return kDone;
}

}  // namespace

Action define_list(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<ListOptions>();
  add_selection_options(app, options->query);
  add_option(app, "-n,--lines", options->count, "The newest of them only")
      .type_name("COUNT")
      .check(number_from_1());
  Option reverse = add_flag(app, "-r,--reverse", options->reverse, "Newest first");
  add_flag(app, "-f,--follow", options->follow, "The newest 10, or COUNT, then each new one")
      .excludes(reverse);
  add_cursor_option(app, options->cursor_file);
  add_presentation_options(app, options->presentation, "short");
  add_pager_option(app, options->presentation);
  return [options] { return list_alerts(*options); };
}

}  // namespace qel::cli
