/* Shared state of the product's processes on one host: libqelipc.so.1.0.
 *
 * One POSIX shared-memory object, named by the environment variable QEL_IPC_NAME, else
 * "/qelalert", holds the cluster's time-out ratio, its period and the new-alert event. It is made
 * on first use with mode 0666 less the umask and with ratio 1 and period 60, and stays until the
 * host restarts or "qelipc remove" takes it away. Then every process goes over to the next object,
 * which starts anew, with its next call. Who may only read the object can read the ratio and wait,
 * but raise and set nothing (EACCES).
 *
 * Wherever the object is mapped, errno EPROTO tells that another version of the library made it,
 * or that something else has its name.
 *
 * Threading: every function may be called from any thread. A forked process keeps the attachment
 * of its parent, unless another thread of the parent was in a call at the time of the fork.
 */
#ifndef QELIPC_H
#define QELIPC_H

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default) /* what follows is what the library exports */

enum { SHMCM_RATIO_MAX = 1000, SHMCM_PERIOD_MAX = 86400 };

/* Maps the shared state. Calls nest: each attach needs one detach. 0, or -1 (errno tells; the number
 * of detaches needed is unchanged). */
int shmcm_attach(void);

/* Reads time-out ratio (1 to SHMCM_RATIO_MAX) and period (seconds, 1 to SHMCM_PERIOD_MAX), both
 * from one setting. 0; -1 (errno; outputs unchanged) when not attached (ENOTCONN), a pointer is null
 * (EINVAL), the state cannot be mapped, or it holds values out of range (EPROTO). */
int shmcm_getratio(int* ratio, int* period);

/* Undoes one attach. 0, or -1 when not attached (errno ENOTCONN). */
int shmcm_detach(void);

/* Raises the new-alert event: every process that waits for it goes on. Attaches and detaches by
 * itself. 0, or the errno of the failure. */
int semevt_set_alert(void);

/* Additions of this implementation: programs that may run with another one declare them weak. */

/* Sets ratio and period (ranges above). Attaches and detaches by itself. 0, or -1: a value out of
 * range (errno EINVAL, nothing changed) or the state cannot be mapped. */
int shmcm_setratio(int ratio, int period);

/* Waits until the new-alert event has been raised since *seen was last filled, at most
 * timeout_ms (below 0: for ever). Attaches and detaches by itself. *seen is then the event's count;
 * start with 0 or with the count of an earlier call (with 0 an event raised before counts). The
 * removal of the state counts as raised, with *seen 0. 1 raised, 0 timed out, -1 failed (errno:
 * EINVAL seen is null, EINTR after a signal, also one whose handler restarts system calls). */
int semevt_wait_alert(unsigned* seen, int timeout_ms);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
