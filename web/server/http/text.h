// Small questions about the texts of HTTP headers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qel::web {

// Letters of ASCII only: what a locale says about the others means nothing in HTTP.
std::string lower_case(std::string_view text);
bool same_but_for_case(std::string_view a, std::string_view b);

// Without blanks and tabs at both ends.
std::string_view trim(std::string_view text);

// The parts between the separators; one when there is none.
std::vector<std::string_view> split(std::string_view text, char separator);

}  // namespace qel::web
