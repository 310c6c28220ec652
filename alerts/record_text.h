// The texts of a record.
#pragma once

#include <cstring>
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

}  // namespace qel
