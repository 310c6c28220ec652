#include "alerts/query.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include "alerts/record_text.h"
#include "alerts/visible_text.h"

namespace qel {
namespace {

bool is_capital(unsigned char c) { return isupper(c) != 0; }

bool admits_text(const Choice<std::string>& choice, std::string_view text) {
  return choice.admits([text](const std::string& value) { return value == text; });
}

bool admits_level(const Choice<LevelRange>& choice, std::string_view level) {
  return choice.admits([level](const LevelRange& range) {
    return level.size() == 1 && range.first <= level && level <= range.last;
  });
}

bool admits_message(const Choice<Pattern>& choice, std::string_view message) {
  if (choice.allowed.empty() && choice.refused.empty()) return true;
  const std::string text(message);
  return choice.admits([&text](const Pattern& pattern) { return pattern.found_in(text.c_str()); });
}

bool admits_part(const Choice<Part>& choice, std::string_view message) {
  return choice.admits([message](const Part& part) { return part.found_in(message); });
}

bool is_level(std::string_view text) { return text == "1" || text == "2" || text == "3"; }

char small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Programs may raise alerts with a shorter time than the full form, such as one without
// milliseconds. It counts as inside as far as it goes: the bound is shortened to it.
bool in_period(const Query& query, std::string_view raised) {
  const std::string_view since = query.since;
  const std::string_view until = query.until;
  return raised >= since.substr(0, raised.size()) &&
         (until.empty() || raised <= until.substr(0, raised.size()));
}

}  // namespace

LevelRange parse_levels(const std::string& text) {
  const size_t dots = text.find("..");
  const LevelRange range = dots == std::string::npos
                               ? LevelRange{text, text}
                               : LevelRange{text.substr(0, dots), text.substr(dots + 2)};
  if (is_level(range.first) && is_level(range.last) && range.first <= range.last) return range;
  throw std::invalid_argument(in_quotes(text) +
                              " is not a level from 1 to 3 or a range such as 1..2");
}

Part::Part(std::string_view text) : small_(text) {
  std::transform(small_.begin(), small_.end(), small_.begin(), small);
}

bool Part::found_in(std::string_view text) const {
  return small_.empty() || std::search(text.begin(), text.end(), small_.begin(), small_.end(),
                                       [](char a, char b) { return small(a) == b; }) != text.end();
}

struct Pattern::Compiled {
  regex_t expression{};
  bool valid = false;

  ~Compiled() {
    if (valid) regfree(&expression);
  }
};

Pattern::Pattern(const std::string& expression) {
  const bool any_case = std::none_of(expression.begin(), expression.end(), is_capital);
  const auto compiled = std::make_shared<Compiled>();
  const int result = regcomp(&compiled->expression, expression.c_str(),
                             REG_EXTENDED | REG_NOSUB | (any_case ? REG_ICASE : 0));
  if (result != 0) {
    char reason[128];
    regerror(result, &compiled->expression, reason, sizeof reason);
    throw std::invalid_argument(reason);
  }
  compiled->valid = true;
  compiled_ = compiled;
}

bool Pattern::found_in(const char* text) const {
  return regexec(&compiled_->expression, text, 0, nullptr, 0) == 0;
}

bool matches(const Query& query, const ALERT_RECORD_INFO& alert) {
  return admits_level(query.level, field_text(alert.szLevel)) &&
         admits_text(query.server, field_text(alert.szServer)) &&
         admits_text(query.module, field_text(alert.szModType)) &&
         admits_text(query.event, field_text(alert.szEventID)) &&
         in_period(query, field_text(alert.szServerTime)) &&
         admits_message(query.message, field_text(alert.szAlertMessage)) &&
         admits_part(query.part, field_text(alert.szAlertMessage));
}

}  // namespace qel
