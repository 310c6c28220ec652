// The parts of the completions that follow from the tool's command line. The functions that they
// call stand in packaging/completions.
#pragma once

#include <string>

#include "describe/command_tree.h"

namespace qel::cli::describe {

// Tables, by the path of a subcommand such as "qelalert config check".
std::string commands_for_bash(const Tool& tool);

// Functions that give the subcommands and the option specifications of _arguments.
std::string commands_for_zsh(const Tool& tool);

// A "complete" for each subcommand and option.
std::string commands_for_fish(const Tool& tool);

// `text` as one word of any of the three, whatever it holds.
std::string quoted(const std::string& text);

}  // namespace qel::cli::describe
