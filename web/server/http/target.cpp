#include "target.h"

#include <algorithm>
#include <charconv>

#include "text.h"

namespace qel::web {

namespace {

std::optional<char> byte_of(std::string_view digits) {
  unsigned char byte = 0;
  const auto [end, code] = std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
  if (digits.size() != 2 || code != std::errc() || end != digits.data() + 2) return {};
  return static_cast<char>(byte);
}

std::optional<std::string> decode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    const auto byte = byte_of(text.substr(i + 1, 2));
    if (!byte) return {};
    decoded += *byte;
    i += 2;
  }
  return decoded;
}

std::optional<std::string> decode_parameter(std::string_view text) {
  std::string with_blanks(text);
  std::replace(with_blanks.begin(), with_blanks.end(), '+', ' ');
  return decode(with_blanks);
}

bool add_parameter(std::string_view text, std::vector<NamedText>* parameters) {
  if (text.empty()) return true;
  const size_t equals = text.find('=');
  auto name = decode_parameter(text.substr(0, equals));
  auto value = decode_parameter(equals == std::string_view::npos ? "" : text.substr(equals + 1));
  if (!name || !value) return false;
  parameters->emplace_back(std::move(*name), std::move(*value));
  return true;
}

}  // namespace

std::optional<Target> parse_target(std::string_view text) {
  if (!text.starts_with('/')) return {};
  const size_t question = text.find('?');
  auto path = decode(text.substr(0, question));
  if (!path) return {};
  Target target{std::move(*path)};
  if (question == std::string_view::npos) return target;
  for (const std::string_view parameter : split(text.substr(question + 1), '&')) {
    if (!add_parameter(parameter, &target.parameters)) return {};
  }
  return target;
}

}  // namespace qel::web
