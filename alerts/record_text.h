// The texts of a record.
#pragma once

#include <cstring>
#include <string>
#include <string_view>

namespace qel {

// A field's text; a field without its NUL ends at its width.
template <size_t N>
std::string_view field_text(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

// The longest text that a field takes.
template <size_t N>
constexpr size_t text_limit(const char (&)[N]) {
  return N - 1;
}

// What is wrong with a text that a record shall hold in a field of at most `limit` bytes; empty
// when nothing is. A record is one line of fixed columns, so it takes neither blank texts nor
// control characters.
std::string text_fault(std::string_view text, size_t limit);

// "1 to <limit> bytes", as helps and messages tell it.
std::string text_range(size_t limit);

}  // namespace qel
