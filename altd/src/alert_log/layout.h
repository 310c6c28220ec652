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

template <size_t N>
void put_column(char* line, const Column& column, const char (&field)[N]) {
  put_text(line + column.begin, column.width, field, N);
}

// Formats a record as a line of kRecordLine bytes.
inline void format_record(char* line, const ALERT_RECORD_INFO& record) {
  put_number(line + kColumnId.begin, kColumnId.width, "%u", record.alert_id);
  put_column(line, kColumnWriteTime, record.szWriteTime);
  put_column(line, kColumnServerTime, record.szServerTime);
  put_column(line, kColumnServer, record.szServer);
  put_column(line, kColumnModule, record.szModType);
  put_column(line, kColumnEvent, record.szEventID);
  put_column(line, kColumnLevel, record.szLevel);
  put_column(line, kColumnMessage, record.szAlertMessage);
  line[kRecordText] = '\n';
}

template <size_t N>
bool take_column(const char* line, const Column& column, char (&field)[N]) {
  size_t length;
  if (!cut_column(line, column.begin, column.begin + column.width, &length)) return false;
  take_text(field, line + column.begin, length);
  return true;
}

// Cuts a record line into its fields. False when a column cannot be cut; the record's content is
// undefined then.
inline bool parse_record(const char* line, ALERT_RECORD_INFO* record) {
  size_t id_length;
  if (!cut_column(line, kColumnId.begin, kColumnId.width, &id_length)) return false;
  record->alert_id = static_cast<uint32_t>(take_number(line, id_length));
  return take_column(line, kColumnWriteTime, record->szWriteTime) &&
         take_column(line, kColumnServerTime, record->szServerTime) &&
         take_column(line, kColumnServer, record->szServer) &&
         take_column(line, kColumnModule, record->szModType) &&
         take_column(line, kColumnEvent, record->szEventID) &&
         take_column(line, kColumnLevel, record->szLevel) &&
         take_column(line, kColumnMessage, record->szAlertMessage);
}

template <size_t N>
void end_text(char (&field)[N]) {
  field[N - 1] = '\0';
}

// Ends every text of a record within its field: what comes from outside may lack its NUL.
inline void end_texts(ALERT_RECORD_INFO* record) {
  end_text(record->szEventID);
  end_text(record->szLevel);
  end_text(record->szServer);
  end_text(record->szModType);
  end_text(record->szWriteTime);
  end_text(record->szServerTime);
  end_text(record->szAlertMessage);
}

}  // namespace qel
