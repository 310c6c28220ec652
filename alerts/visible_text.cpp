#include "alerts/visible_text.h"

#include <wchar.h>

#include <cstdio>

namespace qel {
namespace {

constexpr size_t kQuotedCells = 60;  // leaves room for the rest of the message on one line
constexpr std::string_view kCutMark = "...";

// The character at the start of a text. Bytes that are no valid UTF-8 come one at a time.
struct Character {
  char32_t code = 0;
  size_t length = 1;
  bool valid = false;
};

size_t sequence_length(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xc2 && lead <= 0xdf) return 2;
  if (lead >= 0xe0 && lead <= 0xef) return 3;
  if (lead >= 0xf0 && lead <= 0xf4) return 4;
  return 0;
}

bool is_scalar_value(char32_t code, size_t length) {
  constexpr char32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};  // by length: no longer forms
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  return code >= kSmallest[length] && code <= 0x10ffff && !surrogate;
}

Character first_character(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const size_t length = sequence_length(lead);
  if (length == 0 || length > text.size()) return {};
  if (length == 1) return {lead, 1, true};
  char32_t code = lead & (0xffU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xc0U) != 0x80U) return {};
    code = (code << 6U) | (byte & 0x3fU);
  }
  if (!is_scalar_value(code, length)) return {};
  return {code, length, true};
}

bool is_control(char32_t code) { return code < 0x20 || (code >= 0x7f && code <= 0x9f); }

std::string escaped(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    char hex[8];
    snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    text += hex;
  }
  return text;
}

// Wide characters are known only in the locale's character set; elsewhere each counts as one.
size_t cells_of(char32_t code) {
  const int cells = wcwidth(static_cast<wchar_t>(code));
  return cells < 0 ? 1 : static_cast<size_t>(cells);
}

}  // namespace

std::string visible(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const Character next = first_character(text);
    const std::string_view bytes = text.substr(0, next.length);
    if (next.valid && !is_control(next.code)) {
      result += bytes;
    } else {
      result += escaped(bytes);
    }
    text.remove_prefix(next.length);
  }
  return result;
}

std::string in_quotes(std::string_view text) {
  return '"' + cut_to_cells(visible(text), kQuotedCells) + '"';
}

size_t cell_count(std::string_view text) {
  size_t cells = 0;
  while (!text.empty()) {
    const Character next = first_character(text);
    cells += cells_of(next.code);
    text.remove_prefix(next.length);
  }
  return cells;
}

std::string cut_to_cells(std::string_view text, size_t cells) {
  if (cell_count(text) <= cells) return std::string(text);
  const std::string_view mark = kCutMark.substr(0, cells);
  const size_t room = cells - mark.size();
  size_t used = 0;
  size_t end = 0;
  while (end < text.size()) {
    const Character next = first_character(text.substr(end));
    used += cells_of(next.code);
    if (used > room) break;
    end += next.length;
  }
  return std::string(text.substr(0, end)) + std::string(mark);
}

}  // namespace qel
