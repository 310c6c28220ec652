#include "describe/man_text.h"

#include <algorithm>
#include <cctype>

#include "packaging/man/roff_text.h"

namespace qel::cli::describe {
namespace {

using man::as_roff;
using Commands = std::vector<const CommandFacts*>;
using Options = std::vector<OptionFacts>;

std::string bold(const std::string& text) { return "\\fB" + as_roff(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + as_roff(text) + "\\fR"; }

// CLI11 puts options without a group of their own under this one, and positional ones.
bool is_common_heading(const std::string& group) {
  return group == "Options" || group == "Positionals";
}

std::string in_capitals(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

std::string names_text(const OptionFacts& option) {
  std::string text;
  for (const std::string& name : option.names) {
    text += (text.empty() ? "" : ", ") + (option.is_positional ? italic(name) : bold(name));
  }
  return text;
}

std::string entry(const OptionFacts& option) {
  std::string text = ".TP 4\n" + names_text(option);
  if (!option.type.empty()) text += " " + italic(option.type);
  if (option.repeats) text += " ...";
  text += "\n" + as_roff(option.help);
  if (!option.standard.empty()) text += " Default: " + as_roff(option.standard) + ".";
  if (option.is_required && !option.is_positional) text += " Required.";
  return text + "\n";
}

std::string usage(const CommandFacts& command) {
  std::string text = bold(command.path) + " [" + italic("OPTION") + " ...]";
  for (const OptionFacts& option : command.options) {
    if (!option.is_positional) continue;
    const std::string title = italic(option.names[0]) + (option.repeats ? " ..." : "");
    text += option.is_required ? " " + title : " [" + title + "]";
  }
  return text;
}

// Those that are run: a command with subcommands is only their common name.
Commands runnable(const Tool& tool) {
  Commands commands = with_all_below(tool.root);
  std::erase_if(commands, [](const CommandFacts* command) { return !command->commands.empty(); });
  return commands;
}

const OptionFacts* same_named(const OptionFacts& option, const CommandFacts& command) {
  const auto found =
      std::find_if(command.options.begin(), command.options.end(),
                   [&](const OptionFacts& other) { return other.names == option.names; });
  return found != command.options.end() ? &*found : nullptr;
}

// Whether it can be told once for all: it means the same wherever it is in its group.
bool is_shared(const OptionFacts& option, const Commands& commands) {
  return !is_common_heading(option.group) &&
         std::all_of(commands.begin(), commands.end(), [&](const CommandFacts* command) {
           const OptionFacts* other = same_named(option, *command);
           return other == nullptr || other->group != option.group || *other == option;
         });
}

bool is_among(const OptionFacts& option, const Options& options) {
  return std::find(options.begin(), options.end(), option) != options.end();
}

Options shared_options(const Commands& commands) {
  Options shared;
  for (const CommandFacts* command : commands) {
    for (const OptionFacts& option : command->options) {
      if (!is_among(option, shared) && is_shared(option, commands)) shared.push_back(option);
    }
  }
  return shared;
}

std::vector<std::string> groups_of(const Options& options) {
  std::vector<std::string> groups;
  for (const OptionFacts& option : options) {
    const bool is_new = std::find(groups.begin(), groups.end(), option.group) == groups.end();
    if (is_new) groups.push_back(option.group);
  }
  return groups;
}

// "Filters: -S, -U ...", for each group that the command has shared options of.
std::string references(const CommandFacts& command, const Options& shared) {
  std::string text;
  for (const std::string& group : groups_of(shared)) {
    std::string names;
    for (const OptionFacts& option : shared) {
      if (option.group != group || !is_among(option, command.options)) continue;
      names += (names.empty() ? "" : ", ") + names_text(option);
    }
    if (!names.empty()) {
      text += ".PP\n" + as_roff(group) + ", see " + bold(in_capitals(group)) + ": " + names + ".\n";
    }
  }
  return text;
}

std::string literal(const std::string& lines) {
  return ".PP\n.nf\n" + as_roff(lines.substr(0, lines.find_last_not_of('\n') + 1)) + "\n.fi\n";
}

bool is_help(const OptionFacts& option) {
  return std::find(option.names.begin(), option.names.end(), "--help") != option.names.end();
}

std::string description(const CommandFacts& command, const Options& shared) {
  std::string text = ".PP\n" + usage(command) + "\n.RS 4\n" + as_roff(command.help) + ".\n";
  for (const OptionFacts& option : command.options) {
    if (!is_help(option) && !is_among(option, shared)) text += entry(option);
  }
  text += references(command, shared);
  if (!command.notes.empty()) text += ".PP\n" + as_roff(command.notes) + "\n";
  return text + literal(command.examples) + ".RE\n";
}

std::string global_options(const Tool& tool) {
  std::string text = ".SH GLOBAL OPTIONS\n";
  for (const OptionFacts& option : tool.root.options) text += entry(option);
  return text;
}

std::string shared_sections(const Options& shared) {
  std::string text;
  for (const std::string& group : groups_of(shared)) {
    text += ".SH " + in_capitals(group) + "\n";
    for (const OptionFacts& option : shared) {
      if (option.group == group) text += entry(option);
    }
  }
  return text;
}

// The heading of a nested command is that of the one it stands under.
std::string heading_of(const CommandFacts& command, const Tool& tool) {
  for (const CommandFacts& top : tool.root.commands) {
    if (command.path == top.path || command.path.starts_with(top.path + " ")) return top.group;
  }
  return {};
}

}  // namespace

std::string synopsis_as_roff(const Tool& tool) {
  std::string text;
  for (const CommandFacts* command : runnable(tool)) {
    text += text.empty() ? ".P\n" : ".br\n";
    text += usage(*command) + "\n";
  }
  return text;
}

std::string commands_as_roff(const Tool& tool) {
  const Commands commands = runnable(tool);
  const Options shared = shared_options(commands);
  std::string text = global_options(tool) + ".SH COMMANDS\n";
  std::string heading;
  for (const CommandFacts* command : commands) {
    const std::string next = heading_of(*command, tool);
    if (next != heading) text += ".SS " + as_roff(next) + "\n";
    heading = next;
    text += description(*command, shared);
  }
  return text + shared_sections(shared);
}

}  // namespace qel::cli::describe
