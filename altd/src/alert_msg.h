/* The messages between the servers of a cluster, and the protocol that keeps their logs equal.
 *
 * The library decides, the daemon acts: the library has no thread, no timer and no socket that it
 * keeps. The daemon
 *   1. fills server_list_head and local_svr (alert_udp.h) and the settings of alert_config.h,
 *      and calls `initialize` once;
 *   2. calls `ding` once a second, and then clears and answers each request flag that is raised;
 *   3. receives datagrams on alt_udp_port at its own addresses, turns each into a message with
 *      `string_to_msg`, hands it to the handler of its type together with the receive buffer and
 *      the sender's address text, and frees it with `al_msg_del`;
 *   4. hands each new local alert to `recv_send_alert_msg` with sequence 0.
 * What a handler is given must have been checked by the daemon: a datagram of exactly the size that
 * its header tells, a buffer that is zero behind it and at least AL_MSG_BUFFER_SIZE bytes long,
 * texts that end within their fields. The whole protocol, with its state table: docs/PROTOCOL.md.
 *
 * Rules that hold for all of it
 *   - One thread, one call at a time; only `ding` may run beside the others, and
 *     timeout_variable_mutex guards what it counts.
 *   - Results are 0 for success and -1 for failure unless said otherwise. Every failure is logged
 *     where it happens. Nothing is thrown.
 *   - Messages, payloads and datagrams come from malloc and go through free.
 */
#ifndef QEL_ALERT_MSG_H
#define QEL_ALERT_MSG_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include "alert_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- messages ------------------------------------------------------------------------------- */

enum {
  AL_MSG_HEADER_SIZE = 72,     /* bytes of a datagram before its payload */
  AL_MSG_ADDRESS_SIZE = 48,    /* an address text with its NUL */
  AL_SYNC_DATA_SIZE = 144,     /* payload of requests and replies about ids, and of data requests */
  AL_DATA_SLOT_SIZE = 1000,    /* one record of a data reply */
  AL_DATA_SLOTS = 4,           /* records that one data reply carries at most */
  AL_DATA_REPLY_SIZE = 4024,   /* payload of a data reply */
  AL_NAMES_PAYLOAD_MAX = 4096, /* longest payload of server names that is accepted */
  AL_ALTID_TEXT_SIZE = 7710,   /* room for the list of highest ids, with its NUL */
  AL_SVRNAME_COUNT = 100,      /* names in a table of server names */
  AL_MSG_BUFFER_SIZE = 16384   /* what a receive buffer must hold: more than any payload */
};

/* A reply has the type of its request with this bit set. */
enum { AL_MSGTYPE_REPLY = 0x10000000 };

enum {
  AL_MSGTYPE_SYNC_SEND_ALERT = 0x1,           /* one alert record, 680 bytes */
  AL_MSGTYPE_SYNC_REQUEST_SERVER_NAME = 0x3,  /* whose alerts do you hold */
  AL_MSGTYPE_SYNC_REQUEST_ALERT_ID = 0x5,     /* highest id that you hold of a server */
  AL_MSGTYPE_SYNC_REQUEST_DATA = 0x7,         /* alerts of a server from an id on */
  AL_MSGTYPE_SYNC_REQUEST_MAX_ALERT_ID = 0x8, /* highest id that you hold of me */
  AL_MSGTYPE_SYNC_SEND_SERVER_STATUS = 0x9,   /* heartbeat */
  AL_MSGTYPE_SYNC_SEND_NEW_SERVER = 0xa,      /* I am back; my highest id of each server */
  AL_MSGTYPE_SYNC_REPLY_ALERT = 0x10000001,
  AL_MSGTYPE_SYNC_REPLY_SERVER_NAME = 0x10000003,
  AL_MSGTYPE_SYNC_REPLY_ALERT_ID = 0x10000005,
  AL_MSGTYPE_SYNC_REPLY_DATA = 0x10000007,
  AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID = 0x10000008,
  AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS = 0x10000009,
  AL_MSGTYPE_SYNC_REPLY_NEW_SERVER = 0x1000000a
};

/* The first 72 bytes of every datagram; in memory in host order, on the wire big-endian. */
struct al_msg_header {
  uint32_t version; /* 1; not checked on receipt */
  uint32_t msg_type;
  uint32_t sequence; /* of the request, also in its reply; 0: not kept for retransmission */
  uint32_t data_len; /* bytes of payload behind the header */
  char dst_addr[AL_MSG_ADDRESS_SIZE]; /* numeric address text; empty: not sent */
  uint32_t reserve1;                  /* records in a data reply, else 0 */
  uint32_t reserve2;                  /* device_id of dst_addr; a reply copies its request's */
};

