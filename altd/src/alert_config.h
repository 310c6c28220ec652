/* Settings of the alert log library, its start and its end.
 *
 * Every process calls alert_log_lib_init first and alert_log_lib_term last. The settings are plain
 * globals, one set for each process: init_global_var gives the defaults, the configuration
 * overwrites them, and the daemon fills those that only it knows before it goes on. They are read
 * without a lock: change them only while no other call of the library runs.
 *
 * String settings point to literals until the configuration has been read and to heap copies that
 * live as long as the process afterwards: never free them.
 */
#ifndef QEL_ALERT_CONFIG_H
#define QEL_ALERT_CONFIG_H

#include <stddef.h>
#include <stdint.h>
#include <sys/times.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  ALT_PATH_SIZE = 1024, /* bytes of alt_path_only, with its NUL */
  ALT_NAME_SIZE = 256   /* bytes of alt_name_only, with its NUL */
};

/* ---- set by defaults and configuration ------------------------------------------------------ */

extern char* alt_mod_type;   /* "webalert": module type of the web alert function */
extern char* alt_comment;    /* "alert log message": default comment */
extern char* alt_cmd_path;   /* "/alert/bin/": directory of the semaphore files, ends in "/" */
extern char* alt_alert_name; /* "/alert/log/alertlog.alt": full path of the alert log */
extern char* alt_name_temp;  /* "alerttmp.alt": file name of the intake file */
extern char* alt_log_path;   /* null: directory of the diagnostic log, left to the log library */
extern char* sys_root_path;  /* null until read: installation root */
extern int alt_max_count;    /* 10000: capacity of the alert log in records */
extern int alt_timeout;      /* 60: the daemon's time-out in seconds */
extern int alt_udp_port;     /* 29003: UDP port of the cluster's messages */
extern int alt_udp_method;   /* 0 */
extern int alt_log_size;     /* 4194304: bytes at which the diagnostic log rotates */
extern int alt_log_level;    /* 4: level mask of the diagnostic log */
extern int alt_rlimit_core;  /* 0: core-file limit, stored only */
extern int g_webalert_use;   /* 0: 1 when the alert log is in use (client mode reads it) */
extern int64_t g_resync_time_interval;    /* 0: ticks without progress that end a
                                             resynchronisation (daemon mode reads it) */
extern char alt_path_only[ALT_PATH_SIZE]; /* directory of the store, ends in "/" */
extern char alt_name_only[ALT_NAME_SIZE]; /* file name of the alert log */

/* The diagnostic log that every message of the library goes to; null: messages are dropped. */
extern void* alt_log_handle;
/* Event id that is handed to log_write with every message. */
extern int eid;

/* ---- set by the daemon; 0 (or null) until then ---------------------------------------------- */

extern int64_t tckconf; /* ticks of QEL_TIMES in one second; set before a daemon-mode start */
extern int is_service;
extern char* alert_pid_file_name;
extern int g_tmpfile_maxsize;
extern int g_tmpfile_read_count;
extern int g_tmpfile_read_interval;
extern int g_resend_timeout; /* seconds, as all that follow but the count */
extern int g_alert_retry_count;
extern int g_sendtonewsvr_interval;
extern int g_get_altid_timeout;
extern int g_alert_getradio_interval;
extern int g_alert_chksrvlist_interval;
extern int g_alert_cheknewsvr_interval;
extern int g_hb_timeout;
extern int g_get_srvname_timeout;

/* ---- start and end -------------------------------------------------------------------------- */

/* Gives every setting its default. Strings of an earlier configuration are not freed. */
void init_global_var(void);

/* Starts the library: defaults, configuration, diagnostic log.
 *   handle  null: client mode; the library opens a diagnostic log of its own, named "alert".
 *           Otherwise the daemon's log handle, which the library writes to from then on.
 * 0; 1 (daemon mode) when the configuration holds the dummy switch: everything is set, and the
 * configuration stays loaded; -1 when configuration or log could not be read or opened (the reason
 * is on standard output); -2 (client mode) when the alert log is not in use: the diagnostic log
 * is open and alert_log_lib_term is still due. Settings read before a failure keep their values. */
int alert_log_lib_init(void* handle);

/* Ends the diagnostic log, the daemon's too. The handle is not cleared. */
void alert_log_lib_term(void);

/* The configuration passes of client and daemon mode. 0, -1 (config_alert also 1, see above).
 * A failed read leaves the XML library as it stands. */
int config_init(void);
int config_alert(void);

/* Reads a text of at most 1024 bytes, its NUL included; *s becomes a heap copy. 0 or -1. */
int config_string(const char* key, char** s);

/* Reads an int. 0 or -1, silently. */
int config_int(const char* key, int* v);

/* Reads a path of at most 2048 bytes and makes it absolute under `root` (null: under "/").
 *   isfile  0: a directory, gets a trailing "/"; 1: a file; 2: the directory that holds the named
 *           item, that is the path up to the "/" before its last component.
 * *s becomes a heap copy. 0 or -1. */
int config_path(const char* key, char** s, const char* root, int isfile);

/* Splits a path with at least one "/" into its directory with trailing "/" (alt_path, ALT_PATH_SIZE
 * bytes) and its last component (alt_name, ALT_NAME_SIZE bytes). Trailing "/" are ignored. */
void alert_name_path(const char* alt_path_name, char* alt_path, char* alt_name);

/* The tick clock that every time-out is measured with; `a` may be null. */
clock_t QEL_TIMES(struct tms* a);

#ifdef __cplusplus
}
#endif
#endif
