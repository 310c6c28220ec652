// The helps of the program and of its subcommands.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace qel::cli {

// A help opens with what the command is for and examples; options stand beside their descriptions,
// which are wrapped at the width of the terminal.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
  // In the overview: only the first line of a subcommand's description.
  std::string make_subcommand(const CLI::App* sub) const override;
  std::string make_option(const CLI::Option* option, bool is_positional) const override;
  // The kind of value, "..." when the option may be repeated, and its default.
  std::string make_option_opts(const CLI::Option* option) const override;

 private:
  // The names beside the description.
  std::string entry(const std::string& names, const std::string& description) const;

  size_t width_;
};

}  // namespace qel::cli