/* One message. */
struct al_msg {
  struct al_msg_header* msg_head; /* never null in a message made by al_msg_new */
  void* msg_data;                 /* data_len bytes, or null; null in received messages */
  struct al_msg* next;            /* the next message of the same send history node */
};

/* What one server asks another about the alerts of a server; also the cursor of a
 * resynchronisation. 144 bytes on the wire, numbers big-endian. */
struct al_sync_data {
  uint32_t alert_id;               /* request: start here (0: the highest held); reply: answer */
  char sync_svr[ALERT_NAME_SIZE];  /* whose alerts */
  char reply_svr[ALERT_NAME_SIZE]; /* who answers */
  uint32_t max_alert_id;           /* of the requester; sent back as it came */
  uint32_t sync_flg;               /* of the requester; sent back as it came */
};

/* One entry of a list of highest ids. */
struct servername_altid {
  char servername[ALERT_NAME_SIZE];
  int maxaltid;
};

QEL_STATIC_ASSERT(sizeof(struct al_msg_header) == AL_MSG_HEADER_SIZE, "message header");
QEL_STATIC_ASSERT(offsetof(struct al_msg_header, dst_addr) == 16, "message header");
QEL_STATIC_ASSERT(offsetof(struct al_msg_header, reserve1) == 64, "message header");
QEL_STATIC_ASSERT(sizeof(struct al_sync_data) == AL_SYNC_DATA_SIZE, "sync record");
QEL_STATIC_ASSERT(offsetof(struct al_sync_data, reply_svr) == 69, "sync record");
QEL_STATIC_ASSERT(offsetof(struct al_sync_data, max_alert_id) == 136, "sync record");
QEL_STATIC_ASSERT(sizeof(struct servername_altid) == 72, "highest id entry");

/* The sequence of the next request to one server: the same for all of its addresses. Starts at 1,
 * never 0. */
extern uint32_t sequencenum;

/* A message with a zeroed header of version 1, without payload; null without memory. */
struct al_msg* al_msg_new(void);

/* Frees header, payload and message; null is ignored. */
void al_msg_del(struct al_msg* msg);

/* Turn the numbers of a header around, in place. */
void hton_msg_header(struct al_msg_header* pheader);
void ntoh_msg_header(struct al_msg_header* pheader);

/* The datagram of a message, 72 + data_len bytes that the caller frees; null on failure. msg is
 * unchanged. A payload must be as long as its type needs (680, 144 or 4024 bytes). */
char* msg_to_string(struct al_msg* msg);

/* The message of a datagram in a receive buffer. Turns the payload's numbers around inside `buf`,
 * where the payload stays (at byte 72); msg_data is null. Null on failure. data_len is what the
 * sender wrote: nobody has compared it with the size received. */
struct al_msg* string_to_msg(char* buf);

/* ---- sending and the send history ----------------------------------------------------------- */

/* One outstanding request: all messages of one sequence, to the addresses of one server. */
struct al_msg_send_hist {
  struct al_msg_send_hist* next; /* in order of creation */
  clock_t startcl;               /* tick count at which its last message was filed */
  int sequence;
  struct al_msg* msg; /* the first; all of them share one payload, which is freed once */
};

/* The head of the history; its `next` is the first node. Empty from the start. */
extern struct al_msg_send_hist send_hist;
/* The node that the last operation looked at, and the one before it. */
extern struct al_msg_send_hist* currecord_send;
extern struct al_msg_send_hist* previous_send;

/* Sends one datagram from the local address on the destination's interconnect (reserve2), through a
 * socket of its own. 0 when sent, and when skipped: no destination address, or the local address
 * cannot be bound at the moment. The message stays the caller's. */
int send_msg(struct al_msg* msg);

/* Sends a request and files it in the history, which owns it from then on; also when sending failed
 * (-1). A data request is only filed: it leaves with the next re_send_msg, or sooner when the
 * daemon sends it. A message of sequence 0 is freed once it is sent. */
int send_request_msg(struct al_msg* msg);

/* Answers a request with a reply of type msg_type without payload. */
int send_reply_msg(struct al_msg* msg, const char* addr, uint32_t msg_type);

/* Frees every node. */
void init_send_hist(void);

