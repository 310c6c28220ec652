// The subcommands. Each is one row of the table in command_line.cpp and one file of its own.
#pragma once

#include <functional>

#include "alerts/failure.h"

namespace CLI {
class App;
}

namespace qel::cli {

// What a subcommand does once its options are parsed. It ends by its exit code, by a Failure, or by
// a UsageError for a value that only shows itself wrong now.
using Action = std::function<ExitCode()>;

struct Command {
  const char* name;
  const char* help;                 // one line
  const char* group;                // its heading in the overview
  Action (*define)(CLI::App& app);  // adds options and examples to `app`
};

Action define_list(CLI::App& app);
Action define_follow(CLI::App& app);
Action define_count(CLI::App& app);
Action define_show(CLI::App& app);
Action define_last(CLI::App& app);
Action define_stats(CLI::App& app);
Action define_gaps(CLI::App& app);
Action define_raise(CLI::App& app);
Action define_peers(CLI::App& app);
Action define_status(CLI::App& app);
Action define_check(CLI::App& app);
Action define_config(CLI::App& app);
Action define_verify(CLI::App& app);
Action define_export(CLI::App& app);
Action define_complete(CLI::App& app);

}  // namespace qel::cli
