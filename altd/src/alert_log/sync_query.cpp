// What the synchronisation asks of the store. Answered from "server.idx" and "srv_alt_id.idx", in
// which the alerts of one server form one run in the order of their ids.
#include <fcntl.h>

#include <algorithm>
#include <cstring>

#include "alert_index/index_reader.h"
#include "alert_index/layout.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/steps.h"
#include "alert_msg.h"
#include "common/descriptor.h"
#include "common/log.h"

using qel::Descriptor;
using qel::IndexReader;
using qel::kFailure;
using qel::kNotable;
using qel::kServerIdIndex;
using qel::kServerIndex;
using qel::kTrace;
using qel::Probe;

namespace {

constexpr int kAhead = 511;  // entries fetched together while an index is read from front to end

struct OpenIndex {
  explicit OpenIndex(int type) : file(open_file(idx_name[type], O_RDONLY)) {}
  Descriptor file;
  int count = 0;
};

// Reads the number of entries. False (logged) when the index cannot be opened or read.
bool read_count(OpenIndex* index, int type) {
  if (!index->file.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[type]);
    return false;
  }
  INDEX_HEADER header = {};
  if (read_index_header(index->file.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read index file(%s) header failed", idx_name[type]);
    return false;
  }
  index->count = static_cast<int>(header.nCurCount);
  return true;
}

int log_unread(int position) {
  ALERT_LOG(kFailure, "read index record(No. %d) failed", position);
  return -1;
}

// The alerts of one server in the open "srv_alt_id.idx".
class ServerRun {
 public:
  ServerRun(const OpenIndex& index, const char* name)
      : entries_(index.file.get(), kServerIdIndex), count_(index.count), name_(name) {}

  // 0 or -1 (logged); `entry` is that at `position`.
  int read(int position, INDEX_RECORD_INFO* entry) { return read(position, position, entry); }
  int read(int position, int last, INDEX_RECORD_INFO* entry) {
    return entries_.read(position, position, last, entry) < 0 ? log_unread(position) : 0;
  }
  bool owns(const INDEX_RECORD_INFO& entry) const { return strcmp(name_, entry.szKeyVal) == 0; }

  Probe find_any() {
    return logged(qel::binary_search(entries_, 0, count_ - 1, [&](const INDEX_RECORD_INFO& entry) {
      return strcmp(name_, entry.szKeyVal);
    }));
  }

  Probe find(uint32_t id) {
    return logged(qel::binary_search(entries_, 0, count_ - 1, [&](const INDEX_RECORD_INFO& entry) {
      const int order = strcmp(name_, entry.szKeyVal);
      return order != 0 ? order : qel::compare_unsigned(id, entry.alert_id);
    }));
  }

  // The last entry of the server; `any` is the position of one of them.
  Probe find_last(int any) {
    return logged(
        qel::binary_search(entries_, any, count_ - 1,
                           [&](const INDEX_RECORD_INFO& entry) { return owns(entry) ? 1 : -1; }));
  }

  // The first entry of the run without a gap that ends with from_id at position `end`. Ids are
  // unbroken exactly when id minus position is constant.
  int find_run_start(int end, uint32_t from_id, INDEX_RECORD_INFO* start) {
    int low = 0;
    int high = end;
    while (low < high) {
      const int mid = low + (high - low) / 2;
      if (read(mid, high, start) != 0) return -1;
      if (owns(*start) && start->alert_id == from_id - static_cast<uint32_t>(end - mid)) {
        high = mid;
      } else {
        low = mid + 1;
      }
    }
    return read(low, start);
  }

 private:
  static Probe logged(const Probe& probe) {
    if (probe.result < 0) log_unread(probe.mid);
    return probe;
  }

