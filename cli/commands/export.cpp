// qelalert export: alerts for other programs.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>

#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "commands/command.h"
#include "commands/options.h"
#include "commands/presentation.h"
#include "commands/selection.h"
#include "common/unique_fd.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert export > alerts.json\n"
    "  qelalert export -o csv --file alerts.csv\n"
    "  qelalert export --since today --utc | jq -r .message";

constexpr char kUsualForm[] = "json";

struct ExportOptions {
  Query query;
  PresentationOptions presentation;
  std::string file;
};

// Standard output goes into a new file, which takes the name of an older one when it is complete.
class FileOutput {
 public:
  explicit FileOutput(const std::string& path) : path_(path), fresh_(path + ".new") {
    if (path.empty()) return;
    const UniqueFd fd(open(fresh_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!fd) throw Failure(kFailed, with_errno("cannot create " + fresh_, errno));
    dup2(fd.get(), STDOUT_FILENO);
  }
  ~FileOutput() {
    if (!path_.empty() && !complete_) unlink(fresh_.c_str());
  }
  FileOutput(const FileOutput&) = delete;
  FileOutput& operator=(const FileOutput&) = delete;

  void complete() {
    flush_output();
    if (path_.empty()) return;
    if (fsync(STDOUT_FILENO) != 0)
      throw Failure(kFailed, with_errno("cannot write " + fresh_, errno));
    if (rename(fresh_.c_str(), path_.c_str()) != 0) {
      throw Failure(kFailed, with_errno("cannot replace " + path_, errno));
    }
    complete_ = true;
  }

 private:
  std::string path_;
  std::string fresh_;
  bool complete_ = false;
};

// Into a file as into any other file, also when the command stands at a terminal.
Presentation presentation_of(const ExportOptions& options) {
  Presentation presentation = presentation_of(options.presentation, kUsualForm);
  if (options.file.empty()) return presentation;
  presentation.terminal = false;
  presentation.width = 0;
  presentation.color = options.presentation.color == "always";
  return presentation;
}

ExitCode export_alerts(const ExportOptions& options) {
  check_period(options.query);
  const Presentation presentation = presentation_of(options);
  const Session session;
  const Snapshot snapshot;
  FileOutput output(options.file);
  AlertPrinter printer(presentation);
  printer.print_batch(snapshot.matching(options.query));
  output.complete();
  return kDone;
}

}  // namespace

Action define_export(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<ExportOptions>();
  add_selection_options(app, options->query);
  add_option(app, "--file", options->file, "Into this file, which is replaced once all is written")
      .type_name("FILE");
  add_presentation_options(app, options->presentation, kUsualForm);
  return [options] { return export_alerts(*options); };
}

}  // namespace qel::cli
