#include "parameters.h"

#include <algorithm>
#include <charconv>

#include "alerts/visible_text.h"

namespace qel::web {
namespace {

BadParameter bad(std::string_view name, const std::string& reason) {
  return {BadParameter::Kind::kBad, std::string(name), reason};
}

std::string names_text(const ParameterNames& names) {
  if (names.empty()) return "this takes none";
  std::string text = "known are";
  for (const std::string_view name : names) {
    text += (name == names[0] ? " " : ", ") + std::string(name);
  }
  return text;
}

}  // namespace

Parameters::Parameters(const Request& request, const ParameterNames& known)
    : given_(request.parameters) {
  for (const auto& [name, value] : given_) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    throw BadParameter(BadParameter::Kind::kUnknown, visible(name),
                       "there is no parameter " + in_quotes(name) + "; " + names_text(known));
  }
}

bool Parameters::has(std::string_view name) const {
  return std::any_of(given_.begin(), given_.end(),
                     [name](const NamedText& given) { return given.first == name; });
}

std::vector<std::string> Parameters::texts(std::string_view name) const {
  std::vector<std::string> values;
  for (const auto& [given, value] : given_) {
    if (given == name) values.push_back(value);
  }
  if (values.size() <= kValuesMax) return values;
  throw bad(name, "it is given more than " + std::to_string(kValuesMax) + " times");
}

std::optional<std::string> Parameters::text(std::string_view name, size_t limit) const {
  const std::vector<std::string> values = texts(name);
  if (values.empty()) return std::nullopt;
  if (values.size() > 1) throw bad(name, "it is given more than once");
  if (values[0].empty()) throw bad(name, "it is empty");
  if (values[0].size() > limit) {
    throw bad(name, in_quotes(values[0]) + " is longer than " + std::to_string(limit) + " bytes");
  }
  return values[0];
}

int64_t Parameters::number(std::string_view name, int64_t lowest, int64_t highest,
                           int64_t fallback) const {
  constexpr size_t kLongest = 256;
  const std::optional<std::string> given = text(name, kLongest);
  if (!given.has_value()) return fallback;
  int64_t value = 0;
  const char* const end = given->data() + given->size();
  const auto read = std::from_chars(given->data(), end, value);
  const bool whole = read.ec == std::errc{} && read.ptr == end;
  if (whole && value >= lowest && value <= highest) return value;
  throw bad(name, in_quotes(*given) + " is not a whole number from " + std::to_string(lowest) +
                      " to " + std::to_string(highest));
}

}  // namespace qel::web