  IndexReader entries_;
  int count_;
  const char* name_;
};

int highest_id(ServerRun& run, int any, uint32_t* id) {
  const Probe probe = run.find_last(any);
  INDEX_RECORD_INFO entry = {};
  if (probe.result < 0 || run.read(probe.high, &entry) != 0) return -1;
  *id = entry.alert_id;
  ALERT_LOG(kNotable, "max alert id in get all alert id = %d", static_cast<int>(*id));
  return 0;
}

// Where from_id itself is not held. The position in place of an id is what peers know and expect.
int id_below(ServerRun& run, int high, uint32_t* id) {
  *id = 0;
  if (high == -1) return 0;
  INDEX_RECORD_INFO entry = {};
  if (run.read(high, &entry) != 0) return -1;
  if (run.owns(entry)) *id = static_cast<uint32_t>(high);
  return 0;
}

int id_before_run(ServerRun& run, int found, uint32_t from_id, uint32_t* id) {
  INDEX_RECORD_INFO start = {};
  if (run.find_run_start(found, from_id, &start) != 0) return -1;
  *id = start.alert_id > 1 ? start.alert_id - 1 : 1;
  return 0;
}

int id_near(ServerRun& run, const char* name, uint32_t from_id, uint32_t* id, int flag) {
  const Probe probe = run.find(from_id);
  if (probe.result < 0) return -1;
  *id = from_id;
  if (probe.found) return flag == 1 ? id_before_run(run, probe.mid, from_id, id) : 0;
  if (flag != 1 && id_below(run, probe.high, id) != 0) return -1;
  ALERT_LOG(kTrace, "the found alert id of server(%s) is %ld", name, static_cast<long>(*id));
  ALERT_LOG(kTrace, "------------- leave: get_alert_id() --------------");
  return 0;
}

int nothing_held(uint32_t from_id, uint32_t* id, int flag) {
  *id = flag == 1 ? from_id : 0;
  return 1;
}

int find_alert_id(const char* name, uint32_t from_id, uint32_t* id, int flag) {
  OpenIndex index(kServerIdIndex);
  if (!read_count(&index, kServerIdIndex)) return -1;
  if (index.count == 0) {
    ALERT_LOG(kNotable, "alert log file is empty");
    return nothing_held(from_id, id, flag);
  }
  ServerRun run(index, name);
  const Probe any = run.find_any();
  if (any.result < 0) return -1;
  if (!any.found) {
    ALERT_LOG(kNotable, "there is no alert log of server(%s) now", name);
    return nothing_held(from_id, id, flag);
  }
  return from_id == 0 ? highest_id(run, any.mid, id) : id_near(run, name, from_id, id, flag);
}

int list_names(const OpenIndex& index, char (*names)[ALERT_NAME_SIZE]) {
  IndexReader entries(index.file.get(), kServerIndex);
  int listed = 0;
  for (int i = 0; i < index.count; ++i) {
    INDEX_RECORD_INFO entry = {};
    const int last = std::min(i + kAhead, index.count - 1);
    if (entries.read(i, i, last, &entry) < 0) return log_unread(i);
    if (listed > 0 && strcmp(names[listed - 1], entry.szKeyVal) == 0) continue;
    if (listed == AL_SVRNAME_COUNT) {
      ALERT_LOG(qel::kMinor, "the log holds alerts of more than %d servers, from %s on left out",
                static_cast<int>(AL_SVRNAME_COUNT), entry.szKeyVal);
      return 0;
    }
    memcpy(names[listed++], entry.szKeyVal, sizeof entry.szKeyVal);
  }
  return 0;
}

// Copies the alerts of the server from `start` on, at most `wanted`, into their slots.
int deliver(ServerRun& run, int start, int count, int wanted, int* delivered, char* slots) {
  qel::LogHeader header;
  const Descriptor log(qel::open_file_with_header(alt_name_only, O_RDONLY, &header));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file(%s) failed", alt_name_only);
    return -1;
  }
  const int end = std::min<int64_t>(count, int64_t{start} + std::max(wanted, 0));
  for (int position = start; position < end; ++position) {
    INDEX_RECORD_INFO entry = {};
    if (run.read(position, end - 1, &entry) != 0) return -1;
    if (!run.owns(entry)) return 0;
    ALERT_RECORD_INFO record = {};
    const int line = static_cast<int>(entry.nLine);
    if (qel::read_record(log.get(), header.length, line, &record) != 0) {
      ALERT_LOG(kFailure, "read alert record(line:%d) failed", line);
      return -1;
    }
    memcpy(slots + ptrdiff_t{AL_DATA_SLOT_SIZE} * (*delivered)++, &record, sizeof record);
  }
  return 0;
}

