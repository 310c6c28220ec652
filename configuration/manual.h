// The table of keys as lines of a manual page.
#pragma once

#include <string>
#include <string_view>

namespace qel::configuration {

// The keys of a section, one of kSections, in the man macros of roff: for each its name, its help,
// what it takes, and its default. The page around them, and the section's heading, are the
// caller's.
std::string keys_as_roff(std::string_view section);

}  // namespace qel::configuration
