// Creating and opening the store's files.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>

#include "alert_lock/semaphore_lock.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alert_log/steps.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kNotable;
using qel::kTrace;
using qel::Path;

namespace {

enum FileType { kLogFile = 0, kIndexFile = 1, kIntakeFile = 2 };

// Kept as it is (octal 3567): it leaves a non-root owner without write permission, so whoever
// installs the system makes the directories beforehand.
constexpr mode_t kDirectoryMode = 0x777;

FileType type_of(const char* filename) {
  if (strcmp(filename, alt_name_only) == 0) return kLogFile;
  if (strcmp(filename, alt_name_temp) == 0) return kIntakeFile;
  return kIndexFile;
}

// Creates a missing file; a new alert log has to be filled from the cluster.
int create_missing(const char* filename, const char* path) {
  ALERT_LOG(kNotable, "file(%.80s) not exist, now create it.", path);
  const FileType type = type_of(filename);
  const int result = create_file(type, filename);
  if (result < 0) {
    ALERT_LOG(kFailure, "create file(%.80s) failed", path);
    return result;
  }
  if (type == kLogFile) {
    get_maxalertid_localserver_now = 1;
    add_to_new_serverlist_all();
  }
  return 0;
}

int flag_created_index(const char* filename) {
  const auto index = std::find_if(idx_name, idx_name + ALERT_INDEX_COUNT,
                                  [&](const char* name) { return strcmp(name, filename) == 0; });
  if (index == idx_name + ALERT_INDEX_COUNT) return 0;
  const Path semfile = qel::semaphore_path(qel::kSemaphoreIndex);
  const int id = get_semaphore(semfile.text);
  if (id == -1) {
    ALERT_LOG(kFailure, "call get_semaphore(%.80s) failed", semfile.text);
    return -1;
  }
  if (lock_semaphore(id) != 0) {
    ALERT_LOG(kFailure, "call lock_semaphore failed");
    return -1;
  }
  index_create[index - idx_name] = 1;
  if (unlock_semaphore(id) != 0) {
    ALERT_LOG(kFailure, "call unlock_semaphore failed");
    return -1;
  }
  return 0;
}

// Opens a file that was missing a moment ago.
int open_created(const char* filename, int flags, const char* path) {
  const int created = create_missing(filename, path);
  if (created < 0) return created;
  Descriptor file(open(path, flags));
  if (!file.valid()) {
    ALERT_LOG(kFailure, "open file(%.80s) failed, errcode = %d", path, errno);
    return -1;
  }
  if (type_of(filename) == kIndexFile && flag_created_index(filename) != 0) return -1;
  return file.release();
}

void remove_half_made(const char* path) {
  if (remove(path) != 0) ALERT_LOG(kFailure, "remove file(%s) failed", path);
}

// A new log never keeps old indexes: they are built again when next opened.
int remove_old_indexes() {
  for (const char* name : idx_name) {
    const Path path = qel::store_path(name);
    if (remove(path.text) != 0 && errno != ENOENT) {
      ALERT_LOG(kFailure, "remove file(%s) failed.", path.text);
      return -1;
    }
  }
  return 0;
}

int write_new_log(int fd, const char* path) {
  ALERT_FILE_HEADER header = {};
  init_header_data(&header);
  prepare_header_field(&header);
  if (write_alert_header(fd, header, 0) != 0) {
    ALERT_LOG(kFailure, "write alert header failed");
    remove_half_made(path);
    return -1;
  }
  return remove_old_indexes();
}

int make_directories() {
  for (const char* directory :
       {static_cast<const char*>(alt_path_only), static_cast<const char*>(alt_cmd_path)}) {
    if (mkdir_path(directory) != 0) {
      ALERT_LOG(kFailure, "call mkdir_path(%s) failed", directory);
      return -1;
    }
  }
  return 0;
}

// Creates the alert log or the intake file under its semaphore.
int create_under_semaphore(FileType type, const char* filename) {
  if (make_directories() != 0) return -1;
  const Path semfile =
      qel::semaphore_path(type == kLogFile ? qel::kSemaphoreCreate : qel::kSemaphoreIntake);
  const int id = get_semaphore(semfile.text);
  if (id == -1) {
    ALERT_LOG(kFailure, "get semaphore failed");
    return -1;
  }
  qel::SemaphoreLock semaphore;
  if (semaphore.take(id) != 0) {
    ALERT_LOG(kFailure, "call lock_semaphore failed");
    return -1;
  }
  const Path path = qel::store_path(filename);
  const Descriptor file(creat(path.text, 0644));
  if (!file.valid()) {
    if (errno == EEXIST) return 0;
    ALERT_LOG(kFailure, "create file(%s) failed", path.text);
    return -1;
  }
  if (type == kLogFile && write_new_log(file.get(), path.text) != 0) return -1;
  if (semaphore.release() != 0) {
    ALERT_LOG(kFailure, "unlock semaphore failed");
    remove_half_made(path.text);
    return -1;
  }
  return 0;
}

void remove_store_file(const char* name) {
  const Path path = qel::store_path(name);
  if (remove(path.text) != 0 && errno != ENOENT) {
    ALERT_LOG(kFailure, "remove file(%s) failed.", path.text);
  }
}

// 0 when the log's size fits its header, 1 when not, -1 when that cannot be told.
int compare_size(int fd, off_t* size, qel::LogHeader* header) {
  if (qel::read_header(fd, &header->numbers, &header->length, size) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  const int count = static_cast<int>(header->numbers.nCurCount);
  return *size == qel::record_offset(count, header->length) ? 0 : 1;
}

void log_wrong_size(bool discard, off_t size, const ALERT_FILE_HEADER& header) {
  const int bytes = static_cast<int>(size);
  const int count = static_cast<int>(header.nCurCount);
  if (discard) {
    ALERT_LOG(kFailure,
              "alert log file is not normal so delete it(size = %d):althead.nCurCount = %d", bytes,
              count);
  } else {
    ALERT_LOG(kFailure, "alert log file is not normal (size = %d):althead.nCurCount = %d", bytes,
              count);
  }
}

// The result of file_check for the log. Unless it is usable, fd is closed; *discard tells whether
// the log has to go. A size that does not fit is the initialised daemon's business only.
int examine_log(int fd, bool* discard, qel::LogHeader* header) {
  Descriptor log(fd);
  struct stat status;
  if (fstat(fd, &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  off_t size = status.st_size;
  const int result = compare_size(fd, &size, header);
  if (result == 0) {
    log.release();
    return 0;
  }
  *discard = result == -1 || local_svr != nullptr;
  if (result == 1) log_wrong_size(*discard, size, header->numbers);
  return result;
}

// The lost records are fetched again from the other servers.
void discard_store() {
  remove_store_file(alt_name_only);
  for (const char* name : idx_name) remove_store_file(name);
  add_to_new_serverlist_all();
}

// As file_check; *header is that of a usable log.
int check_file(const char* filename, int fd, qel::LogHeader* header) {
  if (type_of(filename) != kLogFile) return 0;
  bool discard = false;
  const int result = examine_log(fd, &discard, header);
  if (discard) discard_store();
  return result;
}

}  // namespace

int open_file(const char* filename, int flags) {
  qel::LogHeader header;
  return qel::open_file_with_header(filename, flags, &header);
}

int qel::open_file_with_header(const char* filename, int flags, LogHeader* header) {
  ALERT_LOG(kTrace, "semfile path: %.80s", alt_cmd_path);
  if (mkdir_path(alt_cmd_path) != 0) {
    ALERT_LOG(kFailure, "mkdir_path(%.80s) failed", alt_cmd_path);
    return -1;
  }
  return open_store_file(filename, flags, header);
}

int qel::open_store_file(const char* filename, int flags, LogHeader* header) {
  ALERT_TRACE_FUNCTION();
  const Path path = store_path(filename);
  ALERT_LOG(kTrace, "full file path: %.80s", path.text);
  ALERT_LOG(kTrace, "semfile : %.80s", semaphore_path(kSemaphoreIndex).text);
  int fd = open(path.text, flags);
  if (fd == -1) {
    if (errno != ENOENT) {
      ALERT_LOG(kFailure, "open file(%.80s) failed,errcode = %d", path.text, errno);
      return -1;
    }
    fd = open_created(filename, flags, path.text);
    if (fd < 0) return fd;
  }
  return check_file(filename, fd, header) == 0 ? fd : -1;
}

int create_file(int type, const char* filename) {
  ALERT_TRACE_FUNCTION();
  if (type == kLogFile || type == kIntakeFile) {
    return create_under_semaphore(static_cast<FileType>(type), filename);
  }
  if (create_index_content(filename) < 0) {
    ALERT_LOG(kFailure, "create index file failed");
    return -1;
  }
  return 0;
}

int mkdir_path(const char* path) {
  Path prefix;
  snprintf(prefix.text, sizeof prefix.text, "%s", path);
  char* last = strrchr(prefix.text, '/');
  if (last == nullptr) return 0;
  last[1] = '\0';
  struct stat status;
  if (stat(prefix.text, &status) == 0 && S_ISDIR(status.st_mode)) return 0;
  for (char* at = prefix.text; *at != '\0'; ++at) {
    const bool component_ends = at > prefix.text && *at == '/' && at[-1] != '/';
    if (!component_ends) continue;
    *at = '\0';
    const int result = mkdir(prefix.text, kDirectoryMode);
    if (result != 0 && errno != EEXIST) {
      ALERT_LOG(kFailure, "mkdir(%s) failed", prefix.text);
      return -1;
    }
    *at = '/';
  }
  return 0;
}

int file_check(const char* filename, int fd) {
  qel::LogHeader header;
  return check_file(filename, fd, &header);
}
