#include "verify/record_check.h"

#include <algorithm>
#include <string_view>

#include "alert_log/layout.h"
#include "alerts/time_text.h"
#include "alerts/visible_text.h"

namespace qel::cli {
namespace {

bool is_time(std::string_view text) { return parse_time(text) == text; }

bool is_time_or_none(std::string_view text) { return text.empty() || is_time(text); }

bool is_level(std::string_view text) { return text == "1" || text == "2" || text == "3"; }

bool is_any(std::string_view /*text*/) { return true; }

struct TextColumn {
  const char* name;
  Column place;
  bool (*fits)(std::string_view text);
  const char* form;
};

// A local alert keeps the write time that it brings, also none; that can be read where the id
// before it leaves no blank.
constexpr TextColumn kTexts[] = {
    {"write time", kColumnWriteTime, is_time_or_none, "YYYY/MM/DD HH:MM:SS.mmm"},
    {"raise time", kColumnServerTime, is_time, "YYYY/MM/DD HH:MM:SS.mmm"},
    {"server", kColumnServer, is_any, ""},
    {"module", kColumnModule, is_any, ""},
    {"event id", kColumnEvent, is_any, ""},
    {"level", kColumnLevel, is_level, "1, 2 or 3"},
    {"message", kColumnMessage, is_any, ""}};

bool is_control(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}

std::optional<RecordFault> find_id_fault(const char* line) {
  const std::string_view column(line + kColumnId.begin, kColumnId.width);
  const auto id = static_cast<uint32_t>(take_number(column.data(), column.size()));
  char written[kColumnId.width];
  put_number(written, sizeof written, "%u", id);
  if (column != std::string_view(written, sizeof written)) {
    return RecordFault{kColumnId.begin, "the alert id " + in_quotes(column) + " is no number"};
  }
  if (id == 0) return RecordFault{kColumnId.begin, "the alert id is 0"};
  return std::nullopt;
}

std::optional<RecordFault> find_text_fault(const char* line, const TextColumn& column) {
  const auto [begin, width] = column.place;
  const std::string name = std::string("the ") + column.name;
  size_t length = 0;
  if (!cut_column(line, begin, begin + width, &length)) {
    return RecordFault{begin, name + " is blank"};
  }
  const std::string_view text(line + begin, length);
  const auto* const control = std::find_if(text.begin(), text.end(), is_control);
  if (control != text.end()) {
    const auto at = static_cast<size_t>(control - text.begin());
    return RecordFault{begin + at, name + " holds the byte " + visible(text.substr(at, 1))};
  }
  if (length >= width) return RecordFault{begin, name + " is longer than its column can hold"};
  if (column.fits(text)) return std::nullopt;
  return RecordFault{begin, name + " " + in_quotes(text) + " is not " + column.form};
}

}  // namespace

std::optional<RecordFault> find_record_fault(const char* line) {
  if (line[kRecordText] != '\n') return RecordFault{kRecordText, "the line does not end here"};
  auto fault = find_id_fault(line);
  for (const TextColumn& column : kTexts) {
    if (fault) break;
    fault = find_text_fault(line, column);
  }
  return fault;
}

}  // namespace qel::cli
