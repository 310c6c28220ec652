#include "commands/options.h"

#include <algorithm>
#include <charconv>
#include <limits>

#include "alerts/visible_text.h"

namespace qel::cli {
namespace {

// Digits only, without a leading zero: the parser behind would read such a number as octal.
std::string number_fault(const std::string& text, int lowest) {
  constexpr int kMax = std::numeric_limits<int>::max();
  int number = 0;
  const char* const end = text.data() + text.size();
  const std::from_chars_result read = std::from_chars(text.data(), end, number);
  const bool octal = text.size() > 1 && text[0] == '0';
  const bool whole = read.ec == std::errc{} && read.ptr == end && !octal && number >= lowest;
  if (whole) return {};
  return in_quotes(text) + " is not a number from " + std::to_string(lowest) + " to " +
         std::to_string(kMax);
}

ValueCheck one_of(const std::vector<std::string>& words) {
  const auto check = [words](std::string& text) {
    const bool known = std::find(words.begin(), words.end(), text) != words.end();
    return known ? std::string() : in_quotes(text) + " is not one of " + joined(words, "|");
  };
  return check;
}

}  // namespace

std::string joined(const std::vector<std::string>& words, std::string_view between) {
  std::string text;
  for (const std::string& word : words) text.append(text.empty() ? "" : between).append(word);
  return text;
}

Option add_text_option(CLI::App& app, const std::string& names, std::string& text, size_t limit,
                       const std::string& help) {
  const auto check = [limit](std::string& value) { return text_fault(value, limit); };
  return add_option(app, names, text, help + ", " + text_range(limit))
      .type_name("TEXT")
      .check(check);
}

ValueCheck number_from_1() {
  return [](std::string& text) { return number_fault(text, 1); };
}

ValueCheck number_from_0() {
  return [](std::string& text) { return number_fault(text, 0); };
}

Option add_choice(CLI::App& app, const std::string& names, std::string& choice,
                  const std::vector<std::string>& words, const std::string& help) {
  return add_option(app, names, choice, help)
      .type_name(joined(words, "|"))
      .check(one_of(words))
      .shows_default();
}

Option add_choices(CLI::App& app, const std::string& names, std::vector<std::string>& choices,
                   const std::vector<std::string>& words, const std::string& help) {
  return add_option(app, names, choices, help)
      .type_name(joined(words, "|"))
      .one_each_time()
      .check(one_of(words));
}

Option add_level_option(CLI::App& app, std::string& level, const std::string& help) {
  return add_choice(app, "-p,--level", level, {"1", "2", "3"}, help);
}

void add_answer_output_option(CLI::App& app, std::string& output) {
  add_choice(app, "-o,--output", output, {"text", "json"}, "How it is shown");
}

void add_cursor_option(CLI::App& app, std::string& file) {
  add_option(app, "--cursor-file", file,
             "Only what was not shown with this file before; it is made, and then kept up")
      .type_name("FILE");
}

}  // namespace qel::cli
