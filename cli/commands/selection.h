// The filters: the same names in every subcommand that chooses alerts.
#pragma once

#include "alerts/query.h"

namespace CLI {
class App;
}

namespace qel::cli {

// Adds -S/--since, -U/--until, --last, -s/--server, -m/--module, -i/--event, -p/--level and
// -g/--grep; they fill `query`, which must live as long as `app`.
void add_selection_options(CLI::App& app, Query& query);

// -s/--server alone.
void add_server_option(CLI::App& app, Query& query);

// Throws a UsageError when the period ends before it begins. To be called once the
// options are parsed.
void check_period(const Query& query);

}  // namespace qel::cli
