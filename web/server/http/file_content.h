// Whole files in memory.
#pragma once

#include <optional>
#include <string>

namespace qel::web {

// Nothing, with the reason in *error, which names the file, when it cannot be read.
std::optional<std::string> file_content(const std::string& file, std::string* error);

}  // namespace qel::web
