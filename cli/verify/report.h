// What an examination of a store has found.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace qel::cli {

// A place in a file: its line as an editor counts it, from 1, and its byte, from 0.
struct Position {
  size_t line;
  size_t byte;

  bool operator==(const Position&) const = default;
};

// Something in a file that is not as it has to be.
struct Finding {
  Position at;
  std::string what;

  bool operator==(const Finding&) const = default;
};
using Findings = std::vector<Finding>;

struct FileReport {
  std::string path;
  Findings findings;

  bool operator==(const FileReport&) const = default;
};

struct Report {
  std::vector<FileReport> files;      // the log, then each index that is there
  std::vector<std::string> notes;     // worth knowing, but no damage: it is mended at its next use
  std::vector<std::string> examined;  // what was looked at, for the curious

  bool sound() const;
};

// Writes one line for each finding to standard output, at most `shown_max` of a file and a line
// that tells how many more there are; 0 shows all. The notes and the sum go to standard error.
void print_report(const Report& report, size_t shown_max);

}  // namespace qel::cli
