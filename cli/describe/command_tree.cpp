#include "describe/command_tree.h"

#include <CLI/CLI.hpp>
#include <stdexcept>
#include <string_view>

#include "command_line.h"
#include "describe/completer.h"

namespace qel::cli::describe {
namespace {

constexpr char kExamplesTitle[] = "\n\nExamples:\n";  // as add_examples puts it

std::string as_sentence(std::string text) {
  for (size_t at; (at = text.find('\n')) != std::string::npos;) text[at] = ' ';
  return text.empty() || text.back() == '.' ? text : text + ".";
}

std::vector<std::string> names_of(const CLI::Option& option) {
  if (option.get_positional()) return {option.get_name(true)};
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

OptionFacts facts_of(const CLI::Option& option) {
  OptionFacts facts;
  facts.names = names_of(option);
  facts.help = as_sentence(option.get_description());
  facts.type = option.get_type_size() == 0 ? "" : option.get_type_name();
  facts.standard = option.get_default_str();
  facts.group = option.get_group();
  facts.is_positional = option.get_positional();
  facts.is_required = option.get_required();
  facts.repeats = option.get_expected_max() == CLI::detail::expected_max_vector_size;
  for (const CLI::Option* other : option.get_excludes()) {
    for (const std::string& name : names_of(*other)) facts.excluded.push_back(name);
  }
  facts.values = completer_of(facts);
  return facts;
}

CommandFacts facts_of(const CLI::App& app, const std::string& path) {
  CommandFacts facts;
  const std::string text = app.get_description();
  const size_t examples = text.find(kExamplesTitle);
  facts.path = path;
  facts.help = text.substr(0, examples);
  facts.group = app.get_group();
  if (examples != std::string::npos) {
    facts.examples = text.substr(examples + std::string(kExamplesTitle).size());
  }
  if (facts.help.find('\n') != std::string::npos) {
    throw std::logic_error("the description of " + path + " is more than a line and examples");
  }
  facts.notes = app.get_footer();
  for (const CLI::Option* option : app.get_options()) facts.options.push_back(facts_of(*option));
  for (const CLI::App* command : app.get_subcommands({})) {
    if (command->get_group().empty()) continue;  // for programs only
    facts.commands.push_back(facts_of(*command, path + " " + command->get_name()));
  }
  return facts;
}

// CLI11 gives a command the notes of the one above it; here they are told once.
void tell_notes_once(CommandFacts* command) {
  for (CommandFacts& below : command->commands) {
    tell_notes_once(&below);
    if (below.notes == command->notes) below.notes.clear();
  }
}

void inherit(const std::vector<OptionFacts>& options, CommandFacts* command) {
  command->inherited = options;
  for (CommandFacts& below : command->commands) inherit(options, &below);
}

// Asked of the tool itself: what it takes a line without a subcommand for.
std::string default_command() {
  CommandLine line;
  char name[] = "qelalert";
  char* words[] = {name, nullptr};
  line.parse(1, words);
  return line.app().get_subcommands().at(0)->get_name();
}

}  // namespace

Tool read_tool() {
  CommandLine line;
  const std::string name = line.app().get_name();
  Tool tool{facts_of(line.app(), name), name + " " + default_command()};
  tell_notes_once(&tool.root);
  std::vector<OptionFacts> common;
  for (const OptionFacts& option : tool.root.options) {
    if (option.takes_value()) common.push_back(option);
  }
  for (CommandFacts& command : tool.root.commands) inherit(common, &command);
  return tool;
}

std::string summary_of(const std::string& help) {
  int depth = 0;
  for (size_t i = 0; i < help.size(); ++i) {
    depth += (help[i] == '(') - (help[i] == ')');
    const bool is_end = std::string_view(".;:").find(help[i]) != std::string_view::npos &&
                        (i + 1 == help.size() || help[i + 1] == ' ');
    if (is_end && depth == 0) return help.substr(0, i);
  }
  return help;
}

std::vector<const CommandFacts*> with_all_below(const CommandFacts& command) {
  std::vector<const CommandFacts*> all = {&command};
  for (const CommandFacts& below : command.commands) {
    for (const CommandFacts* each : with_all_below(below)) all.push_back(each);
  }
  return all;
}

}  // namespace qel::cli::describe
