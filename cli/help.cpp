#include "help.h"

#include <algorithm>
#include <sstream>
#include <vector>

#include "output/out.h"

namespace qel::cli {
namespace {

constexpr size_t kNamesWidth = 26;
constexpr size_t kUsualWidth = 80;
constexpr size_t kWidthMax = 100;  // longer lines are hard to read

// Lines of whole words; a longer word stands alone.
std::vector<std::string> wrapped(const std::string& text, size_t width) {
  std::vector<std::string> lines(1);
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    std::string& line = lines.back();
    if (line.empty()) {
      line = word;
    } else if (line.size() + 1 + word.size() <= width) {
      line += " " + word;
    } else {
      lines.push_back(word);
    }
  }
  return lines;
}

}  // namespace

HelpFormatter::HelpFormatter() : width_(terminal_width()) {
  width_ = width_ < kUsualWidth ? kUsualWidth : std::min(width_, kWidthMax);
  column_width(kNamesWidth);
}

std::string HelpFormatter::entry(const std::string& names, const std::string& description) const {
  std::string text = "  " + names;
  const std::string indent(kNamesWidth, ' ');
  if (text.size() + 2 > kNamesWidth) {
    text += "\n" + indent;
  } else {
    text.resize(kNamesWidth, ' ');
  }
  const std::vector<std::string> lines = wrapped(description, width_ - kNamesWidth);
  for (size_t i = 0; i < lines.size(); ++i) text += (i > 0 ? "\n" + indent : "") + lines[i];
  return text + "\n";
}

// The groups of options come with two empty lines between them.
std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
  return CLI::detail::find_and_replace(Formatter::make_help(app, std::move(name), mode), "\n\n\n",
                                       "\n\n");
}

std::string HelpFormatter::make_subcommand(const CLI::App* sub) const {
  const std::string help = sub->get_description();
  return entry(sub->get_name(), help.substr(0, help.find('\n')));
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool is_positional) const {
  const std::string names = make_option_name(option, is_positional);
  const size_t comma = names.find(',');
  const std::string spaced = comma == std::string::npos
                                 ? names
                                 : names.substr(0, comma + 1) + " " + names.substr(comma + 1);
  return entry(spaced + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  if (option->get_type_size() == 0) return {};
  std::string text = option->get_type_name().empty() ? "" : " " + option->get_type_name();
  if (!option->get_default_str().empty()) text += "=" + option->get_default_str();
  if (option->get_expected_max() == CLI::detail::expected_max_vector_size) text += " ...";
  return text;
}

}  // namespace qel::cli
