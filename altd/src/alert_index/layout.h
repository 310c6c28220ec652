// The bytes of the index files.
#pragma once

#include <sys/types.h>

#include "alert_types.h"
#include "common/fixed_text.h"

namespace qel {

enum IndexType {
  kTimeIndex = 0,
  kServerIndex = 1,
  kModuleIndex = 2,
  kEventIndex = 3,
  kLevelIndex = 4,
  kServerIdIndex = 5,
};

inline constexpr size_t kIndexHeaderLine = 74;  // one of the two header lines, with its line end
inline constexpr size_t kIndexHeader = 2 * kIndexHeaderLine;

inline constexpr size_t kKeyWidth = 65;
inline constexpr size_t kLineWidth = 8;
inline constexpr size_t kIdWidth = 10;
inline constexpr size_t kShortRecord = kKeyWidth + kLineWidth + 1;
inline constexpr size_t kLongRecord = kKeyWidth + kIdWidth + kLineWidth + 1;

inline constexpr size_t index_record_size(int idxtype) {
  return idxtype == kServerIdIndex ? kLongRecord : kShortRecord;
}

inline off_t index_offset(int idxtype, int position) {
  return static_cast<off_t>(kIndexHeader) +
         static_cast<off_t>(position) * static_cast<off_t>(index_record_size(idxtype));
}

// Format one entry of kShortRecord or kLongRecord bytes. The short form prints its line signed.
inline void format_short(char* text, const char (&key)[kKeyWidth], int line) {
  put_text(text, kKeyWidth, key, sizeof key);
  put_number(text + kKeyWidth, kLineWidth, "%d", line);
  text[kShortRecord - 1] = '\n';
}

inline void format_long(char* text, const char (&key)[kKeyWidth], unsigned id, unsigned line) {
  put_text(text, kKeyWidth, key, sizeof key);
  put_number(text + kKeyWidth, kIdWidth, "%u", id);
  put_number(text + kKeyWidth + kIdWidth, kLineWidth, "%u", line);
  text[kLongRecord - 1] = '\n';
}

// Cut one entry. False when a column cannot be cut; the entry is then unchanged.
inline bool parse_short(const char* text, INDEX_RECORD_INFO* entry) {
  size_t key_length;
  size_t line_length;
  if (!cut_column(text, 0, kKeyWidth, &key_length) ||
      !cut_column(text, kKeyWidth, kKeyWidth + kLineWidth, &line_length)) {
    return false;
  }
  take_text(entry->szKeyVal, text, key_length);
  entry->nLine = static_cast<unsigned>(take_number(text + kKeyWidth, line_length));
  return true;
}

inline bool parse_long(const char* text, INDEX_RECORD_INFO* entry) {
  constexpr size_t kLineBegin = kKeyWidth + kIdWidth;
  size_t key_length;
  size_t id_length;
  size_t line_length;
  if (!cut_column(text, 0, kKeyWidth, &key_length) ||
      !cut_column(text, kKeyWidth, kLineBegin, &id_length) ||
      !cut_column(text, kLineBegin, kLineBegin + kLineWidth, &line_length)) {
    return false;
  }
  take_text(entry->szKeyVal, text, key_length);
  entry->alert_id = static_cast<unsigned>(take_number(text + kKeyWidth, id_length));
  entry->nLine = static_cast<unsigned>(take_number(text + kLineBegin, line_length));
  return true;
}

// The key field of an alert in an index.
inline const char* key_of(const ALERT_RECORD_INFO& alert, int idxtype) {
  switch (idxtype) {
    case kTimeIndex:
      return alert.szServerTime;
    case kModuleIndex:
      return alert.szModType;
    case kEventIndex:
      return alert.szEventID;
    case kLevelIndex:
      return alert.szLevel;
    default:
      return alert.szServer;
  }
}

// Below 0, 0 or above 0 as `left` orders before, with or behind `right` in an index.
inline int compare_keys(int idxtype, const char* left, const char* right) {
  if (idxtype != kEventIndex) return strcmp(left, right);
  return static_cast<int>(static_cast<unsigned>(atoi(left)) - static_cast<unsigned>(atoi(right)));
}

}  // namespace qel
