#include "commands/option.h"

#include <CLI/CLI.hpp>

namespace qel::cli {

Option& Option::type_name(const std::string& name) {
  option_->type_name(name);
  return *this;
}

Option& Option::group(const std::string& heading) {
  option_->group(heading);
  return *this;
}

Option& Option::shows_default() {
  option_->capture_default_str();
  return *this;
}

Option& Option::hides_default() {
  option_->default_str("");
  return *this;
}

Option& Option::check(const ValueCheck& check) {
  option_->check(CLI::Validator(check, ""));
  return *this;
}

Option& Option::transform(const ValueCheck& check) {
  option_->transform(CLI::Validator(check, ""));
  return *this;
}

Option& Option::required() {
  option_->required();
  return *this;
}

Option& Option::excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Option& Option::one_each_time() {
  option_->allow_extra_args(false);
  return *this;
}

Option& Option::delimiter(char between) {
  option_->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->delimiter(between);
  return *this;
}

Option add_option(CLI::App& app, const std::string& names, std::string& value,
                  const std::string& help) {
  return Option(app.add_option(names, value, help));
}

Option add_option(CLI::App& app, const std::string& names, int& value, const std::string& help) {
  return Option(app.add_option(names, value, help));
}

Option add_option(CLI::App& app, const std::string& names, std::vector<std::string>& values,
                  const std::string& help) {
  return Option(app.add_option(names, values, help));
}

Option add_flag(CLI::App& app, const std::string& names, bool& value, const std::string& help) {
  return Option(app.add_flag(names, value, help));
}

Option add_option(CLI::App& app, const std::string& names, const TakeValues& take,
                  const std::string& help) {
  return Option(app.add_option_function<std::vector<std::string>>(names, take, help));
}

ValueCheck existing_path() {
  return [](std::string& value) { return CLI::ExistingPath(value); };
}

ValueCheck existing_directory() {
  return [](std::string& value) { return CLI::ExistingDirectory(value); };
}

void add_examples(CLI::App& app, const std::string& examples) {
  app.description(app.get_description() + "\n\nExamples:\n" + examples + "\n");
}

void add_notes(CLI::App& app, const std::string& notes) { app.footer(notes); }

CLI::App& add_subcommand(CLI::App& app, const std::string& name, const std::string& help) {
  app.require_subcommand(1);
  return *app.add_subcommand(name, help);
}

}  // namespace qel::cli
