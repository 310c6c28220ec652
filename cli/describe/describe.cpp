// Prints a part of the manual page or of a completion, for their build: qel-describe PART. It asks
// the command line itself, so that no text of it is copied by hand.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <iterator>
#include <string>

#include "describe/command_tree.h"
#include "describe/man_text.h"
#include "describe/shell_text.h"

namespace qel::cli::describe {
namespace {

struct Part {
  const char* name;
  std::string (*text)(const Tool& tool);
};

constexpr Part kParts[] = {{"synopsis", synopsis_as_roff},
                           {"commands", commands_as_roff},
                           {"bash", commands_for_bash},
                           {"zsh", commands_for_zsh},
                           {"fish", commands_for_fish}};

int print_part(const std::string& name) {
  const Part* part = std::find_if(std::begin(kParts), std::end(kParts),
                                  [&](const Part& each) { return each.name == name; });
  if (part == std::end(kParts)) {
    fputs("usage: qel-describe synopsis|commands|bash|zsh|fish\n", stderr);
    return 2;
  }
  const std::string text = part->text(read_tool());
  return fputs(text.c_str(), stdout) >= 0 && fflush(stdout) == 0 ? 0 : 1;
}

}  // namespace
}  // namespace qel::cli::describe

int main(int argc, char** argv) {
  try {
    return qel::cli::describe::print_part(argc == 2 ? argv[1] : "");
  } catch (const std::exception& error) {
    fprintf(stderr, "qel-describe: %s\n", error.what());
    return 1;
  }
}
