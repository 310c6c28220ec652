// Fixed-width text: the one formatter and the one cutter of every stored line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace qel {

// Writes text of at most `size` bytes left-aligned into a column of `width` bytes that is filled up
// with blanks; what does not fit is cut.
inline void put_text(char* column, size_t width, const char* text, size_t size) {
  const size_t length = strnlen(text, size < width ? size : width);
  memcpy(column, text, length);
  memset(column + length, ' ', width - length);
}

// Writes a formatted number left-aligned into a column.
template <typename Number>
void put_number(char* column, size_t width, const char* format, Number number) {
  char digits[24];
  snprintf(digits, sizeof digits, format, number);
  put_text(column, width, digits, sizeof digits);
}

// The end of the text that stands before line[end]: the position just after the last non-blank
// character, 0 when there is none.
inline size_t text_end(const char* line, size_t end) {
  constexpr uint64_t kEightBlanks = 0x2020202020202020;
  uint64_t word;
  while (end >= sizeof word) {
    memcpy(&word, line + end - sizeof word, sizeof word);
    if (word != kEightBlanks) break;
    end -= sizeof word;
  }
  while (end > 0 && line[end - 1] == ' ') --end;
  return end;
}

// Copies a text of `length` bytes, or up to its first NUL, into a field; the field's rest is zero.
template <size_t N>
void take_text(char (&field)[N], const char* text, size_t length) {
  const size_t kept = strnlen(text, length < N - 1 ? length : N - 1);
  memcpy(field, text, kept);
  memset(field + kept, 0, N - kept);
}

// The decimal number at the start of a text of `length` bytes, as strtol reads it; 0 without
// digits.
inline long take_number(const char* text, size_t length) {
  constexpr size_t kPlainDigits = 18;  // more might not fit a long
  size_t i = 0;
  long number = 0;
  while (i < length && i < kPlainDigits && text[i] >= '0' && text[i] <= '9') {
    number = number * 10 + (text[i++] - '0');
  }
  // Almost every stored number is plain digits to its end; the rest is left to strtol.
  const bool plain = i > 0 && i < kPlainDigits;
  if (plain) return number;
  char digits[24];
  take_text(digits, text, length);
  return strtol(digits, nullptr, 10);
}

// Cuts one column, `begin` to `end`, out of a line: *length is the length of its text. False when
// the step back over blanks runs out of the column.
inline bool cut_column(const char* line, size_t begin, size_t end, size_t* length) {
  const size_t stop = text_end(line, end);
  if (stop < begin) return false;
  *length = stop - begin;
  return true;
}

}  // namespace qel
