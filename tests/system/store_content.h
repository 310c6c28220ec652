// What stands in a store while nobody writes to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "alert_types.h"
#include "support/records.h"

namespace qel::system_test {

// The counted records of a log, by line.
std::vector<ALERT_RECORD_INFO> read_log(const std::string& path);

std::vector<uint32_t> ids_of(const std::vector<ALERT_RECORD_INFO>& alerts);
std::vector<uint32_t> sorted(std::vector<uint32_t> numbers);
// The numbers of raising.h.
std::vector<uint32_t> numbers_of(const std::vector<ALERT_RECORD_INFO>& alerts);
// first, first + 1 ... last
std::vector<uint32_t> counting(uint32_t first, uint32_t last);

// The keys of an index, in its order.
std::vector<std::string> keys_of(const std::string& index_path);

// Empty when each of the six indexes equals a fresh one built from the log of this server; else
// what differs. In "time.idx" alerts of the same time may stand in any order.
std::string index_difference(const std::string& root);

}  // namespace qel::system_test
