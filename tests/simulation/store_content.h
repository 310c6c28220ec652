// What stands in the store of a simulated server, read from its files.
#pragma once

#include <string>
#include <vector>

#include "model/formats.h"

namespace qel::simulation {

// The counted records of a log, by line; none of an empty text. Throws when one cannot be read.
std::vector<alt_model::Record> parse_log(const std::string& content);
// Those of the log in a store; none without a log.
std::vector<alt_model::Record> read_log(const std::string& store);

}  // namespace qel::simulation
