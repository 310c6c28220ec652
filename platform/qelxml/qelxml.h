/* XML configuration of the product: libqelxml.so.1.0.
 *
 * Configuration lies in the directory named by the environment variable QEL_CONFIG_DIR (read at
 * xmllib_init), else in "/etc/qelalert":
 *   cluster.xml      the cluster: read by xmllib_load_config
 *   <section>.xml    one policy section ("all", "alert", "webalert"): read by xmllib_load_policy
 * Files are UTF-8 of at most 4 MiB with the one root element <root>. A key is a path of element
 * names from there, such as "/root/webalert/daemon/udpport"; its value is the element's own text
 * without surrounding white space; comments in it do not count. Of several elements of one name
 * below the same element the first counts, or the one whose position, from 1, stands in brackets
 * behind the name: "/root/cluster/server[2]/name". A list ends at its first position that is
 * missing. Positions are an addition of this implementation; another one knows no such key. A key
 * is looked up in the loaded policy sections, the latest first, then in cluster.xml.
 *
 * A process has one configuration; calls must not overlap. Nothing is printed; what went wrong
 * last is told by xmllib_last_error.
 */
#ifndef QELXML_H
#define QELXML_H

#include <sys/times.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default) /* what follows is what the library exports */

enum { XMLLIB_TEXT = 0, XMLLIB_INT = 1 };

/* Starts the library for the program `name` (1 to 64 characters; stands at the head of errors that
 * name no file). A second call without xmllib_term drops what was loaded. 0; -1 changes nothing. */
int xmllib_init(const char* name);

/* Loads, or loads again, cluster.xml. 0, or -1 when it is missing, unreadable or not well-formed;
 * it is then not loaded. */
int xmllib_load_config(void);

/* Loads, or loads again, the policy section `section` (1 to 64 letters, digits, "_" and "-").
 * 0 or -1 as above; on failure nothing of that section is loaded. */
int xmllib_load_policy(const char* section);

/* Forgets a policy section. 0, or -1 when it is not loaded. */
int xmllib_unload_policy(const char* section);

/* Reads the value of `key`.
 *   XMLLIB_TEXT  *size holds the buffer's size in bytes; the text with its NUL must fit, else -1;
 *                on success *size is the text's length without the NUL. An empty text is a value.
 *   XMLLIB_INT   buffer is an int, *size must be at least sizeof(int); the text must be one
 *                decimal number, with or without a sign, within the range of int; *size stays.
 * 0; -1 when the key is missing, its value does not fit the type, or an argument is null. The
 * buffer is unchanged on failure. */
int xmllib_get_value(const char* key, int type, void* buffer, int* size);

/* Forgets cluster.xml and every policy section. 0, or -1 when cluster.xml was not loaded
 * (nothing is forgotten then). */
int xmllib_unload_config(void);

/* Ends the library. 0, or -1 when it was not started. */
int xmllib_term(void);

/* The tick clock: ticks since an arbitrary point of the past, sysconf(_SC_CLK_TCK) a second, as
 * times(2). `t` may be null. */
clock_t xmllib_times(struct tms* t);

/* What the last failed call found, as "file:line: key: reason" with the parts that apply; empty
 * when none failed since xmllib_init; cut at 1023 bytes. Valid until the next call. An addition of
 * this implementation: programs that may run with another one declare it weak. */
const char* xmllib_last_error(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
#endif
