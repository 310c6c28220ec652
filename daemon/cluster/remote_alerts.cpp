#include "cluster/remote_alerts.h"

#include <arpa/inet.h>
#include <qelipc.h>

#include <cstring>

#include "alert_log.h"
#include "alert_msg.h"
#include "log.h"
#include "recovery.h"

namespace qel::daemon {

bool RemoteAlerts::store(const Datagram& datagram) {
  const al_msg_header head = header_of(datagram);
  const bool single = head.msg_type == AL_MSGTYPE_SYNC_SEND_ALERT;
  const size_t count = single ? 1 : head.reserve1;
  for (size_t i = 0; i < count; ++i) {
    ALERT_RECORD_INFO record;
    memcpy(&record, datagram.bytes + sizeof head + i * AL_DATA_SLOT_SIZE, sizeof record);
    record.alert_id = ntohl(record.alert_id);  // the codec has not seen it yet
    if (!store_record(record, datagram.sender)) return false;
  }
  return true;
}

bool RemoteAlerts::store_record(const ALERT_RECORD_INFO& record, const char* sender) {
  const char* image = reinterpret_cast<const char*>(&record);
  const int duplicate = check_dup_alert(image);
  if (duplicate != 0) return duplicate == 1;
  if (!write(record)) {
    DAEMON_LOG(kMinor, "alert %u of %s from %s could not be stored", record.alert_id,
               record.szServer, sender);
    cut_surplus_line();
    return false;
  }
  DAEMON_LOG(kDetail, "alert %u of %s from %s", record.alert_id, record.szServer, sender);
  ++stored_;
  unannounced_ = true;
  log_sync_->mark();
  return true;
}

bool RemoteAlerts::write(const ALERT_RECORD_INFO& record) {
  if (!redo_.keep(record)) return false;
  const int result = udp_write_disk(reinterpret_cast<const char*>(&record), sizeof record, 0);
  redo_.forget();
  return result >= 0;
}

void RemoteAlerts::announce() {
  if (!unannounced_) return;
  unannounced_ = false;
  if (semevt_set_alert() != 0) DAEMON_LOG(kMinor, "raising the new-alert event failed");
}

}  // namespace qel::daemon
