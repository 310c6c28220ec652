#include "failure.h"

#include <iostream>
#include <system_error>

#include "output/visible_text.h"

namespace qel::cli {

// Messages quote what users and files hold, so they are made harmless for the terminal as well.
void message(std::string_view text) { std::cerr << "qelalert: " << visible(text) << "\n"; }

std::string with_errno(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

}  // namespace qel::cli
