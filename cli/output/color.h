// Colours on the terminal.
#pragma once

#include <string>

#include "alert_types.h"

namespace qel::cli {

// Whether standard output gets colours. `choice`: "always", "never", or "auto": on a terminal that
// knows them (TERM is not "dumb"), unless the environment has a NO_COLOR that is not empty.
bool use_color(const std::string& choice);

// The line in the colour of the alert's level: 1 bold red, 2 yellow, others plain.
std::string in_color_of(const ALERT_RECORD_INFO& alert, const std::string& line);

std::string in_bold(const std::string& line);

}  // namespace qel::cli
