/* Locked file I/O and semaphores.
 *
 * The store's files are shared by many processes. Each read or write locks exactly the bytes that
 * it touches with a POSIX record lock, for the time of that one call; creation of files is guarded
 * by System V semaphores.
 *
 * Rules for every process that opens store files:
 *   - closing any descriptor of a file drops all record locks that the process holds on it, so no
 *     other code of the process may open and close store files during a call;
 *   - record locks and the semaphores' undo belong to the process: one thread at a time;
 *   - no call retries an interrupted read, write or fcntl: block signals or let them restart.
 */
#ifndef QEL_ALERT_LOCK_H
#define QEL_ALERT_LOCK_H

#include <stddef.h>
#include <sys/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* fcntl(fd, cmd, ...) for a lock of `type` on `len` bytes (0: to the end and beyond) from
 * `offset`. The result of fcntl. */
int lock_reg(int fd, int cmd, int type, off_t offset, int whence, off_t len);

/* Reads n bytes, fewer only at the end of the file. The count read; -1 on failure. */
ssize_t read_line(int fd, void* vptr, size_t n);

/* Writes n bytes in pieces of at most 524288. n; the result of the write that returned 0 or less.
 */
ssize_t write_line(int fd, const void* vptr, size_t n);

/* Reads up to buflen bytes at off_set under a shared lock of locklen bytes. 0 or -1. A short read
 * at the end of the file is a success and leaves the rest of buf as it was. */
int read_local_disk(int fd, off_t off_set, void* buf, size_t buflen, size_t locklen);

/* Writes buflen bytes at off_set under an exclusive lock of locklen bytes. 0 or -1. */
int write_local_disk(int fd, off_t off_set, const void* buf, size_t buflen, size_t locklen);

/* Asks for synchronous writes on fd; failures are only logged. */
void set_file_flag(int fd);

/* The id of the semaphore named by the file semfile, or -1. A missing file is created with mode
 * 0755, a missing semaphore with the value 1 (free). */
int get_semaphore(const char* semfile);

/* Take and give back a semaphore; a process that dies gives back what it holds. 0 or -1. */
int lock_semaphore(int sema);
int unlock_semaphore(int sema);

#ifdef __cplusplus
}
#endif
#endif
