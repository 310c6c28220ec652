/* The alert log of one server: records, files, intake, resizing and queries.
 *
 * The log is one text file of fixed-width lines behind a short text header ("alertlog.alt"), with
 * six sorted index files beside it (alert_index.h) and an intake file ("alerttmp.alt") into which
 * programs drop new alerts. Bytes and offsets: docs/FILE_FORMAT.md.
 *
 * Who calls what
 *   programs      alert_log_lib_init(NULL), alert_log_lib_write, alert_log_lib_term
 *   front end     alert_search, alert_get_last, get_alert_by_count, check_is_update
 *   daemon        udp_write_disk, check_dup_alert, check_file_size, adjust_alert_record
 *   protocol      get_server_name, get_alert_id, get_alert_log, get_back_notcont_alert_id
 * The other functions are the steps of these and may be called by themselves.
 *
 * Rules that hold for all of them
 *   - Results are 0 for success and -1 for failure unless said otherwise. Every failure is logged
 *     where it happens. Nothing is thrown.
 *   - Files are opened by name for each operation and closed before it returns.
 *   - One thread of a process at a time. Several processes at once are fine; the daemon is the only
 *     one that writes records.
 *   - A store, a search, a paging read, check_is_update and a resize exclude each other by a
 *     flock(2) of the store's directory, held for that one call.
 *   - Text in structures ends with a NUL within its array; text that lacks it is cut at its width.
 */
#ifndef QEL_ALERT_LOG_H
#define QEL_ALERT_LOG_H

#include <stddef.h>
#include <stdint.h>

#include "alert_config.h"
#include "alert_index.h"
#include "alert_lock.h"
#include "alert_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- the alert log file --------------------------------------------------------------------- */

/* The column titles and widths of a record line, in line order. */
extern char* record_field_name[ALERT_FIELD_COUNT];
extern int record_field_lenth[ALERT_FIELD_COUNT];

/* Header of a new log: capacity alt_max_count, nothing stored. alertField is left alone. */
void init_header_data(LPALERT_FILE_HEADER pHeader);

/* Copies titles and widths into alertField. */
void prepare_header_field(LPALERT_FILE_HEADER pHeader);

/* Length of the header text in bytes, found by its empty line; without one, the number of bytes
 * searched (at most 1024) plus 1. -1 on failure. */
int get_header_length(int fd);

/* Writes the header at the start of the file: type 0 the whole text, any other type only the six
 * numeric lines. */
int write_alert_header(int fd, ALERT_FILE_HEADER altheader, int type);

/* Reads the numeric header lines; alertField is left alone. 0, -1, or ALERT_ERR_HEADER_FORMAT.
 * An empty file is judged destroyed: fd is closed, the damaged files are deleted, -1. */
int read_alert_header(int fd, LPALERT_FILE_HEADER pAltHeader);

/* Stores a record at `line` (0-based) and advances the header.
 *   islocal  1: the record keeps its write time and, with caller 1, its id becomes the header's
 *            current_alert_id; otherwise it is stamped with the current time.
 *   caller   1: the indexes follow; any other value leaves them alone.
 * 0; -1 on failure (the record may be in place and isChanged left at 255, so that the next store
 * checks the indexes); 1 when the record is not storable: nothing was written. */
int write_alert_record(int fd, int line, ALERT_RECORD_INFO AltRecord, ALERT_FILE_HEADER altHeader,
                       int islocal, int caller);

/* Reads the record at `line`, which is not range-tested. Trailing blanks are cut from every text.
 * 0, -1, or ALERT_ERR_RECORD_OVERFLOW when a column cannot be cut. */
int read_alert_record(int fd, int line, LPALERT_RECORD_INFO pAltRecord);

/* ---- creating, opening, checking ------------------------------------------------------------ */

/* Opens a file of the store by its plain name with the `open` flags given; a missing file is
 * created with its first content. A descriptor that the caller closes, or -1: also for an alert
 * log whose size does not fit its header, which only the initialised daemon deletes. */
int open_file(const char* filename, int flags);

/* Creates a file of the store: type 0 the alert log, 1 an index built from the log, 2 the intake
 * file. */
int create_file(int type, const char* filename);

/* Makes every missing directory of path up to its last "/". */
int mkdir_path(const char* path);

/* Checks an opened file: 0 usable, 1 the alert log's size does not fit its header, -1 failure.
 * In both other cases than 0 fd has been closed. Only the alert log is examined. */
int file_check(const char* filename, int fd);

/* 1 when the log's capacity differs from alt_max_count, 0 when not, -1 on failure. */
int check_file_size(void);

/* 1 when the log was written since the last call of any process, 0 when not, -1 on failure (also
 * when there is no log; none is made). Clears the mark: one owner a host. */
int check_is_update(void);

/* 0 when every text field but szWriteTime holds more than blanks, else -1. */
int check_alert_record_info(LPALERT_RECORD_INFO pAltrecd);

