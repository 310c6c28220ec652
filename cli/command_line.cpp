#include "command_line.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "alerts/visible_text.h"
#include "commands/option.h"
#include "commands/options.h"
#include "help.h"
#include "suggest.h"

namespace qel::cli {
namespace {

constexpr char kReading[] = "Reading alerts";
constexpr char kWatching[] = "Watching the system";
constexpr char kWriting[] = "Raising alerts";
constexpr char kForPrograms[] = "";  // not in the overview

constexpr Command kCommands[] = {
    {"list", "Search the alerts, oldest first (without a subcommand: this one)", kReading,
     define_list},
    {"follow", "Show new alerts as they come", kReading, define_follow},
    {"last", "Show the newest alerts", kReading, define_last},
    {"show", "Show single alerts with all they hold", kReading, define_show},
    {"count", "Count alerts", kReading, define_count},
    {"stats", "Count alerts by server, module, event, level and hour", kReading, define_stats},
    {"export", "Write alerts for other programs", kReading, define_export},
    {"raise", "Raise an alert", kWriting, define_raise},
    {"status", "Show the state of the alert daemon and of the log", kWatching, define_status},
    {"peers", "Show the other servers and whose alerts are held", kWatching, define_peers},
    {"gaps", "Show which alerts of each server are missing here", kWatching, define_gaps},
    {"check", "Tell a monitoring system how the alert log is", kWatching, define_check},
    {"config", "Check the configuration", kWatching, define_config},
    {"verify", "Examine the log and its indexes for damage", kWatching, define_verify},
    {"complete", "Print values that occur, for the completion of a shell", kForPrograms,
     define_complete},
};

constexpr char kListCommand[] = "list";
constexpr char kCheckCommand[] = "check";
// Monitoring systems take 2 for a critical state.
constexpr auto kCheckUsage = static_cast<ExitCode>(3);

constexpr char kExamples[] =
    "  qelalert                                   all alerts, oldest first\n"
    "  qelalert last                              the newest ten\n"
    "  qelalert --last 2h -p 1 -s node1           level 1 of node1, last two hours\n"
    "  qelalert follow                            new ones as they come\n"
    "  qelalert raise -i 42 -m disk \"disk full\"   raise one\n"
    "  qelalert peers                             who answers, and what is missing";

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 wrong option or value, 3 alert daemon not\n"
    "reachable, 4 incomplete (alerts missing, other servers silent or behind).";

// '; did you mean "..."?', when one of the names is near enough.
std::string suggestion(const std::string& name, const std::vector<std::string>& names) {
  const std::vector<std::string_view> known(names.begin(), names.end());
  const std::string_view nearest = nearest_name(name, known);
  return nearest.empty() ? "" : "; did you mean \"" + std::string(nearest) + "\"?";
}

// `app` is the tool, or a subcommand that has subcommands itself.
std::string wrong_command(const CLI::App& app, const std::string& name) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_group() != kForPrograms) names.push_back(command->get_name());
  }
  const std::string hint = suggestion(name, names);
  return "no subcommand " + in_quotes(name) +
         (hint.empty() ? "; there are: " + joined(names, ", ") : hint);
}

// The first word that looks like an option and is none; empty without one.
std::string unknown_option(const CLI::App& app, const std::vector<std::string>& left) {
  const auto option = std::find_if(left.begin(), left.end(), [](const std::string& word) {
    return word.size() > 1 && word.starts_with("-");
  });
  if (option == left.end()) return {};
  std::vector<std::string> names;
  for (const CLI::Option* known : app.get_options()) {
    for (const std::string& name : known->get_lnames()) names.push_back("--" + name);
  }
  return "no option " + in_quotes(*option) +
         suggestion(option->substr(0, option->find('=')), names);
}

// Where the subcommand stands or would stand: behind --config and its value.
size_t command_place(const std::vector<std::string>& words) {
  size_t place = 0;
  while (place < words.size() && words[place].starts_with("--config")) {
    place += words[place] == "--config" ? 2 : 1;
  }
  return std::min(place, words.size());
}

bool asks_about_the_tool(const std::string& word) {
  return word == "-h" || word == "--help" || word == "--version";
}

}  // namespace

CommandLine::CommandLine() : app_("Raises and shows the alerts of the cluster.", "qelalert") {
  app_.formatter(std::make_shared<HelpFormatter>());
  app_.set_version_flag("--version", "qelalert " QELALERT_VERSION);
  add_examples(app_, kExamples);
  app_.footer(kExitCodes);
  app_.require_subcommand(1);
  app_.fallthrough();
  add_option(app_, "--config", config_directory_,
             "Directory of the configuration (default: QEL_CONFIG_DIR, else /etc/qelalert)")
      .type_name("DIR")
      .check(existing_directory());
  define_commands();
}

void CommandLine::define_commands() {
  for (const Command& command : kCommands) {
    CLI::App* sub = app_.add_subcommand(command.name, command.help)->group(command.group);
    commands_.push_back({sub, command.define(*sub)});
  }
}

void CommandLine::parse(int argc, char** argv) {
  std::vector<std::string> words(argv + 1, argv + argc);
  const size_t place = command_place(words);
  const bool options_only = place == words.size() ||
                            (words[place].starts_with('-') && !asks_about_the_tool(words[place]));
  if (options_only) words.insert(words.begin() + static_cast<ptrdiff_t>(place), kListCommand);
  std::reverse(words.begin(), words.end());
  app_.parse(words);
  if (!config_directory_.empty()) setenv("QEL_CONFIG_DIR", config_directory_.c_str(), 1);
}

ExitCode CommandLine::run() {
  const auto selected = std::find_if(commands_.begin(), commands_.end(),
                                     [](const Defined& command) { return command.app->parsed(); });
  return selected->action();
}

// A word that is no option says more than what is missing because of it.
std::string CommandLine::fault_of(const std::exception& error) const {
  const CLI::App* command = &app_;  // the innermost one that was named
  std::string help = "qelalert";
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands()[0];
    help += " " + command->get_name();
  }
  const std::vector<std::string> left = app_.remaining(true);
  const auto name = std::find_if(left.begin(), left.end(),
                                 [](const std::string& word) { return !word.starts_with("-"); });
  std::string fault = unknown_option(*command, left);
  const bool has_commands = !command->get_subcommands({}).empty();
  if (has_commands && name != left.end()) fault = wrong_command(*command, *name);
  if (fault.empty()) fault = error.what();
  return fault + " (see " + help + " --help)";
}

ExitCode CommandLine::usage_code() const {
  return app_.got_subcommand(kCheckCommand) ? kCheckUsage : kUsage;
}

}  // namespace qel::cli
