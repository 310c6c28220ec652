// The diagnostic messages of the library under test.
//
// The test executable defines log_write itself, so that it takes the place of the logging
// library's: nothing of a test depends on where a real log lies or which levels it keeps.
// log_init and log_term stay the real ones.
#ifndef QEL_ALTD_TESTS_SUPPORT_LOG_CAPTURE_H
#define QEL_ALTD_TESTS_SUPPORT_LOG_CAPTURE_H

#include <string>
#include <vector>

namespace alt_test {

struct LogLine {
  int level;
  std::string text;
  std::string function;
};

// One for each process. Lines stand in the order in which they were written; a forked child
// starts with those of its parent and keeps its own.
class LogCapture {
 public:
  static LogCapture& instance();

  // A value for alt_log_handle: the library drops messages while the handle is null.
  void* handle() { return this; }

  // Levels outside the mask are not kept; all are kept by default.
  void set_levels(int mask) { mask_ = mask; }
  void clear() { lines_.clear(); }
  void add(LogLine line);

  const std::vector<LogLine>& lines() const { return lines_; }
  // True when a line of this level has exactly this text.
  bool has(int level, const std::string& text) const;
  // True when a line of this level contains the text.
  bool has_part(int level, const std::string& part) const;
  int count(int level, const std::string& text) const;
  // The texts of one level, in order.
  std::vector<std::string> texts(int level) const;
  // The last lines, for the message of a failed test.
  std::string dump(size_t lines_max = 200) const;

 private:
  int mask_ = ~0;
  std::vector<LogLine> lines_;
};

}  // namespace alt_test

#endif
