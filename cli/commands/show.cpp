// qelalert show: single alerts by their names.
#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alerts/record_text.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "alerts/visible_text.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/presentation.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert show node1/17\n"
    "  qelalert show node1/17 node2/4 -o json-pretty";

constexpr char kUsualForm[] = "full";

struct ShowOptions {
  std::vector<std::string> names;
  PresentationOptions presentation;
};

struct AlertId {
  std::string server;
  uint32_t id;
};

// A server's name may hold a "/" itself.
std::optional<AlertId> parse_name(const std::string& name) {
  const size_t slash = name.rfind('/');
  if (slash == std::string::npos || slash == 0) return std::nullopt;
  uint32_t id = 0;
  const char* const end = name.data() + name.size();
  const auto read = std::from_chars(name.data() + slash + 1, end, id);
  if (read.ec != std::errc{} || read.ptr != end || id == 0) return std::nullopt;
  return AlertId{name.substr(0, slash), id};
}

ValueCheck alert_name_form() {
  return [](std::string& name) {
    return parse_name(name).has_value()
               ? std::string()
               : in_quotes(name) + " is no alert (SERVER/ID, such as node1/17)";
  };
}

// Why an alert is not there, as far as the others of its server tell.
std::string absence(const AlertId& wanted, const AlertList& held) {
  std::vector<uint32_t> ids;
  for (const ALERT_RECORD_INFO* alert : held) {
    if (field_text(alert->szServer) == wanted.server) ids.push_back(alert->alert_id);
  }
  const std::string name = in_quotes(wanted.server + "/" + std::to_string(wanted.id));
  if (ids.empty()) {
    return "no alert " + name + ": none of server " + in_quotes(wanted.server) + " is held here";
  }
  const auto [lowest, highest] = std::minmax_element(ids.begin(), ids.end());
  return "no alert " + name + ": of this server there are ids from " + std::to_string(*lowest) +
         " to " + std::to_string(*highest);
}

// All alerts of that name: a damaged log may hold it twice.
AlertList named(const AlertId& wanted, const AlertList& held) {
  AlertList found;
  std::copy_if(
      held.begin(), held.end(), std::back_inserter(found), [&](const ALERT_RECORD_INFO* alert) {
        return alert->alert_id == wanted.id && field_text(alert->szServer) == wanted.server;
      });
  return found;
}

ExitCode show_alerts(const ShowOptions& options) {
  const Presentation presentation = presentation_of(options.presentation, kUsualForm);
  const Session session;
  const Snapshot snapshot;
  AlertPrinter printer(presentation);
  ExitCode code = kDone;
  for (const std::string& name : options.names) {
    const AlertId wanted = *parse_name(name);
    const AlertList found = named(wanted, snapshot.alerts());
    if (found.empty()) {
      message(absence(wanted, snapshot.alerts()));
      code = kFailed;
    } else {
      printer.print_batch(found);
    }
  }
  return code;
}

}  // namespace

Action define_show(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<ShowOptions>();
  add_option(app, "SERVER/ID", options->names, "Alerts, as \"list\" names them")
      .required()
      .type_name("")
      .check(alert_name_form());
  add_presentation_options(app, options->presentation, kUsualForm);
  return [options] { return show_alerts(*options); };
}

}  // namespace qel::cli
