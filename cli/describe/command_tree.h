// The subcommands of the tool and their options as the command line defines them, in the form that
// manual page and completions are printed from.
#pragma once

#include <string>
#include <vector>

namespace qel::cli::describe {

struct OptionFacts {
  std::vector<std::string> names;  // "-s", "--server"; of a positional one: its title alone
  std::string help;                // ends with a full stop
  std::string type;                // "TEXT", "text|json" ...; empty for a flag
  std::string standard;            // default; may be empty
  std::string group;               // heading that it stands under
  std::string values;              // what completes its value, see completer.h
  bool is_positional = false;
  bool is_required = false;
  bool repeats = false;
  std::vector<std::string> excluded;  // names of options that it cannot stand beside

  bool operator==(const OptionFacts&) const = default;
  bool takes_value() const { return !type.empty() || is_positional; }
};

struct CommandFacts {
  std::string path;  // "qelalert config check"
  std::string help;  // one line
  std::string group;
  std::string examples;  // lines, indented by two blanks
  std::string notes;
  std::vector<OptionFacts> options;
  std::vector<OptionFacts> inherited;  // those of the tool that may stand behind it as well
  std::vector<CommandFacts> commands;

  std::string name() const { return path.substr(path.rfind(' ') + 1); }
};

struct Tool {
  CommandFacts root;
  std::string default_path;  // of the subcommand that is meant when none is named
};

Tool read_tool();

// The first clause of a help, for a narrow column.
std::string summary_of(const std::string& help);

// All below `command` and itself, from the top.
std::vector<const CommandFacts*> with_all_below(const CommandFacts& command);

}  // namespace qel::cli::describe
