// Alerts that tests store, and what the program shows of them.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "alert_types.h"

namespace qel::cli::testing {

// An alert with the message "alert <id>", written when it was raised.
ALERT_RECORD_INFO alert(uint32_t id, const std::string& server, const std::string& module,
                        const std::string& event, const std::string& level,
                        const std::string& time);
ALERT_RECORD_INFO alert_with_message(uint32_t id, const std::string& message);

// The objects of lines of JSON; a line that is none throws.
std::vector<nlohmann::json> objects(const std::string& lines);
// Their ids.
std::vector<uint32_t> ids(const std::string& lines);

// The numbers from one to another, upwards or downwards.
std::vector<uint32_t> numbers(uint32_t first, uint32_t last);

// The text as a terminal gets it.
std::string on_terminal(const std::string& text);

std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more);

}  // namespace qel::cli::testing
