// How alerts are shown: the same options in every subcommand that shows some.
#pragma once

#include <memory>
#include <string>

#include "output/alert_printer.h"

namespace CLI {
class App;
}

namespace qel::cli {

// As the options gave them.
struct PresentationOptions {
  std::string form{};  // empty: none was named
  Fields fields{};
  std::string color = "auto";
  bool utc = false;
  bool no_pager = false;
};

// Adds -o/--output, --fields, --utc and --color; `usual_form` is what -o stands for when it is not
// given. `options` must live as long as `app`.
void add_presentation_options(CLI::App& app, PresentationOptions& options, const char* usual_form);

// Adds --no-pager, for answers that may be long.
void add_pager_option(CLI::App& app, PresentationOptions& options);

// What AlertPrinter needs. Throws a UsageError when --fields goes with no form.
Presentation presentation_of(const PresentationOptions& options, const char* usual_form);

// --utc alone, for answers that show times and no alerts.
void add_utc_option(CLI::App& app, bool& utc);

}  // namespace qel::cli
