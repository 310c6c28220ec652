// Texts for the manual pages, for the programs that print parts of them.
#pragma once

#include <string>
#include <string_view>

namespace qel::man {

// `text` as roff shows it: a dash alone would be a hyphen, a dot or a quote at the beginning of a
// line a request.
inline std::string as_roff(std::string_view text) {
  std::string escaped;
  bool begins_line = true;
  for (const char c : text) {
    if (begins_line && (c == '.' || c == '\'')) escaped += "\\&";
    if (c == '\\') {
      escaped += "\\[rs]";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
    begins_line = c == '\n';
  }
  return escaped;
}

}  // namespace qel::man