int find_alerts(const char* name, uint32_t from_id, int* alert_num, char* slots) {
  OpenIndex index(kServerIdIndex);
  if (!read_count(&index, kServerIdIndex)) return -1;
  ALERT_LOG(kTrace, "current alert count is: %d", index.count);
  const int wanted = *alert_num;
  *alert_num = 0;
  if (index.count == 0) {
    ALERT_LOG(kNotable, "alert log file is empty");
    return 1;
  }
  ServerRun run(index, name);
  const Probe probe = run.find(from_id);
  if (probe.result < 0) return -1;
  if (probe.found) return deliver(run, probe.mid, index.count, wanted, alert_num, slots);
  if (probe.low >= index.count) return 0;
  INDEX_RECORD_INFO next = {};
  if (run.read(probe.low, &next) != 0) return -1;
  if (!run.owns(next)) return 0;
  return deliver(run, probe.low, index.count, wanted, alert_num, slots);
}

// Leaves up to two positions unexamined, on purpose: peers rely on the ids that come of it.
int id_behind_run(ServerRun& run, int found, int count, uint32_t from_id, uint32_t* id) {
  int low = found;
  int high = count - 1;
  while (low < high - 1) {
    const int mid = (low + high) / 2;
    INDEX_RECORD_INFO entry = {};
    if (run.read(mid, high, &entry) != 0) return -1;
    const uint32_t expected = from_id + static_cast<uint32_t>(mid - low);
    if (run.owns(entry) && entry.alert_id == expected) {
      low = mid;
      from_id = expected;
    } else {
      high = mid - 1;
    }
  }
  *id = from_id + 1;
  return 0;
}

}  // namespace

int get_server_name(char (*server_name_list)[ALERT_NAME_SIZE]) {
  ALERT_TRACE_FUNCTION();
  if (server_name_list == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const qel::StoreGuard guard;
  OpenIndex index(kServerIndex);
  if (!read_count(&index, kServerIndex)) return -1;
  if (index.count == 0) {
    ALERT_LOG(kNotable, "there is no alert log now");
    return 1;
  }
  return list_names(index, server_name_list);
}

int get_alert_id(const char* svrname, uint32_t from_id, uint32_t* id, int flag) {
  ALERT_TRACE_FUNCTION();
  if (svrname == nullptr || id == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  ALERT_LOG(kTrace, "------------- enter: get_alert_id() --------------");
  ALERT_LOG(kTrace, "svrname: %s", svrname);
  ALERT_LOG(kTrace, "from_id: %ld", static_cast<long>(from_id));
  ALERT_LOG(kTrace, "id: %ld", static_cast<long>(*id));
  ALERT_LOG(kTrace, "flag: %d", flag);
  const qel::StoreGuard guard;
  return find_alert_id(svrname, from_id, id, flag);
}

int get_alert_log(const char* svrname, uint32_t from_id, int* alert_num, char* alert_buf) {
  ALERT_TRACE_FUNCTION();
  if (svrname == nullptr || alert_num == nullptr || alert_buf == nullptr) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const qel::StoreGuard guard;
  return find_alerts(svrname, from_id, alert_num, alert_buf);
}

int get_back_notcont_alert_id(const char* svrname, uint32_t from_id, uint32_t* id) {
  ALERT_TRACE_FUNCTION();
  if (svrname == nullptr || id == nullptr || from_id == 0) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  *id = from_id;
  const qel::StoreGuard guard;
  OpenIndex index(kServerIdIndex);
  if (!read_count(&index, kServerIdIndex)) return -1;
  if (index.count == 0) {
    ALERT_LOG(kNotable, "alert log file is empty");
    return 0;
  }
  ServerRun run(index, svrname);
  const Probe probe = run.find(from_id);
  if (probe.result < 0) return -1;
  return probe.found ? id_behind_run(run, probe.mid, index.count, from_id, id) : 0;
}
