#include "configuration/manual.h"

#include <cctype>

#include "configuration/keys.h"
#include "packaging/man/roff_text.h"

namespace qel::configuration {

namespace {

using man::as_roff;

std::string capitalised(std::string text) {
  text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
  return text;
}

std::string range_of(const Key& key) {
  if (key.lowest == INT_MIN) return {};
  const std::string lowest = ", " + std::to_string(key.lowest);
  return lowest + (key.highest == INT_MAX ? " or more" : " to " + std::to_string(key.highest));
}

std::string levels() {
  std::string listed;
  for (const int level : kLevels) listed += (listed.empty() ? "" : ", ") + std::to_string(level);
  return listed;
}

// What a key takes.
std::string values_of(const Key& key) {
  const std::string bytes = "at most " + std::to_string(key.highest) + " bytes";
  switch (key.kind) {
    case Kind::kNumber:
      return (*key.unit == '\0' ? "Whole number" : capitalised(key.unit)) + range_of(key);
    case Kind::kLevel:
      return "One of " + levels();
    case Kind::kPath:
      return "Absolute path of " + bytes;
    case Kind::kPathBelow:
      return "Path below all/path of " + bytes;
    case Kind::kListen:
      return "Numeric address and port, an IPv6 address in brackets";
    case Kind::kHosts:
      return "Host names without ports, separated by blanks, " + bytes;
    case Kind::kText:
      return "Text of " + bytes;
    case Kind::kElements:
      return key.highest == 1 ? "Once" : "At most " + std::to_string(key.highest) + " times";
  }
  return {};
}

std::string default_of(const Key& key) {
  const std::string standard = key.standard;
  if (key.required)
    return standard.empty() ? " Required." : " Required, normally " + standard + ".";
  if (key.kind == Kind::kElements) return {};
  return " Default " + (standard.empty() ? "none" : standard) + ".";
}

}  // namespace

std::string keys_as_roff(std::string_view section) {
  constexpr std::string_view kRoot = "/root/";
  std::string lines;
  for (const Key& key : kKeys) {
    if (section_of(key.path) != section) continue;
    lines += ".TP\n.B " + as_roff(std::string_view(key.path).substr(kRoot.size())) + "\n";
    lines += as_roff(key.help) + "\n";
    lines += as_roff(values_of(key) + "." + default_of(key)) + "\n";
  }
  return lines;
}

}  // namespace qel::configuration
