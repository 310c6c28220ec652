/* The six index files beside the alert log.
 *
 * Each is a sorted list of fixed-width lines, one for each record of the log, that names the
 * record's line and one of its fields. Index types, which are also the bit numbers in the log
 * header's isChanged:
 *
 *   type  file            key                     order
 *   0     time.idx        szServerTime            key
 *   1     server.idx      szServer                key, log line
 *   2     module.idx      szModType               key, log line
 *   3     event.idx       szEventID               the key's decimal value, log line
 *   4     level.idx       szLevel                 key, log line
 *   5     srv_alt_id.idx  szServer, alert_id      key, alert id
 *
 * Text orders by its bytes. Type 5 has the long record form (84 bytes), the others the short one
 * (74 bytes); both stand behind a header of 148 bytes.
 *
 * Positions are 0-based entries of an index, lines are 0-based records of the log. Functions that
 * take a descriptor leave its closing to the caller, except where they say so. Results are 0 or -1
 * unless said otherwise; any negative result is a failure. Lookups trust the order of a file: in an
 * unsorted one they find wrong positions, not errors.
 */
#ifndef QEL_ALERT_INDEX_H
#define QEL_ALERT_INDEX_H

#include <stddef.h>
#include <sys/types.h>

#include "alert_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The file names, by index type. */
extern char* idx_name[ALERT_INDEX_COUNT];

/* Entry i is 1 from the moment open_file has built index i until the index upkeep has seen it. */
extern int index_create[ALERT_INDEX_COUNT];

/* ---- headers and records -------------------------------------------------------------------- */

/* Count 0 and the name of the index file without its ".idx"; the caller zeroes the header first. */
void init_index_header(LPINDEX_HEADER pfileHead, const char* filename);

/* Writes the whole header (type 0) or only its count line (any other type). */
int write_index_header(int fd, INDEX_HEADER fileHead, int type);

/* Reads the header: 0, -1, or ALERT_ERR_HEADER_FORMAT. A file shorter than a header is judged
 * destroyed: fd is closed, all index files are deleted, -1. */
int read_index_header(int fd, LPINDEX_HEADER pfildHead);

/* Read and write the short form (key and line; alert_id is left untouched). Reading behind the last
 * entry gives an empty key and line 0. 0, -1, or ALERT_ERR_RECORD_OVERFLOW. */
int read_index_record(int fd, int line, LPINDEX_RECORD_INFO pidxrecd);
int write_index_record(int fd, int line, INDEX_RECORD_INFO idxrecd);

/* The same for the long form. */
int read_index_srv_id_record(int fd, int line, LPINDEX_RECORD_INFO pidxrecd);
int write_index_srv_id_record(int fd, int line, INDEX_RECORD_INFO idxrecd);

/* ---- lookup --------------------------------------------------------------------------------- */

/* The log line of the oldest alert, or -1. */
int get_nextto_write(void);

/* In "time.idx": compare 0 the first position at or after sdate, 1 the last at or before it.
 * -2 when there is none on that side, -1 on failure or in an empty index. */
int search_by_date(int fd, const char* sdate, int compare);

/* Types 1 to 4: the first and last position of a key. When it is absent both are -1 and *firL is
 * the position of the last smaller key (-1: none); otherwise *firL is left alone. */
int search_by_nounique_key(int fd, int idxtype, const char* strkey, int* begin, int* end,
                           int* firL);

/* Types 1 to 4: where (key, line) belongs; one position further when that very entry exists. */
int search_by_nounique_line_key(int fd, int idxtype, const char* strkey, int line);

/* Types 0 to 4: where the alert at `line` belongs among `count` entries. */
int search_index_write_location(int fd, int idx_type, int count, LPALERT_RECORD_INFO paltrecd,
                                int line);

/* Type 5: the position of the alert's entry, or where it belongs. */
int srv_alt_id_index_write_location(int fd, int count, LPALERT_RECORD_INFO paltrecd);

/* Types 0 to 4: the position of the entry of `altinfo` at `oldline`. In "time.idx" only the first
 * entry is accepted. stype has no effect. */
int search_special_record(int idxfd, int idxtype, ALERT_RECORD_INFO altinfo, int stype,
                          int oldline);

/* Type 5: *line is the position of the alert's entry, -1 when absent. stype 0 logs a miss. */
int search_special_alt_id_record(int idxfd, int stype, ALERT_RECORD_INFO altinfo, int* line);

/* ---- upkeep --------------------------------------------------------------------------------- */

/* Brings all six indexes up to date with `paltrecd`, just written at `line` in place of `oldalt`
 * (all zero when the log was not full). An index that cannot be updated is deleted, to be built
 * again by its next open. -1 when the log cannot be opened or a damaged index not be deleted. */
int modify_index_file(int line, LPALERT_RECORD_INFO paltrecd, ALERT_RECORD_INFO oldalt);

/* Moves the entries start to end by one: direction 0 moves start+1..end down to start..end-1,
 * direction 1 moves start..end up to start+1..end+1. */
int move_index_record(int fd, int idxtype, int start, int end, int direction);

/* Copies up to n bytes from src to dest through buf (n bytes). The number of bytes moved, 0 at the
 * end of the file. */
int move_line(int fd, off_t dest, off_t src, void* buf, size_t n);

/* Types 0 to 4: removes an entry and shortens the file; the header count is the caller's to
 * rewrite. */
int delete_index_record(int oldline, int idxfd, int idxtype, ALERT_RECORD_INFO oldalert);

/* 1 when the log holds an alert with the server and id of the record image buf, 0 when not. */
int check_dup_alert(const char* buf);

/* ---- building and integrity ----------------------------------------------------------------- */

/* Builds the index named by an entry of idx_name from the log. 0 also when another process made
 * the file first. */
int create_index_content(const char* idx);

/* Fills element `line` of the build array. Always 0; fd has no effect. */
int insert_node_by_key(int fd, int idxtype, LPINDEX_NODE pIndexNode, const char* szKeyval,
                       const void* append, int line);

/* Sorts the elements low to high in the order of the index. Not stable. */
void qsort_indexNode_array(LPINDEX_NODE pIndexNode, int low, int high, int idxtype);

/* Writes count elements as index records at the descriptor's position; `file` is the index type. */
int output_index_file(LPINDEX_NODE nodePtr, int fd, int file, int count);

/* Deletes and builds all six indexes; stops at the first that cannot be built. */
int recreate_index_files(void);

/* Deletes every index whose bit in isChanged is set. */
int check_index_file_status(void);

/* Deletes the log if it is empty, then all six indexes. */
int remove_destroyed_file(void);

#ifdef __cplusplus
}
#endif
#endif