/* 0 when str holds anything but blanks, else -1. */
int check_string(const char* str);

/* ---- intake and store ----------------------------------------------------------------------- */

/* Appends an alert to the intake file. Changes the caller's record: the message is ended at its
 * last byte, the level becomes "1", "2" or "3" (anything else: "3"), the write time is stamped.
 * 0; -1 when it was not accepted: nothing of it is in the file. */
int alert_log_lib_write(LPALERT_RECORD_INFO paltrecd);

/* The local time as "%Y/%m/%d %H:%M:%S" and ".%03d", 23 characters, into s; all `size` bytes are
 * cleared first. The length written, 0 when the date does not fit. */
int get_current_localtime(char* s, size_t size);

/* Stores one record image of at least ALERT_RECORD_SIZE bytes; islocal as in write_alert_record.
 * 0; 1 when the record is not storable; -1 or another negative result on failure. Daemon only. */
int udp_write_disk(const char* buf, size_t len, int islocal);

/* ---- resizing ------------------------------------------------------------------------------- */

/* Gives the log the capacity newsize (alt_max_count must be set to it before). Growing keeps every
 * record; shrinking keeps the newest by raise time, oldest first, and rebuilds the indexes. Below 1
 * nothing changes. Never call it for the capacity that a full log has: later writes would fail. */
int adjust_alert_record(int newsize);

/* qsort comparison of two ints, ascending: their plain difference. */
int quick_compare(const void* i, const void* j);

/* ---- queries -------------------------------------------------------------------------------- */

/* Searches the log; newest first.
 *   info      criteria; an empty string restricts nothing.
 *   psize     in: page size above 0; out: records delivered (0 when nothing matched).
 *   pageno    in: page from 0; out: the page delivered (the last one when it was past the end),
 *             -1 when nothing matched.
 *   pAltInfo  room for the page size in records.
 * The number of matching records; 0 when none match; negative on failure.
 * Keeps its result for the next page of the same search and clears the search mark of the log. */
int alert_search(ALERT_SEARCH_INFO info, int* psize, int* pageno, LPALERT_RECORD_INFO pAltInfo);

/* The newest nAltCount records, newest first. The number delivered; 0 also for a wrong argument;
 * negative on failure. */
int alert_get_last(LPALERT_RECORD_INFO pAltInfo, int nAltCount);

/* One page of the newest totalsize (above 0) records, newest first; psize, pageno and pAltInfo as
 * in alert_search. The smaller of totalsize and the number of records; 0 for an empty log. */
int get_alert_by_count(int totalsize, int* psize, int* pageno, LPALERT_RECORD_INFO pAltInfo);

/* The log lines whose key in index idxtype (1 to 4) is szkey. *ret is their number. Only when it
 * is above 0 and below maxc, *pmemory becomes a malloc'ed array of them that the caller frees.
 * An empty key stands for all maxc records. */
int get_nounique_field_line(int fd, int idxtype, const char* szkey, int maxc, int* ret,
                            int** pmemory);

/* The log lines of the short-form index entries start to end (inclusive) into nbuf. */
int get_alert_line(int idxfd, int* nbuf, int start, int end);

/* Sorts entries low to high ascending by szServerTime. Not stable. */
void qsort_searchNode_array(LPTIME_INDEX pTimeIndex, int low, int high);

/* ---- what the synchronisation asks ---------------------------------------------------------- */

/* The servers whose alerts the log holds, in order, into a zeroed table of 100 names; further names
 * are logged and left out. 0; 1 when the log is empty. */
int get_server_name(char (*server_name_list)[ALERT_NAME_SIZE]);

/* An id of the alerts held of svrname, into *id.
 *   from_id 0  the highest.
 *   flag 1     the id just before the unbroken run of ids that ends at from_id, at least 1; from_id
 *              itself when it is not held.
 *   otherwise  from_id when it is held; else 0, or, when a smaller id is held, the position of that
 *              entry in "srv_alt_id.idx".
 * 0; 1 when nothing is held of that server: *id is then from_id with flag 1, else 0. */
int get_alert_id(const char* svrname, uint32_t from_id, uint32_t* id, int flag);

/* The alerts of svrname from from_id on, in the order of their ids: their images into alert_buf,
 * one every 1000 bytes; the bytes between are left alone. *alert_num in: most wanted; out:
 * delivered. 0; 1 when the log is empty. */
int get_alert_log(const char* svrname, uint32_t from_id, int* alert_num, char* alert_buf);

/* The id behind the unbroken run of ids of svrname that starts at from_id (not 0), into *id: never
 * above the first id that is missing, but up to two below it. from_id itself when it is not held.
 */
int get_back_notcont_alert_id(const char* svrname, uint32_t from_id, uint32_t* id);

#ifdef __cplusplus
}
#endif
#endif
