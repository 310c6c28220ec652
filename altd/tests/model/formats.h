// The bytes of the store's files: alert log header and records, index headers and entries.
//
// Written from the file format alone, with printf and plain cutting by position, and sharing no
// code with the library, so that each can be wrong without the other.
#ifndef QEL_ALTD_TESTS_MODEL_FORMATS_H
#define QEL_ALTD_TESTS_MODEL_FORMATS_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "model/disk.h"

namespace alt_model {

// The operation has no defined outcome on this content; nobody can compare anything.
class Undefined : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

inline constexpr int kIndexCount = 6;
inline constexpr int kTimeIndex = 0;
inline constexpr int kEventIndex = 3;
inline constexpr int kIdIndex = 5;  // server and alert id
inline constexpr const char* kLogName = "alertlog.alt";
inline constexpr const char* kResizeName = "alertlog_tmp.alt";
inline constexpr const char* kIndexNames[kIndexCount] = {
    "time.idx", "server.idx", "module.idx", "event.idx", "level.idx", "srv_alt_id.idx"};
inline constexpr size_t kRecordLine = 684;
inline constexpr size_t kRecordImage = 680;
inline constexpr size_t kIndexHeader = 148;

struct Record {
  uint32_t id = 0;
  std::string event;
  std::string level;
  std::string server;
  std::string module;
  std::string write_time;
  std::string server_time;
  std::string message;

  bool operator==(const Record&) const = default;
};

// From and to the 680 bytes in which a record moves between processes.
Record record_of_image(const std::string& image);
std::string image_of_record(const Record& record);
std::string describe(const Record& record);
// The field that an index is ordered by.
const std::string& key_of(const Record& record, int index);

// ---- the alert log ----------------------------------------------------------------------------

struct LogHeader {
  uint32_t max_count = 0;
  uint32_t count = 0;
  uint32_t to_write = 0;
  uint32_t record_size = 683;
  int changed = 0;
  uint32_t current_id = 0;
};

// The six numeric lines.
std::string header_lines(const LogHeader& header);
// The whole header of a new file.
std::string header_text(const LogHeader& header);
// Nothing when a line is without its end or its colon.
std::optional<LogHeader> parse_header(const File& log);
size_t header_length(const File& log);

std::string record_line(const Record& record);
// Nothing when a column cannot be cut.
std::optional<Record> read_record(const File& log, uint32_t line);

// ---- index files ------------------------------------------------------------------------------

struct Entry {
  std::string key;
  uint32_t line = 0;
  uint32_t id = 0;
};

size_t entry_size(int index);
size_t entry_offset(int index, int position);
std::string entry_text(int index, const Entry& entry);
Entry read_entry(const File& file, int index, int position);
void write_entry(const File& file, int index, int position, const Entry& entry);

std::string index_count_line(uint32_t count);
std::string index_header_text(const std::string& name, uint32_t count);
// The count; nothing when the header of at least 148 bytes cannot be cut.
std::optional<uint32_t> parse_index_header(const File& file);

}  // namespace alt_model

#endif
