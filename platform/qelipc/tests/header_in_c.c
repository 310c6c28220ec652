/* The header in plain C: every call with its exact type. */
#include "qelipc.h"

int (*const c_shmcm_attach)(void) = shmcm_attach;
int (*const c_shmcm_getratio)(int*, int*) = shmcm_getratio;
int (*const c_shmcm_detach)(void) = shmcm_detach;
int (*const c_semevt_set_alert)(void) = semevt_set_alert;
int (*const c_shmcm_setratio)(int, int) = shmcm_setratio;
int (*const c_semevt_wait_alert)(unsigned*, int) = semevt_wait_alert;

int c_ratio_after_set(int ratio, int period) {
  int read_ratio = 0;
  int read_period = 0;
  if (c_shmcm_setratio(ratio, period) != 0 || shmcm_attach() != 0 ||
      shmcm_getratio(&read_ratio, &read_period) != 0 || shmcm_detach() != 0) {
    return -1;
  }
  return read_period == period ? read_ratio : -1;
}
