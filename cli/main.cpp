// qelalert: raises and shows the alerts of the cluster.
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include "command_line.h"
#include "output/out.h"

namespace qel::cli {
namespace {

// Help and version are data.
ExitCode print_help(CommandLine& line, const CLI::Success& asked) {
  std::ostringstream text;
  (void)line.app().exit(asked, text, text);
  print(text.str());
  flush_output();
  return kDone;
}

ExitCode run(int argc, char** argv) {
  CommandLine line;
  try {
    line.parse(argc, argv);
    const ExitCode code = line.run();
    flush_output();
    return code;
  } catch (const CLI::Success& help_or_version) {
    return print_help(line, help_or_version);
  } catch (const CLI::ParseError& error) {
    message(line.fault_of(error));
  } catch (const UsageError& error) {
    message(line.fault_of(error));
  }
  return line.usage_code();
}

// What a failed command has found is shown all the same.
void show_the_rest() {
  try {
    flush_output();
  } catch (const std::exception& error) {
    message(error.what());
  }
}

}  // namespace
}  // namespace qel::cli

int main(int argc, char** argv) {
  using namespace qel;
  using namespace qel::cli;
  setlocale(LC_CTYPE, "");             // the widths of characters
  setenv("TZ", ":/etc/localtime", 0);  // else each conversion of a time looks at that file again
  signal(SIGXFSZ, SIG_IGN);            // a file at its size limit is told as an error instead
  signal(SIGPIPE, SIG_IGN);            // so is a reader that has gone
  try {
    return run(argc, argv);
  } catch (const ReaderGone&) {
    return kDone;
  } catch (const Failure& failure) {
    show_the_rest();
    message(failure.what());
    return failure.code();
  } catch (const std::exception& error) {
    message(error.what());
    return kFailed;
  }
}
