/* The servers of the cluster and their addresses.
 *
 * A list is a chain of ty_svrlist nodes that belong to it; lists hold copies, never one node
 * twice. Nodes and their names come from malloc and go through free. No list has a lock: all calls
 * come from the daemon's main loop.
 */
#ifndef QEL_ALERT_UDP_H
#define QEL_ALERT_UDP_H

#ifdef __cplusplus
extern "C" {
#endif

enum { IP46_TEXT_SIZE = 46 };

/* One address of a server, 52 bytes. */
struct ip46_addr {
  char ip[IP46_TEXT_SIZE]; /* IPv4 dotted form or IPv6 text, NUL-terminated */
  int device_id;           /* the interconnect it lies on: equal numbers, equal network */
};

/* One server: 24 bytes, then ip_num addresses in the same allocation. */
struct ty_svrlist {
  struct ty_svrlist* next;
  char* svr_name; /* as in alert records; own allocation, at most 64 characters */
  int ip_num;
#ifdef __cplusplus
  struct ip46_addr ip_addr[1]; /* C++ has no flexible members; ip_num counts */
#else
  struct ip46_addr ip_addr[];
#endif
};

/* Filled by the daemon before `initialize`, read by the library. */
extern struct ty_svrlist* server_list_head; /* every server, this one included */
extern struct ty_svrlist* local_svr;        /* this server; null outside an initialised daemon */

/* Working lists. */
extern struct ty_svrlist* new_server_list;   /* servers still to synchronise with */
extern struct ty_svrlist* servers_not_reply; /* servers that let a request expire */

/* Kept here for the daemon only. */
extern struct ty_svrlist* sync_server_list;
extern struct ty_svrlist* servers_alert_msg_not_reply;

/* Appends a copy of svr. 0, also when a server of that name stands behind the first node already
 * (the first node is not compared, so its equal is added once more); -1 on a null argument or
 * without memory, the list unchanged. */
int add_to_server_list(struct ty_svrlist** svr_list, const struct ty_svrlist* svr);

/* Takes p out of the list; the caller frees its name and p. Nothing happens when p is not in it. */
void unlink_one_svr(struct ty_svrlist** list, struct ty_svrlist* p);

/* Frees every node; the list is empty afterwards. */
void release_svrlist(struct ty_svrlist** list);

/* 1 if any address of any node equals any address of svr, else 0. */
int check_server_in_list(const struct ty_svrlist* list, const struct ty_svrlist* svr);

/* Compares two address texts without regard to case, an IPv4 text as its IPv4-mapped IPv6 form;
 * no other normalisation. 0 equal, 1 different. */
int ip_compare(const char* addr1, const char* addr2);

/* The short host name, cut at its first dot, into buf (at least 256 bytes). 0 or -1. */
int get_local_server(char* buf);

#ifdef __cplusplus
}
#endif
#endif
