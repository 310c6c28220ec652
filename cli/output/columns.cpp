#include "output/columns.h"

#include <algorithm>
#include <string_view>

#include "output/visible_text.h"

namespace qel::cli {
namespace {

constexpr std::string_view kColumnGap = "  ";

std::vector<Row> made_visible(std::vector<Row> rows) {
  for (Row& row : rows) {
    for (std::string& text : row) text = visible(text);
  }
  return rows;
}

}  // namespace

void ColumnAligner::fit(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    columns_.resize(std::max(columns_.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) columns_[i] = std::max(columns_[i], cell_count(row[i]));
  }
}

std::string ColumnAligner::line(const Row& row) const {
  std::string line;
  for (size_t i = 0; i < row.size(); ++i) {
    line += row[i];
    if (i + 1 == row.size()) break;
    line.append(columns_[i] - cell_count(row[i]), ' ');
    line += kColumnGap;
  }
  return width_ == 0 ? line : cut_to_cells(line, width_);
}

std::string align_columns(const std::vector<Row>& rows, size_t width) {
  const std::vector<Row> texts = made_visible(rows);
  ColumnAligner aligner(width);
  aligner.fit(texts);
  std::string table;
  for (const Row& row : texts) table += aligner.line(row) + '\n';
  return table;
}

std::string json_text(const Json& document) {
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string json_line(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qel::cli
