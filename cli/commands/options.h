// Options and checks that several subcommands share.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/record_text.h"
#include "commands/option.h"

namespace qel::cli {

// An option for a text that a record shall hold (record_text.h); its help ends with the range.
Option add_text_option(CLI::App& app, const std::string& names, std::string& text, size_t limit,
                       const std::string& help);

// An option check that names the value and what is allowed.
ValueCheck number_from_1();
ValueCheck number_from_0();

// An option that takes one of the words; they stand in its help.
Option add_choice(CLI::App& app, const std::string& names, std::string& choice,
                  const std::vector<std::string>& words, const std::string& help);

// The same for an option that may be repeated.
Option add_choices(CLI::App& app, const std::string& names, std::vector<std::string>& choices,
                   const std::vector<std::string>& words, const std::string& help);

// -p/--level of one alert.
Option add_level_option(CLI::App& app, std::string& level, const std::string& help);

// -o/--output for what the daemon tells: text or json.
void add_answer_output_option(CLI::App& app, std::string& output);

// --cursor-file, for what a script or a viewer has had already.
void add_cursor_option(CLI::App& app, std::string& file);

// The words in one text.
std::string joined(const std::vector<std::string>& words, std::string_view between);

}  // namespace qel::cli
