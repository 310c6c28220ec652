// qelalert stats: how the alerts are distributed.
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "alerts/fields.h"
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
    "  qelalert stats\n"
    "  qelalert stats --last 24h --by hour\n"
    "  qelalert stats -p 1 --by server --by module -n 3";

constexpr size_t kBarLength = 30;
constexpr size_t kHourLength = 13;  // "2024/01/31 23"

struct StatsOptions {
  Query query;
  std::vector<std::string> by;
  int lines = 10;
  std::string output = "text";
};

const std::vector<std::string> kSections = {"server", "module", "event", "level", "hour"};

struct Count {
  std::string value;
  size_t count;
};

std::string value_in(const std::string& section, const ALERT_RECORD_INFO& alert) {
  if (section == "hour") {
    return field_value(alert, Field::kRaised, Zone::kLocal).substr(0, kHourLength);
  }
  return field_value(alert, *field_by_name(section), Zone::kLocal);
}

// By value, ascending.
std::vector<Count> counts_by(const std::string& section, const AlertList& alerts) {
  std::map<std::string, size_t> counts;
  for (const ALERT_RECORD_INFO* alert : alerts) ++counts[value_in(section, *alert)];
  std::vector<Count> list;
  for (const auto& [value, count] : counts) list.push_back({value, count});
  return list;
}

Json as_json(const AlertList& alerts, const std::vector<std::string>& sections) {
  Json document = {{"total", alerts.size()}};
  for (const std::string& section : sections) {
    Json counts = Json::object();
    for (const Count& entry : counts_by(section, alerts)) counts[entry.value] = entry.count;
    document[section] = counts;
  }
  return document;
}

// What is shown of a section: the most frequent values; of the hours, which are read as a course of
// events, the newest.
std::vector<Count> shown(const std::string& section, std::vector<Count> counts, size_t lines) {
  if (section == "hour") {
    if (counts.size() > lines)
      counts.erase(counts.begin(), counts.end() - static_cast<long>(lines));
    return counts;
  }
  if (section != "level") {
    std::stable_sort(counts.begin(), counts.end(),
                     [](const Count& a, const Count& b) { return a.count > b.count; });
  }
  counts.resize(std::min(counts.size(), lines));
  return counts;
}

std::string title_of(std::string section) {
  std::transform(section.begin(), section.end(), section.begin(), toupper);
  return section;
}

std::string percent(size_t part, size_t whole) {
  const size_t tenths = (part * 1000 + whole / 2) / whole;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + "%";
}

std::string right_aligned(const std::string& text, size_t width) {
  return std::string(width - std::min(width, text.size()), ' ') + text;
}

Row count_row(const std::string& value, size_t count, size_t total, size_t most) {
  constexpr size_t kCountWidth = 7;
  constexpr size_t kShareWidth = 6;
  const size_t bar = count == 0 ? 0 : std::max<size_t>(1, count * kBarLength / most);
  return {value, right_aligned(std::to_string(count), kCountWidth),
          right_aligned(percent(count, total), kShareWidth), std::string(bar, '#')};
}

std::string section_text(const std::string& section, const AlertList& alerts, size_t lines) {
  const std::vector<Count> all = counts_by(section, alerts);
  const std::vector<Count> top = shown(section, all, lines);
  size_t most = 1;
  size_t told = 0;
  for (const Count& entry : top) {
    most = std::max(most, entry.count);
    told += entry.count;
  }
  std::vector<Row> rows = {{title_of(section), "  COUNT", " SHARE"}};
  for (const Count& entry : top) {
    rows.push_back(count_row(entry.value, entry.count, alerts.size(), most));
  }
  if (top.size() < all.size()) {
    const std::string rest =
        std::to_string(all.size() - top.size()) + (section == "hour" ? " earlier" : " more");
    rows.push_back({rest, right_aligned(std::to_string(alerts.size() - told), 7),
                    right_aligned(percent(alerts.size() - told, alerts.size()), 6)});
  }
  return align_columns(rows, terminal_width());
}

ExitCode show_stats(const StatsOptions& options) {
  check_period(options.query);
  const std::vector<std::string>& sections = options.by.empty() ? kSections : options.by;
  const Session session;
  const Snapshot snapshot;
  const AlertList alerts = snapshot.matching(options.query);
  if (options.output == "json") {
    print(json_text(as_json(alerts, sections)));
    return kDone;
  }
  if (alerts.empty())
    message(snapshot.alerts().empty() ? "the alert log is empty" : "no alerts match");
  for (size_t i = 0; i < sections.size() && !alerts.empty(); ++i) {
    if (i > 0) print("\n");
    print(section_text(sections[i], alerts, static_cast<size_t>(options.lines)));
  }
  return kDone;
}

}  // namespace

Action define_stats(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<StatsOptions>();
  add_selection_options(app, options->query);
  add_choices(app, "--by", options->by, kSections,
              "What is counted; may be repeated (default: all)");
  add_option(app, "-n,--lines", options->lines, "Values shown of each; JSON has all")
      .type_name("COUNT")
      .check(number_from_1())
      .shows_default();
  add_answer_output_option(app, options->output);
  return [options] { return show_stats(*options); };
}

}  // namespace qel::cli
