// The parts of the tool's manual page that follow from its command line, in the man macros of roff.
#pragma once

#include <string>

#include "describe/command_tree.h"

namespace qel::cli::describe {

// A line for each subcommand: what may stand behind its name.
std::string synopsis_as_roff(const Tool& tool);

// The sections GLOBAL OPTIONS and COMMANDS, then one for each group of options that several
// subcommands share: there such an option stands once, and its subcommands name it.
std::string commands_as_roff(const Tool& tool);

}  // namespace qel::cli::describe
