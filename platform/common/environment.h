/* Settings that the environment may change. */
#ifndef QEL_PLATFORM_ENVIRONMENT_H
#define QEL_PLATFORM_ENVIRONMENT_H

#include <cstdlib>

namespace qel {

/* The value of the environment variable, else the fallback. An empty value counts as not set. A
 * program that runs with more rights than its caller (set-user-id) always gets the fallback: the
 * caller must not choose which files it reads and writes. */
inline const char* environment_or(const char* variable, const char* fallback) {
  const char* value = ::secure_getenv(variable);
  return value != nullptr && value[0] != '\0' ? value : fallback;
}

}  // namespace qel

#endif
