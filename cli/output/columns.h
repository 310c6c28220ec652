// Tables and JSON documents as text.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qel::cli {

using Json = nlohmann::ordered_json;  // members in the order in which they were added

// One line of a table.
using Row = std::vector<std::string>;

// The rows, all of the same number of columns, with every column but the last as wide as its widest
// text. Lines are cut at `width` terminal columns; 0 cuts nothing. The texts are made visible.
std::string align_columns(const std::vector<Row>& rows, size_t width);

// The same for rows that come in pieces: columns grow from piece to piece and never shrink.
class ColumnAligner {
 public:
  explicit ColumnAligner(size_t width) : width_(width) {}

  // Widens the columns to these rows, whose texts are visible.
  void fit(const std::vector<Row>& rows);

  // A row as a line without its line end.
  std::string line(const Row& row) const;

 private:
  size_t width_;
  std::vector<size_t> columns_;
};

// A document as text that is always valid UTF-8, other bytes become U+FFFD, and without control
// characters but the line ends. Spread over lines, or as one line with its line end.
std::string json_text(const Json& document);
std::string json_line(const Json& document);

}  // namespace qel::cli
