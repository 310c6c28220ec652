// qelalert list: searches the alert log of this server.
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "alerts/filter.h"
#include "alerts/record_text.h"
#include "alerts/session.h"
#include "alerts/store.h"
#include "alerts/time_text.h"
#include "commands/command.h"
#include "commands/options.h"
#include "output/render.h"
#include "output/visible_text.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert list --since today\n"
    "  qelalert list -S yesterday -U today -p 1\n"
    "  qelalert list -S -2h -s node1 -m disk\n"
    "  qelalert list -S \"2024/01/31 08:00:00\" -n 50 --page 2 -o json";

constexpr char kBoundForms[] =
    "YYYY/MM/DD [HH:MM:SS[.mmm]], today, yesterday, now, or a time back such as -30min, -1h, -2d";

constexpr ALERT_RECORD_INFO kNoAlert{};

struct ListOptions {
  Criteria criteria;
  int page_size = 20;
  int page = 1;
  std::string output = "table";
};

// Takes a bound and turns it into the stored form.
CLI::Validator stored_bound() {
  return {[](std::string& text) {
            const std::optional<std::string> time = parse_bound(text, Clock::now());
            if (!time.has_value()) {
              return in_quotes(text) + " is not a time (" + kBoundForms + ")";
            }
            text = *time;
            return std::string();
          },
          ""};
}

void check_period(const Criteria& criteria) {
  if (criteria.until.empty() || criteria.since <= criteria.until) return;
  throw CLI::ValidationError("--until", criteria.until + " is before --since " + criteria.since);
}

std::vector<ALERT_RECORD_INFO> read_matching(const Criteria& criteria) {
  std::vector<ALERT_RECORD_INFO> alerts = read_newest(SIZE_MAX);
  std::erase_if(alerts, [&](const ALERT_RECORD_INFO& alert) { return !matches(criteria, alert); });
  return alerts;
}

void tell_page(const Page& page, size_t total, size_t wanted) {
  if (total == 0) {
    message("no alerts match");
    return;
  }
  if (page.number < wanted) {
    message("there is no page " + std::to_string(wanted) + "; this is the last one");
  }
  message("page " + std::to_string(page.number) + " of " + std::to_string(page.count) + ", " +
          std::to_string(total) + (total == 1 ? " alert" : " alerts"));
}

ExitCode list_alerts(const ListOptions& options) {
  check_period(options.criteria);
  const Session session;
  const std::vector<ALERT_RECORD_INFO> found = read_matching(options.criteria);
  const auto wanted = static_cast<size_t>(options.page);
  const Page page = page_of(found.size(), static_cast<size_t>(options.page_size), wanted);
  const Alerts shown = Alerts(found).subspan(page.first, page.size);
  if (options.output == "json") {
    std::cout << json_text({{"total", found.size()},
                            {"page", page.number},
                            {"pages", page.count},
                            {"alerts", alerts_as_json(shown)}});
  } else {
    std::cout << alerts_as(options.output, shown) << std::flush;
  }
  tell_page(page, found.size(), wanted);
  return kDone;
}

}  // namespace

Action define_list(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<ListOptions>();
  Criteria& criteria = options->criteria;
  app.add_option("-S,--since", criteria.since,
                 std::string("Raised at this local time or later:\n") + kBoundForms)
      ->type_name("TIME")
      ->transform(stored_bound());
  app.add_option("-U,--until", criteria.until,
                 "Raised at this local time or earlier; a date means its midnight")
      ->type_name("TIME")
      ->transform(stored_bound());
  add_text_option(app, "-s,--server", criteria.server, text_limit(kNoAlert.szServer),
                  "Of this server");
  add_text_option(app, "-m,--module", criteria.module, text_limit(kNoAlert.szModType),
                  "Of this module");
  add_text_option(app, "-i,--event", criteria.event, text_limit(kNoAlert.szEventID),
                  "With this event id");
  add_level_option(app, criteria.level, "Of this level");
  app.add_option("-n,--page-size", options->page_size, "Alerts on a page")
      ->type_name("COUNT")
      ->check(number_from_1())
      ->capture_default_str();
  app.add_option("--page", options->page, "Page to show, 1 has the newest alerts")
      ->type_name("N")
      ->check(number_from_1())
      ->capture_default_str();
  add_alert_output_option(app, options->output);
  return [options] { return list_alerts(*options); };
}

}  // namespace qel::cli
