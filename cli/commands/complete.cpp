// qelalert complete: the values that occur, for the completion of a shell.
#include <memory>
#include <set>
#include <string>

#include "alerts/fields.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "alerts/visible_text.h"
#include "commands/command.h"
#include "commands/options.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] = "  qelalert complete server";

// Only what a shell can take back as it is.
bool is_plain(const std::string& value) { return !value.empty() && visible(value) == value; }

// Whoever completes a line wants no messages: without a log there is nothing to offer.
ExitCode print_values(const std::string& name) {
  std::set<std::string> values;
  try {
    const Session session;
    const Snapshot snapshot;
    for (const ALERT_RECORD_INFO* alert : snapshot.alerts()) {
      values.insert(field_value(*alert, *field_by_name(name), Zone::kLocal));
    }
  } catch (const Failure&) {
    return kFailed;
  }
  for (const std::string& value : values) {
    if (is_plain(value)) print(value + "\n");
  }
  return kDone;
}

}  // namespace

Action define_complete(CLI::App& app) {
  add_examples(app, kExamples);
  const auto name = std::make_shared<std::string>();
  add_choice(app, "FIELD", *name, {"server", "module", "event", "alert"}, "Field of the alerts")
      .required();
  return [name] { return print_values(*name); };
}

}  // namespace qel::cli
