// The command line of qelalert: its subcommands, options and helps.
#pragma once

#include <CLI/CLI.hpp>
#include <exception>
#include <string>
#include <vector>

#include "commands/command.h"

namespace qel::cli {

class CommandLine {
 public:
  CommandLine();

  // Throws as CLI::App::parse does. Without a subcommand it is "list".
  void parse(int argc, char** argv);

  // Runs the subcommand that was parsed.
  ExitCode run();

  // What was wrong, with the help to look into.
  std::string fault_of(const std::exception& error) const;
  // The exit code of a wrong option or value.
  ExitCode usage_code() const;

  CLI::App& app() { return app_; }

 private:
  struct Defined {
    const CLI::App* app;
    Action action;
  };

  void define_commands();

  CLI::App app_;
  std::string config_directory_;
  std::vector<Defined> commands_;
};

}  // namespace qel::cli
