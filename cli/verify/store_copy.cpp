#include "verify/store_copy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "alert_config.h"
#include "alert_index.h"
#include "alerts/failure.h"
#include "alerts/session.h"
#include "common/unique_fd.h"
#include "verify/limits.h"
#include "verify/store_lock.h"

namespace qel::cli {
namespace {

namespace fs = std::filesystem;

// The name that a log has unless the configuration gives it another one.
std::string default_log_name() {
  init_global_var();
  return fs::path(alt_alert_name).filename();
}

StorePlace place_of_log(const fs::path& log) {
  const std::string directory = log.has_parent_path() ? log.parent_path() : fs::path(".");
  return {.directory = directory.ends_with('/') ? directory : directory + "/",
          .log_name = log.filename(),
          .local_server = ""};
}

std::string read_bytes(const UniqueFd& file, size_t size) {
  std::string bytes(size, '\0');
  size_t used = 0;
  while (used < size) {
    const ssize_t got = pread(file.get(), bytes.data() + used, size - used, off_t(used));
    if (got < 0) throw std::system_error(errno, std::generic_category());
    if (got == 0) break;
    used += static_cast<size_t>(got);
  }
  bytes.resize(used);
  return bytes;
}

// Nothing when there is no such file.
std::optional<std::string> read_file(const std::string& path) {
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file && errno == ENOENT) return std::nullopt;
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) {
    throw Failure(kFailed, with_errno("cannot read " + path, errno));
  }
  if (!S_ISREG(status.st_mode)) throw Failure(kFailed, path + " is no regular file");
  if (status.st_size > kLogBytesMax) throw Failure(kFailed, path + " is too long for a store");
  try {
    return read_bytes(file, static_cast<size_t>(status.st_size));
  } catch (const std::system_error& error) {
    throw Failure(kFailed, with_errno("cannot read " + path, error.code().value()));
  }
}

}  // namespace

std::string StorePlace::index_path(int idxtype) const { return directory + idx_name[idxtype]; }

StorePlace configured_place() {
  const std::string root = read_policy_text("all", "/root/all/path").value_or("");
  const auto name = read_policy_text("webalert", "/root/webalert/main/alertlog/name");
  if (!name || name->empty())
    throw Failure(kFailed, "the configuration does not name the alert log");
  StorePlace place = place_of_log(fs::path(root + "/" + *name).lexically_normal());
  place.local_server = local_server_name();
  return place;
}

StorePlace place_of(const std::string& path) {
  std::error_code fault;
  const fs::file_status status = fs::status(path, fault);
  if (fs::is_directory(status)) return place_of_log(fs::path(path) / default_log_name());
  if (fs::exists(status)) return place_of_log(path);
  if (status.type() == fs::file_type::not_found) throw Failure(kFailed, "there is no " + path);
  throw Failure(kFailed, with_errno("cannot read " + path, fault.value()));
}

StoreCopy copy_store(const StorePlace& place) {
  const StoreLock lock(place.directory);
  const auto log = read_file(place.log_path());
  if (!log) throw Failure(kFailed, "no alert log at " + place.log_path());
  StoreCopy copy{.log = *log, .indexes = {}, .lock_fault = lock.fault()};
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    copy.indexes[type] = read_file(place.index_path(type));
  }
  return copy;
}

}  // namespace qel::cli
