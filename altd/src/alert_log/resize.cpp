// Giving the log another capacity.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "alert_index/index_reader.h"
#include "alert_lock/store_guard.h"
#include "alert_log.h"
#include "alert_log/record_range.h"
#include "alert_log/steps.h"
#include "alert_udp.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kNotable;
using qel::Path;

namespace {

constexpr char kWorkFile[] = "alertlog_tmp.alt";
constexpr int kNoIndexes = 2;  // caller of write_alert_record: leave the indexes alone

// The new log while it is built; removed unless it has taken the log's place.
class WorkFile {
 public:
  // Not truncated: the bytes behind the new records, if any, stay.
  WorkFile() : path_(qel::store_path(kWorkFile)), file_(open(path_.text, O_RDWR | O_CREAT, 0644)) {}
  ~WorkFile() {
    if (file_.valid() && !kept_) remove(path_.text);
  }
  bool valid() const { return file_.valid(); }
  int fd() const { return file_.get(); }

  int replace_log() {
    if (rename(path_.text, qel::store_path(alt_name_only).text) != 0) {
      ALERT_LOG(kFailure, "Rename alert file failed.%d", errno);
      return -1;
    }
    kept_ = true;
    return 0;
  }

 private:
  Path path_;
  Descriptor file_;
  bool kept_ = false;
};

bool is_local(const ALERT_RECORD_INFO& record) {
  return local_svr != nullptr && strcmp(record.szServer, local_svr->svr_name) == 0;
}

// Writes one record at `line` of the new log and counts it. The header holds no local id yet: one
// that is printed narrower than the one before would leave a second line end behind.
bool append_record(int work_fd, int line, const ALERT_RECORD_INFO& record,
                   ALERT_FILE_HEADER* work_header, uint32_t* local_id) {
  if (write_alert_record(work_fd, line, record, *work_header, 1, kNoIndexes) != 0) {
    ALERT_LOG(kFailure, "write alert record into tmp file (No. %d) failed", line);
    return false;
  }
  ++work_header->nCurCount;
  ++work_header->nCurToWrite;
  if (is_local(record)) *local_id = std::max(*local_id, record.alert_id);
  return true;
}

// Reads the log lines of the time index entries from `dropped` on. 0 or -1.
int find_kept_lines(int dropped, int count, int* lines) {
  const Descriptor time_index(open_file(idx_name[0], O_RDONLY));
  if (!time_index.valid()) {
    ALERT_LOG(kFailure, "open index file(%s) failed", idx_name[0]);
    return -1;
  }
  const int read = qel::read_entry_lines(time_index.get(), dropped, count - 1, lines);
  if (read >= 0) return 0;
  ALERT_LOG(kFailure, "read index record (No. %d) failed", -read - 1);
  return -1;
}

// Copies the newest records, oldest first, leaving out the first `dropped` of `count`. *local_id is
// the highest id among those of this server.
int copy_newest(int log_fd, int work_fd, int dropped, int count, ALERT_FILE_HEADER* work_header,
                uint32_t* local_id) {
  const int kept = count - dropped;
  const std::unique_ptr<int[]> lines(new (std::nothrow) int[static_cast<size_t>(kept)]);
  if (lines == nullptr) {
    ALERT_LOG(kFailure, "malloc failed");
    return -1;
  }
  if (find_kept_lines(dropped, count, lines.get()) != 0) return -1;
  qel::RecordRange log;
  if (log.open(log_fd) != 0) return -1;
  bool written = true;
  const int read = log.read(lines.get(), kept, [&](int line, const ALERT_RECORD_INFO& record) {
    return written = append_record(work_fd, line, record, work_header, local_id);
  });
  if (written && read < kept) ALERT_LOG(kFailure, "read alert record(No. %d) failed", lines[read]);
  return read == kept ? 0 : -1;
}

int build_work_file(int log_fd, const WorkFile& work, int dropped, int count, int newsize) {
  ALERT_FILE_HEADER header = {};
  init_header_data(&header);
  prepare_header_field(&header);
  if (write_alert_header(work.fd(), header, 0) != 0) {
    ALERT_LOG(kFailure, "write alert header failed");
    return -1;
  }
  uint32_t local_id = 0;
  if (copy_newest(log_fd, work.fd(), dropped, count, &header, &local_id) != 0) return -1;
  header.current_alert_id = local_id;
  header.nMaxCount = header.nCurCount = static_cast<uint32_t>(newsize);
  header.nCurToWrite = 0;
  header.isChanged = qel::kAllChanged;
  return qel::put_header_numbers(work.fd(), header);
}

int rebuild(int log_fd, int dropped, int count, int newsize) {
  WorkFile work;
  if (!work.valid()) {
    ALERT_LOG(kFailure, "open alert temporary file failed");
    return -1;
  }
  if (build_work_file(log_fd, work, dropped, count, newsize) != 0) return -1;
  if (work.replace_log() != 0) return -1;
  if (recreate_index_files() != 0) {
    ALERT_LOG(kFailure, "recreate_index_files error.");
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(work.fd(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  if (qel::aim_at_oldest(&header) != 0 || qel::put_header_numbers(work.fd(), header) != 0)
    return -1;
  ALERT_LOG(kNotable, "adjust log file succeed !!!!!");
  return 0;
}

// No record is dropped: only the header changes.
int change_header(int log_fd, ALERT_FILE_HEADER* header, int newsize) {
  const uint32_t size = static_cast<uint32_t>(newsize);
  if (size >= header->nMaxCount) {
    header->nCurToWrite = header->nCurCount;
  } else if (size == header->nCurCount && qel::aim_at_oldest(header) != 0) {
    return -1;
  }
  header->nMaxCount = size;
  const int result = qel::put_header_numbers(log_fd, *header);
  ALERT_LOG(kNotable, "adjust log file succeed !!!!!");
  return result;
}

// The number of records that have to go.
int records_to_drop(const ALERT_FILE_HEADER& header, int newsize) {
  const int capacity = static_cast<int>(header.nMaxCount);
  const int count = static_cast<int>(header.nCurCount);
  if (newsize >= capacity) return 0;
  if (count >= capacity) return capacity - newsize;
  return std::max(count - newsize, 0);
}

}  // namespace

int adjust_alert_record(int newsize) {
  ALERT_TRACE_FUNCTION();
  if (newsize < 1) return 0;
  const qel::StoreGuard guard;
  const Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file failed");
    return -1;
  }
  struct stat status;
  if (fstat(log.get(), &status) == -1) {
    ALERT_LOG(kFailure, "fstat failed: %d", errno);
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return -1;
  }
  const int dropped = records_to_drop(header, newsize);
  if (dropped == 0) return change_header(log.get(), &header, newsize);
  return rebuild(log.get(), dropped, static_cast<int>(header.nCurCount), newsize);
}

int quick_compare(const void* i, const void* j) {
  const unsigned first = static_cast<unsigned>(*static_cast<const int*>(i));
  const unsigned second = static_cast<unsigned>(*static_cast<const int*>(j));
  return static_cast<int>(first - second);
}
