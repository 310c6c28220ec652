// Alerts and tables as text.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "alert_types.h"

namespace qel::cli {

using Alerts = std::span<const ALERT_RECORD_INFO>;
using Json = nlohmann::ordered_json;  // members in the order in which they were added

// One line of a table.
using Row = std::vector<std::string>;

// The rows, all of the same number of columns, with every column but the last as wide as its widest
// text. Lines are cut at `width` terminal columns; 0 cuts nothing. The texts are made visible.
std::string align_columns(const std::vector<Row>& rows, size_t width);

// "table": a title line and one line for each alert.
std::string alerts_as_table(Alerts alerts, size_t width);

// "full": a block of lines for each alert, with an empty line between blocks.
std::string alerts_as_full(Alerts alerts);

// "json": an array of objects.
Json alerts_as_json(Alerts alerts);

// A document as text that is always valid UTF-8: other bytes become U+FFFD.
std::string json_text(const Json& document);

// The alerts in the form named; the table as wide as the terminal. No alerts give no table.
std::string alerts_as(std::string_view form, Alerts alerts);

// Columns of the terminal that standard output is, 0 when it is none.
size_t terminal_width();

}  // namespace qel::cli
