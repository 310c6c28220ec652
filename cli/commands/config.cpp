// qelalert config: tells what is wrong with the configuration, before a program meets it.
#include "qelxml/xml_file.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "alerts/visible_text.h"
#include "commands/command.h"
#include "commands/options.h"
#include "configuration/check.h"
#include "output/out.h"
#include "suggest.h"

namespace qel::cli {
namespace {

using configuration::Finding;
using configuration::Scope;
using configuration::Severity;

constexpr char kExamples[] =
    "  qelalert config check\n"
    "  qelalert config check /tmp/new-configuration\n"
    "  qelalert config check -q webalert.xml && cp webalert.xml /etc/qelalert/";

constexpr char kCheckNotes[] =
    "Every mistake is a line: FILE:LINE:COLUMN: error: KEY: TEXT. Lines with\n"
    "\"warning\" are for what the programs take and hardly anybody means. Without\n"
    "FILE or DIR, also the directories that the configuration names are looked at.\n"
    "Exit code 1 with an error, else 0.";

struct CheckOptions {
  std::string path;  // empty: the configuration of this host
  bool quiet = false;
};

std::vector<Finding> findings_in(const std::string& path, bool is_own) {
  if (!std::filesystem::is_directory(path)) return configuration::check_file(path, nearest_name);
  const Scope scope = is_own ? Scope::kThisHost : Scope::kFiles;
  return configuration::check_directory(path, scope, nearest_name);
}

ExitCode check_configuration(const CheckOptions& options) {
  const bool is_own = options.path.empty();
  const std::string path = is_own ? configuration_directory() : options.path;
  const std::vector<Finding> findings = findings_in(path, is_own);
  for (const Finding& finding : findings) print(visible(line_of(finding)) + "\n");
  const bool is_valid = std::all_of(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::kWarning;
  });
  if (is_valid && !options.quiet) print("configuration " + visible(path) + " is valid\n");
  return is_valid ? kDone : kFailed;
}

}  // namespace

Action define_config(CLI::App& app) {
  add_examples(app, kExamples);
  CLI::App& check = add_subcommand(app, "check", "Tell every mistake of a configuration at once");
  add_notes(check, kCheckNotes);
  const auto options = std::make_shared<CheckOptions>();
  add_option(check, "PATH", options->path,
             "A directory with the four files, or one of them (default: the configuration of this "
             "host)")
      .type_name("FILE|DIR")
      .check(existing_path());
  add_flag(check, "-q,--quiet", options->quiet, "Print nothing when nothing is wrong");
  return [options] { return check_configuration(*options); };
}

}  // namespace qel::cli