/* Files a message under its sequence: 0 kept; -1 not kept, a message of sequence 0 is freed. */
int add_to_send_hist(struct al_msg* msg);

/* Frees the node of the reply's sequence, if any; the reply stays the caller's. */
void del_from_send_hist(struct al_msg* msg);

/* 0 when the history has a node of this sequence, else -1. */
int find_seq(int seq);

/* Takes an acknowledgement of an alert: removes what it answers. 0; -1: msg is something else. */
int should_drop_message(struct al_msg* msg);

/* Sends every message of the history again. */
void re_send_msg(void);

/* Frees the nodes that are too old and puts the servers they were for on servers_not_reply. An
 * expired data request ends the resynchronisation: g_sync_step becomes RESYN_END. */
void dropmsg_from_list(void);

/* ---- handlers of received messages ---------------------------------------------------------- */

/* msg, buf and addr as under 3. above. */

/* An alert. From a peer: stored unless it is there, and acknowledged when it is. Local (sequence
 * 0): stored and sent to every other server, sent also when it could not be stored. 0, also when it
 * could not be stored; -1 on a null argument, a stranger's address, a length other than 680, or
 * without memory. */
int recv_send_alert_msg(struct al_msg* msg, const char* buf, const char* addr);

/* Requests; remsg_type is the type of the reply. 0 when the reply went out. */
int recv_request_server_name_msg(struct al_msg* msg, const char* addr, uint32_t remsg_type);
int recv_request_alert_id_msg(struct al_msg* msg, const char* buf, const char* addr,
                              uint32_t remsg_type);
int recv_request_data_msg(struct al_msg* msg, const char* buf, const char* addr,
                          uint32_t remsg_type);
int recv_send_heartbeat_msg(struct al_msg* msg, const char* addr, uint32_t remsg_type);
/* 0 also for null arguments and strangers, which get no reply; -1 when the sender could not be put
 * on new_server_list. */
int recv_send_new_server_msg(struct al_msg* msg, const char* buf, const char* addr,
                             uint32_t remsg_type);

/* Replies of the resynchronisation: -1 when they do not fit its state. */
int recv_reply_single_server_name_msg(struct al_msg* msg, const char* buf, const char* addr);
int recv_reply_single_alert_id_msg(struct al_msg* msg, const char* buf, const char* addr);
int recv_reply_single_data_msg(struct al_msg* msg, const char* buf, const char* addr);

/* Replies that tell this server's own highest id. */
int recv_reply_maxalertid_localserver_msg(struct al_msg* msg, const char* buf, const char* addr);
int recv_reply_new_server_msg(struct al_msg* msg, const char* buf, const char* addr);

/* ---- requests ------------------------------------------------------------------------------- */

/* One request to one address, with the current sequencenum, which the caller moves on. `data` is a
 * struct al_sync_data from malloc; it belongs to the message from then on, unless -1 came of a null
 * argument or of memory. The result of send_request_msg. */
int send_request_server_name_msg(const char* dst_ip, uint32_t msg_type, int device_id);
int send_request_alert_id_msg(void* data, const char* dst_ip, uint32_t msg_type, int device_id);
int send_request_data_msg(void* data, const char* dst_ip, uint32_t msg_type, int device_id);

/* A heartbeat to every address of every other server. */
void send_request_heartbeat_msg(void);

/* The announcement of this server to every server on servers_not_reply. */
void send_new_server_msg(void);

/* ---- resynchronisation ---------------------------------------------------------------------- */

enum {
  RESYN_START = 0, /* being started */
  REQ_NAME = 1,    /* server names asked for */
  RCV_NAME = 2,    /* server names received */
  REQ_ALTID = 3,   /* highest id of one name asked for */
  RCV_ALTID = 4,   /* highest id received */
  REQ_DATA = 5,    /* alerts asked for */
  RESYN_END = 6    /* idle */
};

extern int g_sync_step; /* RESYN_END at first */

/* The cursor of the running resynchronisation, and one that is only cleared. */
extern struct al_sync_data sync_single_data;
extern struct al_sync_data begin_sync_data;

/* Tables of server names, filled from the front, ended by an empty name. */
extern char local_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE];  /* in this server's log */
extern char single_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE]; /* received from the peer */
extern char sync_single_svrname_list[AL_SVRNAME_COUNT][ALERT_NAME_SIZE]; /* dealt with */

/* Starts with the first server of new_server_list. 0 when requests went out. */
int request_single_svrname(void);

