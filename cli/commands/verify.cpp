// qelalert verify: whether the log and its indexes are sound.
#include <memory>
#include <string>

#include "commands/command.h"
#include "commands/options.h"
#include "verify/examine.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert verify\n"
    "  qelalert verify /var/backups/alertlog.alt\n"
    "  qelalert verify -v /mnt/copy/log";

constexpr char kNotes[] =
    "Nothing is changed, also beside a running daemon. A sound store is silent; each\n"
    "finding is a line, \"FILE: line N (byte B): what is wrong\". \"Log line\" counts the\n"
    "records from 0, as the indexes do. An index that is missing, or behind the log\n"
    "as the log's header tells, is noted and no finding: it is built at its next use.\n"
    "Exit code 1 with findings or without a log, else 0.";

// Findings of a file: a log that has shifted has one in each line.
constexpr size_t kShownMax = 100;

struct VerifyOptions {
  std::string path;
  bool verbose = false;
};

ExitCode verify(const VerifyOptions& options) {
  const StorePlace place = options.path.empty() ? configured_place() : place_of(options.path);
  const Report report = examine_store(place);
  if (options.verbose) {
    for (const std::string& line : report.examined) message(line);
  }
  print_report(report, options.verbose ? 0 : kShownMax);
  return report.sound() ? kDone : kFailed;
}

}  // namespace

Action define_verify(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<VerifyOptions>();
  add_option(app, "PLACE", options->path,
             "A directory with an alertlog.alt, or a log file (default: the configured log)")
      .type_name("");
  add_flag(app, "-v,--verbose", options->verbose, "Tell what was examined, and every finding");
  add_notes(app, kNotes);
  return [options] { return verify(*options); };
}

}  // namespace qel::cli
