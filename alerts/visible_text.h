// Text for terminals: alerts come from many programs and servers, and their bytes must neither
// break a line nor reach the terminal as commands.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace qel {

// The text with every control character, and every byte that is not valid UTF-8, as \xHH. Other
// characters stay, the backslash too.
std::string visible(std::string_view text);

// The same between double quotes, shortened when it is long: for messages about a value.
std::string in_quotes(std::string_view text);

// Columns that a visible text takes on a terminal.
size_t cell_count(std::string_view text);

// The text if it fits into `cells` columns, else its beginning with "..." at the end.
std::string cut_to_cells(std::string_view text, size_t cells);

}  // namespace qel
