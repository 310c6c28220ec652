// qelalert last: the newest alerts.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "alerts/session.h"
#include "alerts/store.h"
#include "commands/command.h"
#include "commands/options.h"
#include "output/render.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert last\n"
    "  qelalert last 3 -o full\n"
    "  qelalert last 1 -o json";

struct LastOptions {
  int count = 10;
  std::string output = "table";
};

ExitCode show_last(const LastOptions& options) {
  const Session session;
  const std::vector<ALERT_RECORD_INFO> alerts = read_newest(static_cast<size_t>(options.count));
  if (alerts.empty()) message("the alert log is empty");
  std::cout << alerts_as(options.output, alerts);
  return kDone;
}

}  // namespace

Action define_last(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<LastOptions>();
  app.add_option("N", options->count, "Number of alerts")
      ->type_name("")
      ->check(number_from_1())
      ->capture_default_str();
  add_alert_output_option(app, options->output);
  return [options] { return show_last(*options); };
}

}  // namespace qel::cli
