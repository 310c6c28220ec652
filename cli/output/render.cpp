#include "output/render.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

#include "alerts/record_text.h"
#include "output/visible_text.h"

namespace qel::cli {
namespace {

constexpr std::string_view kColumnGap = "  ";

std::vector<size_t> column_widths(const std::vector<Row>& rows) {
  std::vector<size_t> widths;
  for (const Row& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], cell_count(row[i]));
  }
  return widths;
}

std::string padded(const std::string& text, size_t width) {
  return text + std::string(width - cell_count(text), ' ');
}

std::string aligned_line(const Row& row, const std::vector<size_t>& widths) {
  std::string line;
  for (size_t i = 0; i + 1 < row.size(); ++i) {
    line += padded(row[i], widths[i]);
    line += kColumnGap;
  }
  return line + (row.empty() ? "" : row.back());
}

std::vector<Row> made_visible(std::vector<Row> rows) {
  for (Row& row : rows) {
    for (std::string& text : row) text = visible(text);
  }
  return rows;
}

template <size_t N>
std::string text_of(const char (&field)[N]) {
  return std::string(field_text(field));
}

Row table_row(const ALERT_RECORD_INFO& alert) {
  return {text_of(alert.szServerTime), text_of(alert.szLevel),   text_of(alert.szServer),
          text_of(alert.szModType),    text_of(alert.szEventID), text_of(alert.szAlertMessage)};
}

std::string full_block(const ALERT_RECORD_INFO& alert) {
  return align_columns({{"Alert:", std::to_string(alert.alert_id)},
                        {"Raised:", text_of(alert.szServerTime)},
                        {"Written:", text_of(alert.szWriteTime)},
                        {"Level:", text_of(alert.szLevel)},
                        {"Server:", text_of(alert.szServer)},
                        {"Module:", text_of(alert.szModType)},
                        {"Event:", text_of(alert.szEventID)},
                        {"Message:", text_of(alert.szAlertMessage)}},
                       0);
}

Json json_object(const ALERT_RECORD_INFO& alert) {
  return {{"id", alert.alert_id},
          {"event", text_of(alert.szEventID)},
          {"level", text_of(alert.szLevel)},
          {"server", text_of(alert.szServer)},
          {"module", text_of(alert.szModType)},
          {"written", text_of(alert.szWriteTime)},
          {"raised", text_of(alert.szServerTime)},
          {"message", text_of(alert.szAlertMessage)}};
}

}  // namespace

std::string align_columns(const std::vector<Row>& rows, size_t width) {
  const std::vector<Row> texts = made_visible(rows);
  const std::vector<size_t> widths = column_widths(texts);
  std::string table;
  for (const Row& row : texts) {
    const std::string line = aligned_line(row, widths);
    table += width == 0 ? line : cut_to_cells(line, width);
    table += '\n';
  }
  return table;
}

std::string alerts_as_table(Alerts alerts, size_t width) {
  std::vector<Row> rows = {{"RAISED", "LEVEL", "SERVER", "MODULE", "EVENT", "MESSAGE"}};
  std::transform(alerts.begin(), alerts.end(), std::back_inserter(rows), table_row);
  return align_columns(rows, width);
}

std::string alerts_as_full(Alerts alerts) {
  std::string text;
  for (const ALERT_RECORD_INFO& alert : alerts) {
    if (!text.empty()) text += '\n';
    text += full_block(alert);
  }
  return text;
}

Json alerts_as_json(Alerts alerts) {
  Json list = Json::array();
  for (const ALERT_RECORD_INFO& alert : alerts) list.push_back(json_object(alert));
  return list;
}

std::string json_text(const Json& document) {
  return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string alerts_as(std::string_view form, Alerts alerts) {
  if (form == "json") return json_text(alerts_as_json(alerts));
  if (form == "full") return alerts_as_full(alerts);
  return alerts.empty() ? "" : alerts_as_table(alerts, terminal_width());
}

size_t terminal_width() {
  winsize size{};
  if (isatty(STDOUT_FILENO) == 0 || ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) return 0;
  return size.ws_col;
}

}  // namespace qel::cli
