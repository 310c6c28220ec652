// Prints the keys of a section in roff, for the build of the manual pages: print_keys SECTION.
#include <algorithm>
#include <cstdio>
#include <iterator>

#include "configuration/keys.h"
#include "configuration/manual.h"

int main(int argc, char** argv) {
  using namespace qel::configuration;
  const std::string_view section = argc == 2 ? argv[1] : "";
  if (std::find(std::begin(kSections), std::end(kSections), section) == std::end(kSections)) {
    fputs("usage: qel-print-keys all|alert|webalert|cluster\n", stderr);
    return 2;
  }
  const bool printed = fputs(keys_as_roff(section).c_str(), stdout) >= 0 && fflush(stdout) == 0;
  return printed ? 0 : 1;
}
