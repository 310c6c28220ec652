#include <array>
#include <cstdio>
#include <cstdlib>

#include "model/formats.h"

namespace alt_model {
namespace {

constexpr size_t kKeyWidth = 65;
constexpr size_t kLineWidth = 8;
constexpr size_t kIdWidth = 10;
constexpr size_t kHeaderLine = 74;
constexpr size_t kValueMax = 24;

std::string upto_nul(const std::string& bytes) { return bytes.substr(0, bytes.find('\0')); }

std::string without_trailing_blanks(const std::string& text) {
  const size_t last = text.find_last_not_of(' ');
  return last == std::string::npos ? "" : text.substr(0, last + 1);
}

uint32_t number_column(const std::string& text) {
  const std::string digits = upto_nul(without_trailing_blanks(text));
  if (text.find_first_not_of(' ') == std::string::npos) throw Undefined("blank number column");
  return static_cast<uint32_t>(std::strtol(digits.c_str(), nullptr, 10));
}

// One line of an index header, padded with blanks to its line end.
std::string header_line(const std::string& text) {
  std::string line = text;
  line.resize(kHeaderLine - 1, ' ');
  return line + "\n";
}

// The text behind the colon of the line that starts at `begin`; `begin` moves behind the line.
std::optional<std::string> header_value(const std::string& text, size_t* begin) {
  const size_t end = text.find('\n', *begin);
  if (end == std::string::npos) return std::nullopt;
  const std::string line = without_trailing_blanks(text.substr(*begin, end - *begin));
  *begin = end + 1;
  const size_t colon = line.find(':');
  if (colon == std::string::npos) return std::nullopt;
  std::string value = line.substr(colon + 1);
  if (value.size() > kValueMax) return std::nullopt;
  return value;
}

}  // namespace

size_t entry_size(int index) {
  return kKeyWidth + (index == kIdIndex ? kIdWidth : 0) + kLineWidth + 1;
}

size_t entry_offset(int index, int position) {
  if (position < 0) throw Undefined("entry in front of the first");
  return kIndexHeader + entry_size(index) * static_cast<size_t>(position);
}

std::string entry_text(int index, const Entry& entry) {
  char text[256];
  if (index == kIdIndex) {
    std::snprintf(text, sizeof(text), "%-65s%-10u%-8u\n", entry.key.c_str(), entry.id, entry.line);
  } else {
    std::snprintf(text, sizeof(text), "%-65s%-8d\n", entry.key.c_str(),
                  static_cast<int>(entry.line));
  }
  return text;
}

Entry read_entry(const File& file, int index, int position) {
  const std::string text = read_bytes(file, entry_offset(index, position), entry_size(index));
  Entry entry;
  entry.key = upto_nul(without_trailing_blanks(text.substr(0, kKeyWidth)));
  if (entry.key.size() == kKeyWidth) throw Undefined("key as wide as its column");
  size_t begin = kKeyWidth;
  if (index == kIdIndex) {
    entry.id = number_column(text.substr(begin, kIdWidth));
    begin += kIdWidth;
  }
  entry.line = number_column(text.substr(begin, kLineWidth));
  return entry;
}

void write_entry(const File& file, int index, int position, const Entry& entry) {
  write_bytes(file, entry_offset(index, position), entry_text(index, entry));
}

std::string index_count_line(uint32_t count) {
  return header_line("Current count:" + std::to_string(static_cast<int>(count)));
}

std::string index_header_text(const std::string& name, uint32_t count) {
  return header_line("Index field:" + name.substr(0, name.size() - 4)) + index_count_line(count);
}

std::optional<uint32_t> parse_index_header(const File& file) {
  const std::string text = upto_nul(read_bytes(file, 0, kIndexHeader));
  size_t begin = 0;
  const auto name = header_value(text, &begin);
  if (!name) return std::nullopt;
  const auto count = header_value(text, &begin);
  if (!count) return std::nullopt;
  return static_cast<uint32_t>(std::strtol(count->c_str(), nullptr, 10));
}

}  // namespace alt_model
