// qelalert: raises and shows the alerts of the cluster.
#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "output/visible_text.h"
#include "suggest.h"

namespace qel::cli {
namespace {

constexpr Command kCommands[] = {
    {"raise", "Raise an alert", define_raise},
    {"list", "Search the alerts, newest first", define_list},
    {"last", "Show the newest alerts", define_last},
    {"status", "Show the state of the alert daemon and of the log", define_status},
    {"peers", "Show the other servers and whose alerts are held", define_peers},
};

constexpr char kExitCodes[] =
    "Exit codes: 0 done, 1 failed, 2 wrong option or value, 3 alert daemon not reachable.";

// The help of a subcommand opens with examples; the overview shows only its first line.
class HelpFormatter : public CLI::Formatter {
 public:
  std::string make_subcommand(const CLI::App* sub) const override {
    const std::string help = sub->get_description();
    std::ostringstream line;
    CLI::detail::format_help(line, sub->get_display_name(true), help.substr(0, help.find('\n')),
                             get_column_width());
    return line.str();
  }
};

struct Defined {
  const CLI::App* app;
  Action action;
};

std::vector<Defined> define_commands(CLI::App& app) {
  std::vector<Defined> defined;
  for (const Command& command : kCommands) {
    CLI::App* sub = app.add_subcommand(command.name, command.help);
    defined.push_back({sub, command.define(*sub)});
  }
  return defined;
}

ExitCode run_selected(const std::vector<Defined>& commands) {
  const auto selected = std::find_if(commands.begin(), commands.end(),
                                     [](const Defined& command) { return command.app->parsed(); });
  return selected->action();
}

std::string wrong_command(const std::string& name) {
  std::vector<std::string_view> names;
  std::string listed;
  for (const Command& command : kCommands) {
    names.emplace_back(command.name);
    listed += (listed.empty() ? "" : ", ") + std::string(command.name);
  }
  const std::string_view nearest = nearest_name(name, names);
  const std::string hint = nearest.empty() ? "; there are: " + listed
                                           : "; did you mean \"" + std::string(nearest) + "\"?";
  return "no subcommand " + in_quotes(name) + hint;
}

// The first word that looks like an option and is none; empty without one.
std::string unknown_option(const std::vector<std::string>& left) {
  const auto option = std::find_if(left.begin(), left.end(), [](const std::string& word) {
    return word.size() > 1 && word.starts_with("-");
  });
  return option != left.end() ? "no option " + in_quotes(*option) : "";
}

// What was wrong on the command line, with the help to look into. A word that is no option says
// more than what is missing because of it.
std::string usage_fault(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<CLI::App*> selected = app.get_subcommands();
  const bool in_command = !selected.empty();
  const std::string help = in_command ? "qelalert " + selected[0]->get_name() : "qelalert";
  const std::vector<std::string> left = app.remaining(true);
  const auto name = std::find_if(left.begin(), left.end(),
                                 [](const std::string& word) { return !word.starts_with("-"); });
  std::string fault = unknown_option(left);
  if (!in_command && name != left.end()) fault = wrong_command(*name);
  if (fault.empty()) fault = error.what();
  return fault + " (see " + help + " --help)";
}

// Data that did not reach its reader must not look like success.
void finish_output() {
  if (!std::cout.flush()) throw Failure(kFailed, "cannot write to standard output");
}

ExitCode run(int argc, char** argv) {
  CLI::App app("Raises and shows the alerts of the cluster.", "qelalert");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_version_flag("--version", "qelalert " QELALERT_VERSION);
  app.footer(kExitCodes);
  app.require_subcommand(1);
  app.fallthrough();
  std::string config_directory;
  app.add_option("--config", config_directory,
                 "Directory of the configuration (default: QEL_CONFIG_DIR, else /etc/qelalert)")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory.description(""));
  const std::vector<Defined> commands = define_commands(app);
  try {
    app.parse(argc, argv);
    if (!config_directory.empty()) setenv("QEL_CONFIG_DIR", config_directory.c_str(), 1);
    const ExitCode code = run_selected(commands);
    finish_output();
    return code;
  } catch (const CLI::Success& help_or_version) {
    (void)app.exit(help_or_version);
    finish_output();
    return kDone;
  } catch (const CLI::ParseError& error) {
    message(usage_fault(app, error));
    return kUsage;
  }
}

}  // namespace
}  // namespace qel::cli

int main(int argc, char** argv) {
  using namespace qel::cli;
  setlocale(LC_CTYPE, "");   // the widths of characters
  signal(SIGXFSZ, SIG_IGN);  // a file at its size limit is told as an error instead
  try {
    return run(argc, argv);
  } catch (const Failure& failure) {
    message(failure.what());
    return failure.code();
  } catch (const std::exception& error) {
    message(error.what());
    return kFailed;
  }
}
