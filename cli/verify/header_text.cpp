#include "verify/header_text.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

#include "alert_index.h"
#include "alert_index/layout.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alerts/failure.h"
#include "common/unique_fd.h"

namespace qel::cli {
namespace {

[[noreturn]] void fail() {
  throw Failure(kFailed, with_errno("cannot use a file in memory", errno));
}

UniqueFd memory_file(std::string_view content) {
  UniqueFd file(memfd_create("qelalert-verify", MFD_CLOEXEC));
  const auto size = static_cast<ssize_t>(content.size());
  if (!file || pwrite(file.get(), content.data(), content.size(), 0) != size) fail();
  return file;
}

std::string content_of(const UniqueFd& file) {
  char text[kHeaderSearch];
  const ssize_t size = pread(file.get(), text, sizeof text, 0);
  if (size < 0) fail();
  return {text, static_cast<size_t>(size)};
}

}  // namespace

std::optional<LogHeaderText> parse_log_header(std::string_view log) {
  const UniqueFd file = memory_file(log.substr(0, kHeaderSearch));
  ALERT_FILE_HEADER numbers = {};
  if (read_alert_header(file.get(), &numbers) != 0) return std::nullopt;
  const int length = get_header_length(file.get());
  if (length < 0) fail();
  return LogHeaderText{.numbers = numbers, .length = static_cast<size_t>(length)};
}

std::string format_log_header(ALERT_FILE_HEADER numbers) {
  prepare_header_field(&numbers);
  const UniqueFd file = memory_file({});
  if (write_alert_header(file.get(), numbers, 0) != 0) fail();
  return content_of(file);
}

std::optional<INDEX_HEADER> parse_index_header(std::string_view index) {
  if (index.size() < kIndexHeader) return std::nullopt;
  const UniqueFd file = memory_file(index.substr(0, kIndexHeader));
  INDEX_HEADER header = {};
  if (read_index_header(file.get(), &header) != 0) return std::nullopt;
  return header;
}

std::string format_index_header(int idxtype, unsigned count) {
  INDEX_HEADER header = {};
  init_index_header(&header, idx_name[idxtype]);
  header.nCurCount = count;
  const UniqueFd file = memory_file({});
  if (write_index_header(file.get(), header, 0) != 0) fail();
  return content_of(file);
}

}  // namespace qel::cli
