/* Diagnostic log of the product: libqellog.so.1.0.
 *
 * A log is a text file <dir>/<name>.log that rotates when it has grown to its maximum size; one
 * older file, <name>.log.1, is kept. Each line carries time, process, level, source position,
 * function and text. When the process runs as a service (its standard error is the journal), lines
 * of the levels 1, 2 and 4 also go there with their syslog priority; the journal may drop them,
 * the file does not.
 *
 * Several processes may have the same log open: every line stands whole on a line of its own, and
 * no rotation loses the line of another process. A written line outlives its process. The file is
 * made with mode 0666 less the umask; programs of different users share a log when the directory's
 * default ACL or their umask lets them.
 *
 * Levels are single bits; a log writes the levels whose bit is in its mask:
 *   1 failures, 2 minor failures, 4 notable events, 8 further information,
 *   16 function tracing, 32 data dumps.
 * Masks are thresholds as operators write them: the mask M lets every level up to its highest
 * bit through (4 writes 1, 2 and 4).  A masked-out line is not formatted.
 *
 * Threading: log_write may be called from any thread; log_init and log_term of one handle must
 * not overlap with any other call on it. A forked process may go on with its parent's handle,
 * unless another thread of the parent was writing at the time of the fork. The library has no
 * thread of its own.
 */
#ifndef QELLOG_H
#define QELLOG_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default) /* what follows is what the library exports */

/* Results of log_init other than 0. */
enum {
  QELLOG_E_ARGUMENT = 1,  /* no name, no handle pointer, a name with "/", or a size below 1 */
  QELLOG_E_DIRECTORY = 2, /* the directory is missing and cannot be made */
  QELLOG_E_FILE = 3,      /* the file cannot be opened for reading and appending */
  QELLOG_E_MEMORY = 4
};

/* Opens the log `name`.
 *   level_mask  see above; 0 writes nothing.
 *   max_bytes   size in bytes, at least 1: a line that would make the file larger rotates it first.
 *               The file is larger only by a single long line, by lines that several processes
 *               write at the same moment, or when it cannot be renamed. More keeps a longer past
 *               and costs up to twice as much disk.
 *   dir         directory, made with its parents when missing, or NULL or "": the environment
 *               variable QEL_LOG_DIR, else "/var/log/qelalert".
 * 0 and a handle in *handle (the caller ends it with log_term), or a QELLOG_E_ code with
 * *handle unchanged. */
int log_init(const char* name, void** handle, int level_mask, int max_bytes, const char* dir);

/* Writes one line (printf-style; at most 4096 bytes of text, the rest is cut; line ends and other
 * control characters in the text are written as \xHH). `eid` is printed when it is not 0. The
 * source position is printed when `line` is not 0. A null handle writes nothing. Returns 0, also
 * for a masked-out line, or -1 when the line could not be written to the file or `level` is none
 * of those above. Never blocks on another process, never changes errno. */
int log_write(void* handle, int level, int eid, const char* file, int line, const char* func,
              const char* format, ...) __attribute__((format(printf, 7, 8)));

/* Ends the log and frees the handle; null is ignored. Returns 0. */
int log_term(void* handle);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
