#include "alerts/seen_alerts.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <string_view>

#include "alerts/failure.h"
#include "alerts/record_text.h"
#include "common/unique_fd.h"

namespace qel {
namespace {

// The first line of a file; behind it stands a hash of 16 hexadecimal digits on each line, those
// that are forgotten first above the line kRecent.
constexpr std::string_view kFileHead = "qelalert-cursor 1";
constexpr std::string_view kRecent = "recent";
constexpr size_t kHashDigits = 16;

// FNV-1a: the same on every machine and in every version, since files keep it.
class Hash {
 public:
  void add(std::string_view bytes) {
    for (const char c : bytes) add(static_cast<unsigned char>(c));
  }
  void add(unsigned char byte) { value_ = (value_ ^ byte) * 1099511628211ULL; }
  uint64_t value() const { return value_; }

 private:
  uint64_t value_ = 14695981039346656037ULL;
};

uint64_t hash_of(const ALERT_RECORD_INFO& alert) {
  Hash hash;
  hash.add(std::to_string(alert.alert_id));
  for (const std::string_view text :
       {field_text(alert.szServer), field_text(alert.szServerTime), field_text(alert.szModType),
        field_text(alert.szEventID), field_text(alert.szLevel), field_text(alert.szAlertMessage)}) {
    hash.add('\0');  // no text holds it
    hash.add(text);
  }
  return hash.value();
}

bool parse_hash(const std::string& line, uint64_t* hash) {
  const char* const end = line.data() + line.size();
  const auto read = std::from_chars(line.data(), end, *hash, 16);
  return line.size() == kHashDigits && read.ec == std::errc{} && read.ptr == end;
}

Failure cursor_fault(const std::string& path, const std::string& fault) {
  return {kFailed, "cursor file " + path + ": " + fault};
}

void add_lines(const std::unordered_set<uint64_t>& hashes, std::string* text) {
  for (const uint64_t hash : hashes) {
    char line[kHashDigits + 2];
    snprintf(line, sizeof line, "%016llx\n", static_cast<unsigned long long>(hash));
    *text += line;
  }
}

void write_all(int fd, const std::string& path, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) throw Failure(kFailed, with_errno("cannot write " + path, errno));
    text.remove_prefix(static_cast<size_t>(written));
  }
}

}  // namespace

AlertList SeenAlerts::take_new(const AlertList& alerts) {
  AlertList fresh;
  for (const ALERT_RECORD_INFO* alert : alerts) {
    const uint64_t hash = hash_of(*alert);
    if (older_.contains(hash) || !recent_.insert(hash).second) continue;
    fresh.push_back(alert);
  }
  if (has_too_many(alerts.size())) forget_oldest(alerts);
  return fresh;
}

bool SeenAlerts::has_too_many(size_t held) const {
  const size_t enough = std::max(kForgottenAfter, 2 * held);
  // The older ones only where the log has become much smaller.
  return recent_.size() > enough || older_.size() > 2 * enough;
}

void SeenAlerts::forget_oldest(const AlertList& held) {
  older_ = std::move(recent_);
  recent_.clear();
  for (const ALERT_RECORD_INFO* alert : held) recent_.insert(hash_of(*alert));
}

bool SeenAlerts::load(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    if (errno == ENOENT) return false;
    throw cursor_fault(path, with_errno("cannot read it", errno));
  }
  std::string line;
  if (!std::getline(file, line) || line != kFileHead) {
    throw cursor_fault(path, "this is no cursor file; name another one or delete it");
  }
  for (size_t number = 2; std::getline(file, line); ++number) {
    if (line == kRecent) {
      older_.merge(recent_);
      continue;
    }
    uint64_t hash;
    if (!parse_hash(line, &hash)) {
      throw cursor_fault(path, "line " + std::to_string(number) + " is no entry");
    }
    recent_.insert(hash);
  }
  return true;
}

void SeenAlerts::save(const std::string& path) const {
  std::string text = std::string(kFileHead) + "\n";
  add_lines(older_, &text);
  text.append(kRecent) += '\n';
  add_lines(recent_, &text);
  const std::string fresh = path + ".new";
  const UniqueFd fd(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!fd) throw cursor_fault(path, with_errno("cannot create " + fresh, errno));
  write_all(fd.get(), fresh, text);
  if (fsync(fd.get()) != 0 || rename(fresh.c_str(), path.c_str()) != 0) {
    throw cursor_fault(path, with_errno("cannot replace it", errno));
  }
}

}  // namespace qel
