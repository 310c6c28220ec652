// The options of a subcommand. The parser's own header takes seconds to compile, so the subcommands
// see this one instead.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace qel::cli {

// What is wrong with a value; empty when nothing is. Behind transform, it may put the value into
// another form.
using ValueCheck = std::function<std::string(std::string& value)>;

// An option of `app` or, when its name has no dash, a word at a certain place. It lives as long as
// `app`; each call tells more of it.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option& type_name(const std::string& name);  // what its value is, in the help
  Option& group(const std::string& heading);
  Option& shows_default();
  Option& hides_default();
  Option& check(const ValueCheck& check);
  Option& transform(const ValueCheck& check);
  Option& required();
  Option& excludes(const Option& other);
  // Of those with several values: one behind each mention, or several with that between them.
  Option& one_each_time();
  Option& delimiter(char between);

 private:
  CLI::Option* option_;
};

// `names` is such as "-n,--lines". The value that is there is the default; it is changed when the
// command line is parsed, so it must live as long as `app`.
Option add_option(CLI::App& app, const std::string& names, std::string& value,
                  const std::string& help);
Option add_option(CLI::App& app, const std::string& names, int& value, const std::string& help);
Option add_option(CLI::App& app, const std::string& names, std::vector<std::string>& values,
                  const std::string& help);
Option add_flag(CLI::App& app, const std::string& names, bool& value, const std::string& help);

// The values go to a function, all at once.
using TakeValues = std::function<void(const std::vector<std::string>& values)>;
Option add_option(CLI::App& app, const std::string& names, const TakeValues& take,
                  const std::string& help);

// The value is a file or directory that is there.
ValueCheck existing_path();
ValueCheck existing_directory();

// Puts examples before the options in the help, and notes behind them.
void add_examples(CLI::App& app, const std::string& examples);
void add_notes(CLI::App& app, const std::string& notes);

// A subcommand of a subcommand; one of them must then be named.
CLI::App& add_subcommand(CLI::App& app, const std::string& name, const std::string& help);

}  // namespace qel::cli
