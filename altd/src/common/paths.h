// Paths of the store's files.
#pragma once

#include <cstdio>

#include "alert_config.h"

namespace qel {

struct Path {
  char text[ALT_PATH_SIZE];
};

inline Path join_path(const char* directory, const char* name) {
  Path path;
  if (snprintf(path.text, sizeof path.text, "%s%s", directory, name) < 0) path.text[0] = '\0';
  return path;
}

inline Path store_path(const char* name) { return join_path(alt_path_only, name); }
inline Path semaphore_path(const char* name) { return join_path(alt_cmd_path, name); }

// The semaphore files.
inline constexpr char kSemaphoreIndex[] = "semindex";    // the index_create flags
inline constexpr char kSemaphoreCreate[] = "semcreate";  // creation of the log and of indexes
inline constexpr char kSemaphoreIntake[] = "semtemp";    // creation of the intake file

}  // namespace qel
