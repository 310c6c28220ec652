// Values of CSV files.
#pragma once

#include <string>

namespace qel {

// The text as a value of a line: between double quotes where it holds a comma, a double quote or a
// line end.
std::string csv_value(const std::string& text);

}  // namespace qel
