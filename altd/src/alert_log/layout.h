// The bytes of the alert log and of the intake file.
#pragma once

#include <sys/types.h>

#include <cstring>

#include "alert_types.h"
#include "common/fixed_text.h"

namespace qel {

inline constexpr size_t kHeaderSearch = 1024;  // bytes in which the header must end
inline constexpr size_t kRecordText = 683;     // a record line without its line end
inline constexpr size_t kRecordLine = kRecordText + 1;

inline constexpr off_t kIntakeMax = 4194304;  // bytes of the intake above which alerts are refused

// Columns of a record line: where each begins and how wide it is.
struct Column {
  size_t begin;
  size_t width;
};
inline constexpr Column kColumnId = {0, 10};
inline constexpr Column kColumnWriteTime = {10, 24};
inline constexpr Column kColumnServerTime = {34, 24};
inline constexpr Column kColumnServer = {58, 65};
inline constexpr Column kColumnModule = {123, 32};
inline constexpr Column kColumnEvent = {155, 8};
inline constexpr Column kColumnLevel = {163, 8};
inline constexpr Column kColumnMessage = {171, 512};
static_assert(kColumnMessage.begin + kColumnMessage.width == kRecordText);

inline off_t record_offset(int line, int header_length) {
  return static_cast<off_t>(line) * static_cast<off_t>(kRecordLine) + header_length;
}

// Hands each text column with its field of the record to visit(column, field), in line order, until
// one returns false; false then.
template <typename Record, typename Visit>
bool visit_texts(Record& record, Visit visit) {
  return visit(kColumnWriteTime, record.szWriteTime) &&
         visit(kColumnServerTime, record.szServerTime) && visit(kColumnServer, record.szServer) &&
         visit(kColumnModule, record.szModType) && visit(kColumnEvent, record.szEventID) &&
         visit(kColumnLevel, record.szLevel) && visit(kColumnMessage, record.szAlertMessage);
}

// Formats a record as a line of kRecordLine bytes.
inline void format_record(char* line, const ALERT_RECORD_INFO& record) {
  put_number(line + kColumnId.begin, kColumnId.width, "%u", record.alert_id);
  visit_texts(record, [line](const Column& column, const auto& field) {
    put_text(line + column.begin, column.width, field, sizeof field);
    return true;
  });
  line[kRecordText] = '\n';
}

// Cuts a record line into its fields. False when a column cannot be cut; the record's content is
// undefined then.
inline bool parse_record(const char* line, ALERT_RECORD_INFO* record) {
  size_t id_length;
  if (!cut_column(line, kColumnId.begin, kColumnId.width, &id_length)) return false;
  record->alert_id = static_cast<uint32_t>(take_number(line, id_length));
  return visit_texts(*record, [line](const Column& column, auto& field) {
    size_t length;
    if (!cut_column(line, column.begin, column.begin + column.width, &length)) return false;
    take_text(field, line + column.begin, length);
    return true;
  });
}

template <size_t N>
void end_text(char (&field)[N]) {
  field[N - 1] = '\0';
}

// Ends every text of a record within its field: what comes from outside may lack its NUL.
inline void end_texts(ALERT_RECORD_INFO* record) {
  visit_texts(*record, [](const Column&, auto& field) {
    end_text(field);
    return true;
  });
}

}  // namespace qel
