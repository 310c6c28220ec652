// qelalert last: the newest alerts.
#include <algorithm>
#include <memory>

#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/presentation.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert last\n"
    "  qelalert last 3 -o full\n"
    "  qelalert last 1 -o json";

constexpr char kUsualForm[] = "table";

struct LastOptions {
  int count = 10;
  PresentationOptions presentation;
};

ExitCode show_last(const LastOptions& options) {
  const Presentation presentation = presentation_of(options.presentation, kUsualForm);
  const Session session;
  const Snapshot snapshot;
  AlertList alerts = snapshot.alerts();
  std::reverse(alerts.begin(), alerts.end());
  if (alerts.empty()) message("the alert log is empty");
  alerts.resize(std::min(alerts.size(), static_cast<size_t>(options.count)));
  AlertPrinter(presentation).print_batch(alerts);
  return kDone;
}

}  // namespace

Action define_last(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<LastOptions>();
  add_option(app, "N", options->count, "Number of alerts")
      .type_name("")
      .check(number_from_1())
      .shows_default();
  add_presentation_options(app, options->presentation, kUsualForm);
  return [options] { return show_last(*options); };
}

}  // namespace qel::cli
