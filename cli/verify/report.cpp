#include "verify/report.h"

#include <algorithm>

#include "alerts/failure.h"
#include "alerts/visible_text.h"
#include "output/out.h"

namespace qel::cli {
namespace {

std::string line_of(const Finding& finding) {
  return "line " + std::to_string(finding.at.line) + " (byte " + std::to_string(finding.at.byte) +
         "): " + finding.what;
}

void print_file(const FileReport& file, size_t shown_max) {
  const size_t count = file.findings.size();
  const size_t shown = shown_max == 0 ? count : std::min(count, shown_max);
  const std::string head = visible(file.path) + ": ";
  for (size_t i = 0; i < shown; ++i) print(head + line_of(file.findings[i]) + "\n");
  if (shown < count) {
    print(head + std::to_string(count - shown) + " more findings (--verbose shows all)\n");
  }
}

std::string counted(size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string sum_of(const Report& report) {
  size_t findings = 0;
  size_t damaged = 0;
  for (const FileReport& file : report.files) {
    findings += file.findings.size();
    if (!file.findings.empty()) ++damaged;
  }
  return counted(findings, "finding") + " in " + counted(damaged, "file");
}

}  // namespace

bool Report::sound() const {
  return std::all_of(files.begin(), files.end(),
                     [](const FileReport& file) { return file.findings.empty(); });
}

void print_report(const Report& report, size_t shown_max) {
  for (const FileReport& file : report.files) print_file(file, shown_max);
  for (const std::string& note : report.notes) message(note);
  if (report.sound()) return;
  message(sum_of(report));
  if (report.files[0].findings.empty()) {
    message("the log itself is sound: an index that is deleted is built again from it");
  }
}

}  // namespace qel::cli
