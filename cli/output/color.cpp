#include "output/color.h"

#include <cstdlib>
#include <string_view>

#include "alerts/record_text.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kBoldRed[] = "\x1b[1;31m";
constexpr char kYellow[] = "\x1b[33m";
constexpr char kBold[] = "\x1b[1m";
constexpr char kPlain[] = "\x1b[0m";

std::string in(const char* color, const std::string& line) { return color + line + kPlain; }

std::string_view variable(const char* name) {
  const char* const value = getenv(name);
  return value != nullptr ? value : "";
}

}  // namespace

bool use_color(const std::string& choice) {
  if (choice != "auto") return choice == "always";
  return output_is_terminal() && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}

std::string in_color_of(const ALERT_RECORD_INFO& alert, const std::string& line) {
  const std::string_view level = field_text(alert.szLevel);
  if (level == "1") return in(kBoldRed, line);
  if (level == "2") return in(kYellow, line);
  return line;
}

std::string in_bold(const std::string& line) { return in(kBold, line); }

}  // namespace qel::cli
