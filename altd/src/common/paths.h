// Paths of the store's files.
#pragma once

#include <cstring>

#include "alert_config.h"

namespace qel {

struct Path {
  char text[ALT_PATH_SIZE];
};

// Both parts in one path; what does not fit is cut.
inline Path join_path(const char* directory, const char* name) {
  Path path;
  const size_t head = strnlen(directory, sizeof path.text - 1);
  const size_t tail = strnlen(name, sizeof path.text - 1 - head);
  memcpy(path.text, directory, head);
  memcpy(path.text + head, name, tail);
  path.text[head + tail] = '\0';
  return path;
}

inline Path store_path(const char* name) { return join_path(alt_path_only, name); }
inline Path semaphore_path(const char* name) { return join_path(alt_cmd_path, name); }

// The semaphore files.
inline constexpr char kSemaphoreIndex[] = "semindex";    // the index_create flags
inline constexpr char kSemaphoreCreate[] = "semcreate";  // creation of the log and of indexes
inline constexpr char kSemaphoreIntake[] = "semtemp";    // creation of the intake file

}  // namespace qel
