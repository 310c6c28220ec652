#include "describe/shell_text.h"

#include <algorithm>

namespace qel::cli::describe {
namespace {

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Everything that may stand behind a command: its own options, and what it has from the tool.
std::vector<OptionFacts> all_options(const CommandFacts& command) {
  std::vector<OptionFacts> options = command.options;
  options.insert(options.end(), command.inherited.begin(), command.inherited.end());
  return options;
}

std::string joined(const std::vector<std::string>& words, const std::string& between = " ") {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

// ---- bash ---------------------------------------------------------------------------------------

std::string bash_row(const std::string& key, const std::string& value) {
  return "  [" + quoted(key) + "]=" + quoted(value) + "\n";
}

std::string names_of_commands(const CommandFacts& command) {
  std::vector<std::string> names;
  for (const CommandFacts& below : command.commands) names.push_back(below.name());
  return joined(names);
}

std::string names_of_options(const CommandFacts& command) {
  std::vector<std::string> names;
  for (const OptionFacts& option : all_options(command)) {
    if (!option.is_positional) names.insert(names.end(), option.names.begin(), option.names.end());
  }
  return joined(names);
}

// A positional value has the key of its command and a blank.
std::string bash_values(const CommandFacts& command) {
  std::string rows;
  for (const OptionFacts& option : all_options(command)) {
    if (!option.takes_value()) continue;
    for (const std::string& name : option.names) {
      rows += bash_row(command.path + " " + (option.is_positional ? "" : name), option.values);
    }
  }
  return rows;
}

// ---- zsh ----------------------------------------------------------------------------------------

std::string zsh_command(const CommandFacts& command) {
  return "      " + quoted(command.name() + ":" + replaced(command.help, ":", "\\:")) + "\n";
}

// ":message:action"; the blank before the action lets _arguments call it as it stands here. Without
// one, nothing at all would be offered where a positional value may stand, not even options.
std::string zsh_value(const OptionFacts& option, const std::string& message) {
  const std::string action = option.values.empty() ? "()" : " _qelalert_value " + option.values;
  return ":" + replaced(message, ":", "\\:") + ":" + action;
}

std::string zsh_exclusion(const OptionFacts& option) {
  std::vector<std::string> names = option.excluded;
  if (!option.repeats) names.insert(names.end(), option.names.begin(), option.names.end());
  return names.empty() ? "" : "(" + joined(names) + ")";
}

// A value stands behind a short option, and behind a long one with or without "=".
std::string zsh_name(const OptionFacts& option, const std::string& name) {
  if (!option.takes_value()) return name;
  return name + (name.starts_with("--") ? "=" : "+");
}

std::string zsh_options(const OptionFacts& option) {
  if (option.is_positional) {
    return "      " + quoted((option.repeats ? "*" : "") + zsh_value(option, option.names[0])) +
           "\n";
  }
  const std::string help = replaced(summary_of(option.help), "\\", "\\\\");
  std::string rows;
  for (const std::string& name : option.names) {
    const std::string value = option.takes_value() ? zsh_value(option, option.type) : "";
    rows += "      " +
            quoted((option.repeats ? "*" : "") + zsh_exclusion(option) + zsh_name(option, name) +
                   "[" + replaced(replaced(help, "[", "\\["), "]", "\\]") + "]" + value) +
            "\n";
  }
  return rows;
}

// ---- fish ---------------------------------------------------------------------------------------

std::string fish_condition(const std::string& path, const Tool& tool) {
  std::string condition = "__qelalert_at " + path;
  if (path == tool.default_path) condition += "; or __qelalert_at " + tool.root.path;
  return "complete -c " + tool.root.path + " -n " + quoted(condition);
}

std::string fish_value(const OptionFacts& option) {
  if (option.values == "files") return " -r -F";
  const std::string arguments =
      option.values.empty() ? "" : " -a " + quoted("(__qelalert_value " + option.values + ")");
  return (option.is_positional ? "" : " -x") + arguments;
}

std::string fish_option(const OptionFacts& option) {
  if (option.is_positional) {
    const bool has_values = !option.values.empty();
    return has_values ? (option.values == "files" ? " -F" : fish_value(option)) : "";
  }
  std::string text;
  for (const std::string& name : option.names) {
    const bool is_long = name.starts_with("--");
    text += (is_long ? " -l " : " -s ") + name.substr(is_long ? 2 : 1);
  }
  if (option.takes_value()) text += fish_value(option);
  return text + " -d " + quoted(summary_of(option.help));
}

std::string fish_lines(const CommandFacts& command, const Tool& tool) {
  std::string lines;
  for (const CommandFacts& below : command.commands) {
    lines += fish_condition(command.path, tool) + " -a " + below.name() + " -d " +
             quoted(below.help) + "\n";
  }
  for (const OptionFacts& option : all_options(command)) {
    const std::string text = fish_option(option);
    if (!text.empty()) lines += fish_condition(command.path, tool) + text + "\n";
  }
  return lines;
}

}  // namespace

std::string quoted(const std::string& text) {
  std::string inner;
  for (const char c : text) {
    const bool is_special = c == '\'' || c == '\\';
    inner += is_special ? std::string("'\\") + c + "'" : std::string(1, c);
  }
  return "'" + inner + "'";
}

std::string commands_for_bash(const Tool& tool) {
  std::string commands;
  std::string options;
  std::string values;
  for (const CommandFacts* command : with_all_below(tool.root)) {
    if (!command->commands.empty())
      commands += bash_row(command->path, names_of_commands(*command));
    options += bash_row(command->path, names_of_options(*command));
    values += bash_values(*command);
  }
  return "declare -g _qelalert_default=" + quoted(tool.default_path) +
         "\ndeclare -gA _qelalert_commands=(\n" + commands +
         ")\ndeclare -gA _qelalert_options=(\n" + options +
         ")\n# What completes the value behind an option, and behind the subcommand itself.\n"
         "declare -gA _qelalert_values=(\n" +
         values + ")\n";
}

std::string commands_for_zsh(const Tool& tool) {
  std::string text = "typeset -g _qelalert_default=" + quoted(tool.default_path) +
                     "\n_qelalert_tables() {\n  case $1 in\n";
  for (const CommandFacts* command : with_all_below(tool.root)) {
    text += "  (" + quoted(command->path) + ")\n    commands=(\n";
    for (const CommandFacts& below : command->commands) text += zsh_command(below);
    text += "    )\n    specs=(\n";
    for (const OptionFacts& option : all_options(*command)) text += zsh_options(option);
    text += "    )\n    ;;\n";
  }
  return text + "  esac\n}\n";
}

std::string commands_for_fish(const Tool& tool) {
  std::string functions = "set -g __qelalert_default " + quoted(tool.default_path) +
                          "\nfunction __qelalert_commands\n    switch $argv[1]\n";
  std::string lines;
  for (const CommandFacts* command : with_all_below(tool.root)) {
    if (!command->commands.empty()) {
      functions += "        case " + quoted(command->path) + "\n            printf '%s\\n' " +
                   names_of_commands(*command) + "\n";
    }
    lines += fish_lines(*command, tool);
  }
  return functions + "    end\nend\n" + lines;
}

}  // namespace qel::cli::describe
