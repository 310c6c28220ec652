#include "intake_line.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "alert_udp.h"
#include "log.h"

namespace qel::daemon {

namespace {

constexpr char kStampMark = 'x';
constexpr size_t kStampDigits = 8;

bool holds_stamp(const char* column) {
  if (column[0] != kStampMark || column[kStampDigits + 1] != ' ') return false;
  for (size_t i = 1; i <= kStampDigits; ++i) {
    if (isxdigit(static_cast<unsigned char>(column[i])) == 0) return false;
  }
  return true;
}

// A kill can tear even the write of a stamp: its head stands before the rest of the decimal id
// then.
bool holds_torn_stamp(const char* column) {
  if (column[0] != kStampMark) return false;
  for (size_t i = 1; i < kStampSize; ++i) {
    if (column[i] != ' ' && isxdigit(static_cast<unsigned char>(column[i])) == 0) return false;
  }
  return true;
}

// Decimal digits, at least one, then blanks.
bool holds_decimal(const char* column) {
  size_t i = 0;
  while (i < kStampSize && isdigit(static_cast<unsigned char>(column[i])) != 0) ++i;
  return i > 0 && text_end(column, kStampSize) == i;
}

void keep_under_local_name(ALERT_RECORD_INFO* record) {
  const bool alone = server_list_head == nullptr || server_list_head->next == nullptr;
  if (alone || record->szServer[0] == '\0') return;
  const char* local = local_svr->svr_name;
  if (strcmp(record->szServer, local) == 0) return;
  DAEMON_LOG(kNotable, "an alert names the server %s: kept under this server's name",
             record->szServer);
  take_text(record->szServer, local, strlen(local));
}

}  // namespace

LineForm form_of(const char* text) {
  if (text[kIntakeLine - 1] != '\n') return LineForm::kBroken;
  if (holds_stamp(text)) return LineForm::kStamped;
  const bool unstamped = holds_decimal(text) || holds_torn_stamp(text);
  return unstamped ? LineForm::kNew : LineForm::kBroken;
}

ALERT_RECORD_INFO parse_line(const char* text) {
  ALERT_RECORD_INFO record = {};
  if (holds_stamp(text)) {
    record.alert_id = static_cast<uint32_t>(strtoul(text + 1, nullptr, 16));
  }
  visit_texts(record, [text](const Column& column, auto& field) {
    const size_t stop = text_end(text, column.begin + column.width);
    take_text(field, text + column.begin, stop > column.begin ? stop - column.begin : 0);
    return true;
  });
  keep_under_local_name(&record);
  return record;
}

void format_stamp(char* column, uint32_t alert_id) {
  char text[kStampSize + 1];
  snprintf(text, sizeof text, "%c%08X ", kStampMark, alert_id);
  memcpy(column, text, kStampSize);
}

size_t next_whole_line(const char* data, size_t size) {
  for (size_t start = 1; start + kIntakeLine <= size; ++start) {
    if (form_of(data + start) != LineForm::kBroken) return start;
  }
  return size;
}

size_t broken_length(const char* data, size_t size, bool at_file_end) {
  const size_t next = next_whole_line(data, size);
  if (next < size || at_file_end) return next;
  return size - std::min(size, kIntakeLine - 1);
}

}  // namespace qel::daemon
