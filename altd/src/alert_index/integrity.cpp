// Deleting and rebuilding indexes that cannot be trusted.
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>

#include "alert_index.h"
#include "alert_log.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::kFailure;
using qel::kNotable;
using qel::Path;

namespace {

constexpr int kIndexFile = 1;  // type of create_file

bool removed(const char* path) { return remove(path) == 0 || errno == ENOENT; }

int delete_marked(int changed) {
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) {
    if ((changed & (1 << type)) == 0) continue;
    ALERT_LOG(kFailure, "Because the index file [%s] is error,will recreate the index file ...!",
              idx_name[type]);
    const Path path = qel::join_path(qel::store_path("/").text, idx_name[type]);
    if (!removed(path.text)) {
      ALERT_LOG(kFailure, "remove alert index file(%s) failed", path.text);
      return -1;
    }
  }
  return 0;
}

// Deletes the log when it is empty. -1 when that fails.
int remove_empty_log() {
  const Path path = qel::store_path(alt_name_only);
  struct stat status;
  if (stat(path.text, &status) == -1) {
    ALERT_LOG(kFailure, "stat failed - %d", errno);
    return 0;
  }
  if (status.st_size != 0 || removed(path.text)) return 0;
  ALERT_LOG(kFailure, "remove file(%s) failed - %d", path.text, errno);
  return -1;
}

}  // namespace

int recreate_index_files(void) {
  ALERT_TRACE_FUNCTION();
  for (const char* name : idx_name) {
    if (!removed(qel::store_path(name).text)) {
      ALERT_LOG(kNotable, "remove old index file(%s) error, but this is never mind.", name);
    }
    if (create_file(kIndexFile, name) < 0) {
      ALERT_LOG(kNotable, "recreate index file(%s) error!", name);
      return -1;
    }
  }
  return 0;
}

int check_index_file_status(void) {
  ALERT_TRACE_FUNCTION();
  const qel::Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file(%s) failed", alt_name_only);
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  if (header.isChanged == 0 || header.isChanged == 64) return 0;
  return delete_marked(header.isChanged);
}

int remove_destroyed_file(void) {
  ALERT_TRACE_FUNCTION();
  if (remove_empty_log() != 0) return -1;
  for (const char* name : idx_name) {
    const Path path = qel::store_path(name);
    if (!removed(path.text)) ALERT_LOG(kFailure, "remove file(%s) failed - %d", path.text, errno);
  }
  return 0;
}
