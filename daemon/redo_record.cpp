#include "redo_record.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/paths.h"
#include "log.h"
#include "log_header.h"

namespace qel::daemon {

namespace {

constexpr char kFile[] = "qelalertd.redo";  // in the store's directory

// The file: it is written whole or does not count.
struct Image {
  RedoRecord::Content content;
  uint64_t checksum;
};

// FNV-1a: tells a torn write, no more.
uint64_t checksum_of(const RedoRecord::Content& content) {
  uint64_t sum = 14695981039346656037U;
  const auto* bytes = reinterpret_cast<const unsigned char*>(&content);
  for (size_t i = 0; i < sizeof content; ++i) sum = (sum ^ bytes[i]) * 1099511628211U;
  return sum;
}

}  // namespace

bool RedoRecord::keep(const ALERT_RECORD_INFO& record) {
  const auto header = read_log_header();
  if (!header || header->nCurCount < header->nMaxCount) return true;
  if (!file_) {
    file_ = UniqueFd(open(store_path(kFile).text, O_RDWR | O_CREAT | O_CLOEXEC, 0640));
  }
  Image image;
  memset(&image, 0, sizeof image);
  image.content = {header->nCurToWrite, record};
  image.checksum = checksum_of(image.content);
  kept_ = file_ && pwrite(file_.get(), &image, sizeof image, 0) == sizeof image;
  if (!kept_) DAEMON_LOG(kFailure, "writing %s failed: %s", kFile, strerror(errno));
  return kept_;
}

void RedoRecord::forget() {
  if (!kept_) return;
  kept_ = ftruncate(file_.get(), 0) != 0;
  if (kept_) DAEMON_LOG(kFailure, "emptying %s failed: %s", kFile, strerror(errno));
}

std::optional<RedoRecord::Content> RedoRecord::left_over() {
  const UniqueFd file(open(store_path(kFile).text, O_RDONLY | O_CLOEXEC));
  Image image;
  if (!file || pread(file.get(), &image, sizeof image, 0) != sizeof image) return std::nullopt;
  if (image.checksum != checksum_of(image.content)) return std::nullopt;
  return image.content;
}

void RedoRecord::remove_left_over() {
  const Path path = store_path(kFile);
  if (remove(path.text) != 0 && errno != ENOENT) {
    DAEMON_LOG(kFailure, "removing %s failed: %s", path.text, strerror(errno));
  }
}

}  // namespace qel::daemon
