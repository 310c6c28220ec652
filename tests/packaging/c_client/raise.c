/* A program in plain C, built outside the tree against the installed library: raises the alert that
 * its argument tells. */
#include <alert_log.h>
#include <alert_udp.h>
#include <stdio.h>
#include <string.h>

static int fill(ALERT_RECORD_INFO* alert, const char* message) {
  char host[256];
  if (get_local_server(host) != 0 || strlen(host) >= sizeof alert->szServer ||
      strlen(message) >= sizeof alert->szAlertMessage) {
    return -1;
  }
  strcpy(alert->szEventID, "1001");
  strcpy(alert->szLevel, "1");
  strcpy(alert->szServer, host);
  strcpy(alert->szModType, "disk");
  strcpy(alert->szAlertMessage, message);
  get_current_localtime(alert->szServerTime, sizeof alert->szServerTime);
  return 0;
}

int main(int argc, char** argv) {
  ALERT_RECORD_INFO alert = {0};
  int result;
  if (argc != 2 || alert_log_lib_init(NULL) != 0) return 1;
  result = fill(&alert, argv[1]) == 0 ? alert_log_lib_write(&alert) : -1;
  if (result != 0) fprintf(stderr, "raise: the alert was not accepted\n");
  alert_log_lib_term();
  return result != 0;
}
