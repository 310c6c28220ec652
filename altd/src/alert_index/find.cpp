#include "alert_index/find.h"

#include <algorithm>

#include "alert_index.h"
#include "common/log.h"

namespace qel {

namespace {

constexpr int kWalkAhead = 63;  // entries fetched at once while walking back from the end

void log_alert(const ALERT_RECORD_INFO& alert) {
  ALERT_LOG(kFailure, "altinfo:alert_id = %d,szServer = %s,szServerTime = %s",
            static_cast<int>(alert.alert_id), alert.szServer, alert.szServerTime);
}

int check_oldest(IndexReader& index, const ALERT_RECORD_INFO& alert, int line) {
  INDEX_RECORD_INFO entry = {};
  const int result = index.read(0, 0, 0, &entry);
  if (result < 0) return log_unread(0, result);
  if (strcmp(entry.szKeyVal, alert.szServerTime) == 0 &&
      entry.nLine == static_cast<unsigned>(line)) {
    return 0;
  }
  ALERT_LOG(kFailure, "the time.idx file was destroyed !");
  return -1;
}

}  // namespace

void log_absent_id(const ALERT_RECORD_INFO& alert) {
  ALERT_LOG(kFailure, "specified index record  not found in index file:%s",
            idx_name[kServerIdIndex]);
  log_alert(alert);
}

int log_unread(int position, int result) {
  ALERT_LOG(kFailure, "read index record(No. %d) failed", position);
  return result;
}

int log_unread_id(int position, int result) {
  ALERT_LOG(kFailure, "read_index_srv_id_record(No. %d) failed", position);
  return result;
}

Probe find_key_line(IndexReader& index, int count, const char* key, int line) {
  return binary_search(index, 0, count - 1, [&](const INDEX_RECORD_INFO& entry) {
    const int order = compare_keys(index.type(), key, entry.szKeyVal);
    return order != 0 ? order : compare_unsigned(static_cast<unsigned>(line), entry.nLine);
  });
}

Probe find_alert_id(IndexReader& index, int count, const ALERT_RECORD_INFO& alert) {
  return binary_search(index, 0, count - 1, [&](const INDEX_RECORD_INFO& entry) {
    const int order = strcmp(alert.szServer, entry.szKeyVal);
    return order != 0 ? order : compare_unsigned(alert.alert_id, entry.alert_id);
  });
}

int read_ends(IndexReader& index, int count, Ends* ends) {
  *ends = {};
  int result = index.read(0, 0, 0, &ends->first);
  if (result < 0) return log_unread(0, result);
  const int last = count - 1;
  result = index.read(last, last, last, &ends->last);
  return result < 0 ? log_unread(last, result) : 0;
}

// New alerts are almost always the newest, so "time.idx" is walked from its end. A time equal to
// the first entry's goes in front of it, any other equal time behind its run.
int find_time_location(IndexReader& index, int count, const Ends& ends, const char* time) {
  if (strcmp(time, ends.last.szKeyVal) >= 0) return count;
  if (strcmp(time, ends.first.szKeyVal) <= 0) return 0;
  INDEX_RECORD_INFO entry = {};
  for (int position = count - 2; position >= 0; --position) {
    const int result = index.read(position, std::max(position - kWalkAhead, 0), position, &entry);
    if (result < 0) return log_unread(position, result);
    if (strcmp(entry.szKeyVal, time) <= 0) return position + 1;
  }
  return 0;
}

int find_overwritten(IndexReader& index, int count, const ALERT_RECORD_INFO& alert, int line) {
  if (index.type() == kTimeIndex) return check_oldest(index, alert, line);
  const Probe probe = find_key_line(index, count, key_of(alert, index.type()), line);
  if (probe.result < 0) return log_unread(probe.mid, -1);
  if (probe.found) return probe.mid;
  ALERT_LOG(kFailure, "specified index record  not found in file:%s ,oldline = %d",
            idx_name[index.type()], line);
  log_alert(alert);
  return -1;
}

}  // namespace qel
