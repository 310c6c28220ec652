// How a command ends, and how it tells the operator.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace qel {

// The exit codes that scripts test.
enum ExitCode {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,         // a wrong option or value; nothing was done
  kNotReachable = 3,  // the alert daemon does not answer
  kIncomplete = 4     // alerts are missing, or other servers are silent or behind
};

// Ends the command with a message and an exit code.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

// Wrong use that only shows itself when the command runs. `option` is as the help names it.
class UsageError : public std::runtime_error {
 public:
  UsageError(const std::string& option, const std::string& fault)
      : std::runtime_error(option + ": " + fault) {}
};

// Writes the program's name, ": " and the text as one line to standard error.
void message(std::string_view text);

// `what`, a colon and the text of the errno value.
std::string with_errno(const std::string& what, int error);

}  // namespace qel
