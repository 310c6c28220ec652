#include "log_sinks.h"

#include <spdlog/pattern_formatter.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <bit>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string_view>
#include <utility>

namespace qel {

namespace {

using spdlog::level::level_enum;

struct Severity {
  level_enum severity;
  std::string_view word;         /* in the file; all of one width */
  std::string_view journal_mark; /* syslog priority; empty: not for the journal */
};

/* By the number of the level's bit. */
constexpr Severity kSeverities[] = {
    {spdlog::level::critical, "FAIL ", "<3>"}, {spdlog::level::err, "MINOR", "<4>"},
    {spdlog::level::warn, "NOTE ", "<5>"},     {spdlog::level::info, "INFO ", ""},
    {spdlog::level::debug, "TRACE", ""},       {spdlog::level::trace, "DUMP ", ""},
};

const Severity& row_of(level_enum severity) {
  return kSeverities[spdlog::level::critical - severity];
}

void append_to(spdlog::memory_buf_t& line, std::string_view text) {
  line.append(text.data(), text.data() + text.size());
}

std::string_view view_of(const spdlog::memory_buf_t& line) { return {line.data(), line.size()}; }

class SeverityWord final : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& msg, const std::tm& /*time*/,
              spdlog::memory_buf_t& line) override {
    append_to(line, row_of(msg.level).word);
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<SeverityWord>();
  }
};

/* The time is written as in the alerts themselves, so that both can be compared by eye. */
std::unique_ptr<spdlog::formatter> file_formatter() {
  auto formatter = std::make_unique<spdlog::pattern_formatter>();
  formatter->add_flag<SeverityWord>('*').set_pattern("%Y/%m/%d %H:%M:%S.%e [%P] %* %s:%# %!: %v");
  return formatter;
}

/* The journal itself knows time and process. A "%" of the name would start a flag. */
std::unique_ptr<spdlog::formatter> journal_formatter(const std::string& name) {
  std::string pattern;
  for (const char c : name) {
    pattern.append(c == '%' ? 2 : 1, c);
  }
  return std::make_unique<spdlog::pattern_formatter>(pattern + ": %s:%# %!: %v");
}

}  // namespace

level_enum severity_of(int level) {
  const unsigned bits = static_cast<unsigned>(level);
  if (!std::has_single_bit(bits) ||
      std::countr_zero(bits) >= static_cast<int>(std::size(kSeverities))) {
    return spdlog::level::off;
  }
  return kSeverities[std::countr_zero(bits)].severity;
}

FileSink::FileSink(std::string path, off_t max_bytes)
    : base_sink(file_formatter()), file_(std::move(path), max_bytes) {}

void FileSink::sink_it_(const spdlog::details::log_msg& msg) {
  spdlog::memory_buf_t line;
  formatter_->format(msg, line);
  if (!file_.append(view_of(line))) {
    spdlog::throw_spdlog_ex("line not written", errno);
  }
}

JournalSink::JournalSink(const std::string& name) : base_sink(journal_formatter(name)) {
  set_level(spdlog::level::warn);
}

bool JournalSink::is_connected() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  uintmax_t device = 0;
  uintmax_t inode = 0;
  struct stat error_output {};
  return stream != nullptr && std::sscanf(stream, "%ju:%ju", &device, &inode) == 2 &&
         ::fstat(STDERR_FILENO, &error_output) == 0 && error_output.st_dev == device &&
         error_output.st_ino == inode;
}

/* The journal's end is a stream socket; the kernel takes a message of this size whole or not at
 * all. */
void JournalSink::sink_it_(const spdlog::details::log_msg& msg) {
  spdlog::memory_buf_t line;
  append_to(line, row_of(msg.level).journal_mark);
  formatter_->format(msg, line);
  (void)::send(STDERR_FILENO, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
}

}  // namespace qel
