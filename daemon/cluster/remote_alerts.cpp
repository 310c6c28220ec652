#include "cluster/remote_alerts.h"

#include <arpa/inet.h>
#include <qelipc.h>

#include <cstring>

#include "alert_log.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "log.h"
#include "recovery.h"

namespace qel::daemon {

namespace {

size_t record_count(const Datagram& datagram) {
  const al_msg_header head = header_of(datagram);
  return head.msg_type == AL_MSGTYPE_SYNC_SEND_ALERT ? 1 : head.reserve1;
}

// The codec has not seen the datagram yet: its numbers are in network order.
ALERT_RECORD_INFO record_at(const Datagram& datagram, size_t i) {
  ALERT_RECORD_INFO record;
  memcpy(&record, datagram.bytes + AL_MSG_HEADER_SIZE + i * AL_DATA_SLOT_SIZE, sizeof record);
  record.alert_id = ntohl(record.alert_id);
  return record;
}

// An own alert that comes back from the others had been lost here: its id must not be given again.
void note_own_id(const ALERT_RECORD_INFO& record) {
  if (local_svr == nullptr || strcmp(record.szServer, local_svr->svr_name) != 0) return;
  if (record.alert_id <= max_alertid_localserver) return;
  max_alertid_localserver = record.alert_id;
  get_maxalertid_localserver_now = 1;
}

}  // namespace

bool RemoteAlerts::store(const Datagram& datagram) {
  for (size_t i = 0; i < record_count(datagram); ++i) {
    if (!store_record(record_at(datagram, i), datagram.sender)) return false;
  }
  return true;
}

bool RemoteAlerts::can_be_told(const Datagram& datagram) {
  return record_count(datagram) == 0 ||
         log_sync_->indexes().look_up(record_at(datagram, 0)) != Held::kUnknown;
}

bool RemoteAlerts::store_record(const ALERT_RECORD_INFO& record, const char* sender) {
  const Held held = log_sync_->indexes().look_up(record);
  if (held != Held::kNo) return held == Held::kYes;
  const int result = write(record);
  if (result < 0) {
    DAEMON_LOG(kMinor, "alert %u of %s from %s could not be stored", record.alert_id,
               record.szServer, sender);
    log_sync_->indexes().store_failed();
    return false;
  }
  if (result > 0) return true;  // not storable
  DAEMON_LOG(kDetail, "alert %u of %s from %s", record.alert_id, record.szServer, sender);
  ++stored_;
  unannounced_ = true;
  note_own_id(record);
  return true;
}

// 0 stored, above 0 not storable, below 0 failed.
int RemoteAlerts::write(const ALERT_RECORD_INFO& record) {
  if (!redo_.keep(record)) return -1;
  log_sync_->mark();
  const int result = udp_write_disk(reinterpret_cast<const char*>(&record), sizeof record, 0);
  redo_.forget();
  return result;
}

void RemoteAlerts::announce() {
  if (!unannounced_) return;
  unannounced_ = false;
  if (semevt_set_alert() != 0) DAEMON_LOG(kMinor, "raising the new-alert event failed");
}

}  // namespace qel::daemon
