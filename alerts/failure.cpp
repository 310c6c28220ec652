#include "alerts/failure.h"

#include <cerrno>
#include <iostream>
#include <system_error>

#include "alerts/visible_text.h"

namespace qel {

// Messages quote what users and files hold, so they are made harmless for the terminal as well.
void message(std::string_view text) {
  std::cerr << program_invocation_short_name << ": " << visible(text) << "\n";
}

std::string with_errno(const std::string& what, int error) {
  return what + ": " + std::generic_category().message(error);
}

}  // namespace qel
