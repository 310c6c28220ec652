/* The header in plain C: every call with its exact type. */
#include "qelxml.h"

int (*const c_xmllib_init)(const char*) = xmllib_init;
int (*const c_xmllib_load_config)(void) = xmllib_load_config;
int (*const c_xmllib_load_policy)(const char*) = xmllib_load_policy;
int (*const c_xmllib_unload_policy)(const char*) = xmllib_unload_policy;
int (*const c_xmllib_get_value)(const char*, int, void*, int*) = xmllib_get_value;
int (*const c_xmllib_unload_config)(void) = xmllib_unload_config;
int (*const c_xmllib_term)(void) = xmllib_term;
clock_t (*const c_xmllib_times)(struct tms*) = xmllib_times;
const char* (*const c_xmllib_last_error)(void) = xmllib_last_error;

int c_read_number(const char* section, const char* key) {
  int number = -1;
  int size = sizeof number;
  if (c_xmllib_init("plain") != 0 || c_xmllib_load_policy(section) != 0 ||
      xmllib_get_value(key, XMLLIB_INT, &number, &size) != 0 || xmllib_term() != 0) {
    return -1;
  }
  return number;
}
