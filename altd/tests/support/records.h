// Alert records and the numbers of file headers, for tests.
#ifndef QEL_ALTD_TESTS_SUPPORT_RECORDS_H
#define QEL_ALTD_TESTS_SUPPORT_RECORDS_H

#include <cstdint>
#include <string>

#include "alert_types.h"

namespace alt_test {

// An alert with every byte behind its texts zero. It has a write time, since a local record stored
// without one cannot be read back. A text that does not fit its field throws.
ALERT_RECORD_INFO make_record(uint32_t id, const std::string& server, const std::string& module,
                              const std::string& event, const std::string& level,
                              const std::string& server_time, const std::string& message);
// An alert of server "node1" that differs from every other in id, time and message; ids that
// count up have times that count up.
ALERT_RECORD_INFO make_record(uint32_t id);

// Sets a text field of a structure; what does not fit throws.
template <size_t N>
void set_text(char (&field)[N], const std::string& text);
void set_text(char* field, size_t size, const std::string& text);

// The 680 bytes that udp_write_disk takes.
inline const char* image(const ALERT_RECORD_INFO& record) {
  return reinterpret_cast<const char*>(&record);
}

// Every text field and the id of an alert in one line, to compare and to print.
std::string describe(const ALERT_RECORD_INFO& record);

// The number behind the first colon of header line `line` (from 0) of an alert log or index file;
// a header without it throws.
long header_number(const std::string& content, int line);

struct LogNumbers {
  uint32_t max_count;
  uint32_t count;
  uint32_t to_write;
  uint32_t record_size;
  int changed;
  uint32_t current_alert_id;
};
LogNumbers read_log_numbers(const std::string& path);
// Rewrites the isChanged number of an alert log in place.
void set_log_changed(const std::string& path, int changed);

template <size_t N>
void set_text(char (&field)[N], const std::string& text) {
  set_text(field, N, text);
}

}  // namespace alt_test

#endif
