#include "support/log_capture.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace alt_test {

LogCapture& LogCapture::instance() {
  static LogCapture capture;
  return capture;
}

void LogCapture::add(LogLine line) {
  if ((line.level & mask_) != 0) lines_.push_back(std::move(line));
}

bool LogCapture::has(int level, const std::string& text) const { return count(level, text) > 0; }

bool LogCapture::has_part(int level, const std::string& part) const {
  return std::any_of(lines_.begin(), lines_.end(), [&](const LogLine& line) {
    return line.level == level && line.text.find(part) != std::string::npos;
  });
}

int LogCapture::count(int level, const std::string& text) const {
  return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const LogLine& line) {
    return line.level == level && line.text == text;
  }));
}

std::vector<std::string> LogCapture::texts(int level) const {
  std::vector<std::string> found;
  for (const LogLine& line : lines_) {
    if (line.level == level) found.push_back(line.text);
  }
  return found;
}

std::string LogCapture::dump(size_t lines_max) const {
  const size_t first = lines_.size() - std::min(lines_.size(), lines_max);
  std::string all = first > 0 ? "(" + std::to_string(first) + " earlier lines)\n" : "";
  for (size_t i = first; i < lines_.size(); ++i) {
    const LogLine& line = lines_[i];
    all += "[" + std::to_string(line.level) + "] " + line.function + ": " + line.text + "\n";
  }
  return all;
}

}  // namespace alt_test

// The library looks at errno after it has logged, so it must come out as it went in.
extern "C" __attribute__((format(printf, 7, 8), visibility("default"))) int log_write(
    void* handle, int level, int /*event_id*/, const char* /*file*/, int /*line*/,
    const char* function, const char* format, ...) {
  if (handle == nullptr) return 0;
  const int saved_errno = errno;
  char text[4096];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  if (length >= 0) {
    alt_test::LogCapture::instance().add({level, text, function != nullptr ? function : ""});
  }
  errno = saved_errno;
  return 0;
}