/* The next name that the peer told. 0: its highest id is asked for; 1: no name is left. */
int sync_other_single_svrname(void);

/* Releases the peer, the first of new_server_list, and starts with the next one, if any. */
int sync_other_new_server(void);

/* Asks the peer for its highest id of syncdata->sync_svr. */
int request_single_alert_id(struct al_sync_data* syncdata);

/* Asks the server syncdata->reply_svr for alerts of sync_svr from alert_id on. Before the first one
 * of a name the daemon sets alert_id (the first to fetch) and max_alert_id (the last). */
int request_single_data(struct al_sync_data* syncdata);

/* Reset the state for a new peer, and end the resynchronisation; append_new_svr 1 keeps the peer
 * for a later try. Both re-arm their countdowns. */
void start_resynchronize(const char* srv_name);
void end_resynchronize(int append_new_svr);

/* The first name of svrname_list that is not in sync_svrname_list goes to svrname (65 bytes): 0;
 * 1 when there is none. */
int get_unsync_svrname(char svrname_list[][ALERT_NAME_SIZE],
                       char sync_svrname_list[][ALERT_NAME_SIZE], char* svrname);

/* The local log has to be filled from the cluster: stops local writing, asks the peers for the
 * local server's highest alert id and puts every other server on new_server_list. Does nothing but
 * log a failure while local_svr is null. */
void add_to_new_serverlist_all(void);

/* ---- the local server's highest id ---------------------------------------------------------- */

/* The highest id of a local alert that any peer has told of. */
extern uint32_t max_alertid_localserver;

/* Asks every other server for its highest id of syncdata->sync_svr. */
int request_max_alertid_localserver(struct al_sync_data* syncdata);

/* The highest id of each server in the local log; the caller frees the array. Null, count 0, when
 * there is none. */
struct servername_altid* get_all_svrname_maxid_from_local(int* count);

/* The same as text: a line with the number of servers, then a line with name and id for each, then
 * a NUL. At most AL_ALTID_TEXT_SIZE bytes into msgdata; the length with the NUL. */
int get_svr_altid_msgdata(char* msgdata);

/* Parses such a text, which ends with a NUL; the caller frees the array. Names that are longer than
 * 64 characters are left out. Null, count 0, when there is nothing. */
struct servername_altid* get_all_svrname_maxid_from_remote(const char* buf, int* count);

/* The id of the first entry whose name the local host name begins with; 0 without one. */
int get_local_maxid_from_remote(const char* buf);

/* ---- the tick ------------------------------------------------------------------------------- */

/* Guards the counters and flags below while `ding` runs. */
extern pthread_mutex_t timeout_variable_mutex;

extern int current_ratio;          /* stretches most time-outs; 1 or more */
extern clock_t g_last_resync_time; /* QEL_TIMES of the last progress of a resynchronisation */

/* Countdowns in ticks and what arms them. */
extern int check_newsvr_time;
extern int check_newsvr_flag;
extern int sync_single_svrname_time;
extern int sync_single_svrname_flag;
extern int sync_single_altid_time;
extern int sync_single_altid_flag;
extern int start_count_time_for_maxalertid_localserver; /* waiting for the peers' replies */
extern int start_write_local_logfile; /* 1 when alerts of the intake file may be stored */

/* Request flags: raised by the library, cleared and answered by the daemon. */
extern int write_alert_now;           /* drain the intake */
extern int resend_now;                /* re_send_msg */
extern int drop_now;                  /* dropmsg_from_list */
extern int check_svrlist_now;         /* look whether the cluster's servers have changed */
extern int start_heartbeat_now;       /* send_request_heartbeat_msg */
extern int start_send_new_server_now; /* send_new_server_msg */
extern int check_newsvr_now;          /* go on with new_server_list */
extern int sync_single_svrname_now;   /* the wait for names is over: sync_other_single_svrname */
extern int sync_single_altid_now;     /* the wait for ids is over: request_single_data */
extern int get_maxalertid_localserver_now; /* adopt max_alertid_localserver */

/* Once, before the first message and the first tick. */
void initialize(void);

/* One tick: counts down, raises flags, ends a resynchronisation that makes no progress. */
void ding(void);

/* Reads the cluster's time-out ratio, at least 1, and the period that goes with it. On failure
 * (-1) the ratio is 1 or the one read before the failure. */
int alert_shmcm_getratio(int* ratio, int* period);

#ifdef __cplusplus
}
#endif
#endif
