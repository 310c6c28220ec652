// What completes the value of an option, in words that the completion of each shell knows:
//   words WORD...   one of the words
//   list WORD...    some of them with commas between
//   live FIELD      a value of that field in the alert log
//   choice FIELD    the same, and with "!" before it what is not wanted
//   files           a file
//   directories     a directory
// Nothing for texts that nobody can foresee.
#pragma once

#include <string>

#include "describe/command_tree.h"

namespace qel::cli::describe {

// From the option's names, type and group.
std::string completer_of(const OptionFacts& option);

}  // namespace qel::cli::describe
