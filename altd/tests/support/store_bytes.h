// Store files made and taken apart by hand: no code of the library has touched what is in them.
#ifndef QEL_ALTD_TESTS_SUPPORT_STORE_BYTES_H
#define QEL_ALTD_TESTS_SUPPORT_STORE_BYTES_H

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "alert_types.h"
#include "model/formats.h"

namespace alt_test {

inline constexpr int kFailures = 1;
inline constexpr int kMinor = 2;
inline constexpr int kNotable = 4;
inline constexpr int kDetails = 8;
inline constexpr int kTrace = 16;
inline constexpr int kDump = 32;

using Entries = std::vector<alt_model::Entry>;
using Texts = std::vector<std::string>;
using Numbers = std::vector<uint32_t>;

// A descriptor that ends with its scope, unless the library has closed it.
class Opened {
 public:
  explicit Opened(const std::string& path);  // for reading and writing
  Opened(const std::string& path, int flags);
  explicit Opened(int fd) : fd_(fd) {}
  ~Opened();
  Opened(const Opened&) = delete;
  Opened& operator=(const Opened&) = delete;

  operator int() const { return fd_; }
  bool is_open() const;

 private:
  int fd_;
};

// Content of whole files.
std::string log_text(const alt_model::LogHeader& header,
                     const std::vector<ALERT_RECORD_INFO>& records);
std::string index_text(int index, const Entries& entries);

// Writes a log of these records, in this order from line 0, with no index beside it.
void write_log(const std::string& path, uint32_t capacity,
               const std::vector<ALERT_RECORD_INFO>& records, int changed = 0);

// Entries of an index file, as many as its header counts; a file with more or less throws.
Entries read_entries(const std::string& path, int index);
// "key:line", for "srv_alt_id.idx" "key:id:line".
Texts entry_texts(const std::string& path, int index);
Texts entry_texts(int index, const Entries& entries);

// Alert ids of the counted records in the order of their lines.
Numbers log_ids(const std::string& path);

// The path of a store's index file in a directory that ends in "/".
std::string index_path(const std::string& directory, int index);

// Stores an alert as the daemon does; throws when that fails.
void store(const ALERT_RECORD_INFO& record, int islocal = 0);

// An alert with the fields that indexes are made of.
struct Alert {
  uint32_t id;
  std::string server = "node1";
  std::string time = "2024/01/01 00:00:00.000";
  std::string module = "disk";
  std::string event = "1001";
  std::string level = "1";
};
ALERT_RECORD_INFO record_of(const Alert& alert);

}  // namespace alt_test

#endif
