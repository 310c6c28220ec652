/* The header in plain C: every call with its exact type. */
#include "qellog.h"

int (*const c_log_init)(const char*, void**, int, int, const char*) = log_init;
int (*const c_log_write)(void*, int, int, const char*, int, const char*, const char*,
                         ...) = log_write;
int (*const c_log_term)(void*) = log_term;

int c_write_one_line(const char* directory) {
  void* handle = 0;
  int result = c_log_init("plain", &handle, 4, 4096, directory);
  if (result != 0) {
    return result;
  }
  result = log_write(handle, 4, 7, __FILE__, __LINE__, __func__, "number %d, text %s", 12, "abc");
  return c_log_term(handle) != 0 ? -1 : result;
}
