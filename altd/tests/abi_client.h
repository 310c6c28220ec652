/* What the C client shows to the test that loads it. */
#ifndef QEL_ALTD_TESTS_ABI_CLIENT_H
#define QEL_ALTD_TESTS_ABI_CLIENT_H

#ifdef __cplusplus
extern "C" {
#endif

/* A name that the library exports: a function or an object. */
struct abi_symbol {
  const char* name;
  void (*function)(void);
  const void* object;
};

/* Ends with a null name. */
extern const struct abi_symbol abi_symbols[];

/* Stores and searches in a directory with the subdirectories "log" and "cmd", and turns a message
 * into a datagram and back. 0, or the number of the step that failed. */
int abi_client_run(const char* directory);

#ifdef __cplusplus
}
#endif
#endif
