#include "output/columns.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "alerts/visible_text.h"

namespace qel::cli {
namespace {

constexpr std::string_view kColumnGap = "  ";

std::vector<Row> made_visible(std::vector<Row> rows) {
  for (Row& row : rows) {
    for (std::string& text : row) text = visible(text);
  }
  return rows;
}

// JSON lets DEL and the second set of control characters stand as they are; a terminal might take
// them for commands. Written as numbers they are the same to every reader.
std::string without_controls(const std::string& json) {
  constexpr unsigned char kDelete = 0x7f;
  constexpr unsigned char kSecondSetLead = 0xc2;
  constexpr unsigned char kSecondSetEnd = 0xa0;
  std::string text;
  text.reserve(json.size());
  for (size_t i = 0; i < json.size(); ++i) {
    const auto byte = static_cast<unsigned char>(json[i]);
    const auto next = static_cast<unsigned char>(i + 1 < json.size() ? json[i + 1] : '\0');
    const bool in_second_set = byte == kSecondSetLead && next < kSecondSetEnd;
    if (byte != kDelete && !in_second_set) {
      text += json[i];
      continue;
    }
    char number[8];
    snprintf(number, sizeof number, "\\u%04x", in_second_set ? next : byte);
    text += number;
    if (in_second_set) ++i;
  }
  return text;
}

std::string dump(const Json& document, int indent) {
  return without_controls(document.dump(indent, ' ', false, Json::error_handler_t::replace)) + "\n";
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

std::string json_text(const Json& document) { return dump(document, 2); }

std::string json_line(const Json& document) { return dump(document, -1); }

}  // namespace qel::cli
