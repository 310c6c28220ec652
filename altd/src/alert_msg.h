/* State of the synchronisation protocol that the daemon shares with the library.
 *
 * Plain integers of the process: the library raises a request, the daemon clears it when it acts
 * on it. Called from the daemon's main loop only.
 */
#ifndef QEL_ALERT_MSG_H
#define QEL_ALERT_MSG_H

#ifdef __cplusplus
extern "C" {
#endif

/* 1 when the local server's highest alert id is to be adopted, or, after a new alert log was made
 * outside an initialised daemon, still to be asked for. */
extern int get_maxalertid_localserver_now;
/* 1 while the peers' replies about the local server's highest alert id are waited for. */
extern int start_count_time_for_maxalertid_localserver;
/* 1 when alerts of the intake file may be stored. */
extern int start_write_local_logfile;

/* The local log has to be filled from the cluster: stops local writing until the local server's
 * highest alert id is known and puts every other server on new_server_list. Does nothing but log
 * a failure while local_svr is null. */
void add_to_new_serverlist_all(void);

#ifdef __cplusplus
}
#endif
#endif
