#include "qellog.h"

#include <spdlog/details/log_msg.h>

#include <bit>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "common/environment.h"
#include "log_sinks.h"

namespace {

constexpr size_t kTextMax = 4096;
constexpr const char* kDefaultDirectory = "/var/log/qelalert";

class KeepErrno {
 public:
  KeepErrno() = default;
  ~KeepErrno() { errno = errno_; }
  KeepErrno(const KeepErrno&) = delete;
  KeepErrno& operator=(const KeepErrno&) = delete;

 private:
  const int errno_ = errno;
};

struct Log {
  Log(const std::string& log_name, const std::string& path, int level_mask, off_t max_bytes)
      : name(log_name), levels(levels_up_to(level_mask)), file(path, max_bytes) {
    if (qel::JournalSink::is_connected()) {
      journal.emplace(name);
    }
  }

  static unsigned levels_up_to(int level_mask) {
    const unsigned highest = std::bit_floor(static_cast<unsigned>(level_mask));
    return highest == 0 ? 0 : highest | (highest - 1);
  }

  const std::string name;
  const unsigned levels; /* bits of the levels that are written */
  qel::FileSink file;
  std::optional<qel::JournalSink> journal;
};

bool is_file_name(const char* name) {
  return name != nullptr && name[0] != '\0' && std::strchr(name, '/') == nullptr;
}

/* Absolute, so that the log stays where it is when the process changes its directory. Empty when
 * there is no such directory and it cannot be made. */
std::filesystem::path usable_directory(const char* wanted) {
  const bool given = wanted != nullptr && wanted[0] != '\0';
  const char* name = given ? wanted : qel::environment_or("QEL_LOG_DIR", kDefaultDirectory);
  std::error_code failure;
  std::filesystem::path directory = std::filesystem::absolute(name, failure);
  if (failure) {
    return {};
  }
  std::filesystem::create_directories(directory, failure);
  return std::filesystem::is_directory(directory, failure) ? directory : std::filesystem::path();
}

int open_log(const char* name, void** handle, int level_mask, int max_bytes, const char* dir) {
  const std::filesystem::path directory = usable_directory(dir);
  if (directory.empty()) {
    return QELLOG_E_DIRECTORY;
  }
  const std::string path = directory / (std::string(name) + ".log");
  auto log = std::make_unique<Log>(name, path, level_mask, max_bytes);
  if (!log->file.open()) {
    return QELLOG_E_FILE;
  }
  *handle = log.release();
  return 0;
}

/* The text with its control characters as \xHH: a line of the log stays one line whatever it
 * reports, and no text acts on the terminal it is read on. */
std::string printable(std::string_view text) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  std::string result;
  result.reserve(text.size());
  for (const char c : text) {
    const unsigned byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      result += c;
    } else {
      result.append({'\\', 'x', kHex[byte >> 4], kHex[byte & 0xF]});
    }
  }
  return result;
}

bool deliver(spdlog::sinks::sink& sink, const spdlog::details::log_msg& line) {
  try {
    if (sink.should_log(line.level)) {
      sink.log(line);
    }
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

/* The journal gets the line also when the file does not. */
bool write_line(Log& log, spdlog::source_loc where, int level, int eid, std::string_view text) {
  const spdlog::level::level_enum severity = qel::severity_of(level);
  if (severity == spdlog::level::off) {
    return false;
  }
  std::string content = eid != 0 ? "eid=" + std::to_string(eid) + " " : "";
  content += printable(text);
  const spdlog::details::log_msg line(where, log.name, severity, content);
  if (log.journal) {
    (void)deliver(*log.journal, line);
  }
  return deliver(log.file, line);
}

}  // namespace

int log_init(const char* name, void** handle, int level_mask, int max_bytes, const char* dir) {
  if (!is_file_name(name) || handle == nullptr || max_bytes < 1) {
    return QELLOG_E_ARGUMENT;
  }
  const KeepErrno keep;
  try {
    return open_log(name, handle, level_mask, max_bytes, dir);
  } catch (const std::exception&) {
    return QELLOG_E_MEMORY;
  }
}

int log_write(void* handle, int level, int eid, const char* file, int line, const char* func,
              const char* format, ...) {
  auto* log = static_cast<Log*>(handle);
  if (log == nullptr || (static_cast<unsigned>(level) & log->levels) == 0) {
    return 0;
  }
  const KeepErrno keep;
  char text[kTextMax + 1];
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (length < 0) {
    return -1;
  }
  const spdlog::source_loc where(file != nullptr ? file : "", line, func != nullptr ? func : "");
  try {
    return write_line(*log, where, level, eid, text) ? 0 : -1;
  } catch (const std::exception&) {
    return -1;
  }
}

int log_term(void* handle) {
  delete static_cast<Log*>(handle);
  return 0;
}
