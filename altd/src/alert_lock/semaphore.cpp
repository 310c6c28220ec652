// Semaphores that are named by files.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "alert_lock.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::kFailure;
using qel::kNotable;

namespace {

constexpr int kProjectId = 97;
constexpr int kFree = 1;

union SemaphoreArgument {  // semctl leaves its declaration to the caller
  int val;
  struct semid_ds* buf;
  unsigned short* array;
};

int ensure_semaphore_file(const char* semfile) {
  struct stat status;
  if (stat(semfile, &status) == 0) return 0;
  ALERT_LOG(kNotable, "semaphore file(%s) not exist, now create it.", semfile);
  const int fd = creat(semfile, 0755);
  if (fd == -1) {
    ALERT_LOG(kFailure, "create semaphore file(%s) failed: %d", semfile, errno);
    return -1;
  }
  if (fd != 0) close(fd);
  return 0;
}

// True when nobody has ever operated on the semaphore: its creator may not have come to set it.
bool never_used(int id) {
  struct semid_ds status = {};
  SemaphoreArgument argument = {};
  argument.buf = &status;
  return semctl(id, 0, IPC_STAT, argument) == 0 && status.sem_otime == 0;
}

int set_free(int id) {
  SemaphoreArgument argument = {};
  argument.val = kFree;
  if (semctl(id, 0, SETVAL, argument) == -1) {
    ALERT_LOG(kFailure, "call semctl failed: %d", errno);
    return -1;
  }
  return id;
}

// Making a semaphore and setting it are two steps. A lock of the semaphore file keeps a second
// first user from setting it while somebody holds it already; a semaphore that was never used and
// stands at 0 was left half-made by a creator that died.
int create_semaphore(key_t key, const char* semfile) {
  const qel::Descriptor file(open(semfile, O_RDONLY | O_CLOEXEC));
  if (file.valid()) flock(file.get(), LOCK_EX);
  const int id = semget(key, 1, IPC_CREAT | 0666);
  if (id == -1) {
    ALERT_LOG(kFailure, "create semaphore failed: %d", errno);
    return -1;
  }
  // In this order: whoever takes it to 0 has used it from then on.
  if (semctl(id, 0, GETVAL) == 0 && never_used(id)) return set_free(id);
  return id;
}

int operate(int sema, short change) {
  struct sembuf operation = {0, change, SEM_UNDO};
  return semop(sema, &operation, 1);
}

}  // namespace

int get_semaphore(const char* semfile) {
  ALERT_TRACE_FUNCTION();
  if (ensure_semaphore_file(semfile) != 0) return -1;
  const key_t key = ftok(semfile, kProjectId);
  if (key == -1) {
    ALERT_LOG(kFailure, "get semaphore key failed: %d", errno);
    return -1;
  }
  const int id = semget(key, 1, 0666);
  if (id == -1 || never_used(id)) return create_semaphore(key, semfile);
  return id;
}

int lock_semaphore(int sema) {
  ALERT_TRACE_FUNCTION();
  if (operate(sema, -1) == 0) return 0;
  const bool interrupted = errno == EINTR;
  ALERT_LOG(interrupted ? kNotable : kFailure, "lock semaphore failed: %d", errno);
  if (!interrupted) return -1;
  operate(sema, -1);
  return 0;
}

int unlock_semaphore(int sema) {
  ALERT_TRACE_FUNCTION();
  if (operate(sema, 1) == 0) return 0;
  const bool interrupted = errno == EINTR;
  ALERT_LOG(interrupted ? kNotable : kFailure, "unlock semaphore failed: %d", errno);
  if (!interrupted) return -1;
  operate(sema, 1);
  return 0;
}
