/* Where the lines of a log go: its rotating file, and the journal of a service. */
#ifndef QELLOG_LOG_SINKS_H
#define QELLOG_LOG_SINKS_H

#include <spdlog/sinks/base_sink.h>

#include <mutex>
#include <string>

#include "rotating_file.h"

namespace qel {

/* The severity that stands for one level bit; the trace severity for a value without a level. */
spdlog::level::level_enum severity_of(int level);

class FileSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  FileSink(std::string path, off_t max_bytes);

  bool open() { return file_.open(); }

 protected:
  /* Throws spdlog::spdlog_ex when the line could not be written. */
  void sink_it_(const spdlog::details::log_msg& msg) override;
  void flush_() override {} /* nothing is held back */

 private:
  RotatingFile file_;
};

/* Standard error of a service, which the journal reads line by line with a syslog priority in
 * front. Lines that the journal has no room for are dropped: the file has them, and a process must
 * not stand still because its reader does. Takes failures, minor failures and notable events. */
class JournalSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  /* `name` stands before each text. */
  explicit JournalSink(const std::string& name);

  /* Whether the journal reads this process's standard error. */
  static bool is_connected();

 protected:
  void sink_it_(const spdlog::details::log_msg& msg) override;
  void flush_() override {}
};

}  // namespace qel

#endif
