// Building an index from the whole log.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <numeric>

#include "alert_index.h"
#include "alert_index/layout.h"
#include "alert_lock/semaphore_lock.h"
#include "alert_log.h"
#include "alert_log/record_range.h"
#include "alert_log/steps.h"
#include "common/descriptor.h"
#include "common/log.h"
#include "common/paths.h"

using qel::Descriptor;
using qel::kFailure;
using qel::kLevelIndex;
using qel::kServerIdIndex;
using qel::kTimeIndex;
using qel::Path;

namespace {

struct Free {
  void operator()(void* memory) const { free(memory); }
};
using Nodes = std::unique_ptr<INDEX_NODE[], Free>;

unsigned appended_number(const INDEX_NODE& node) {
  unsigned number;
  memcpy(&number, node.szAppend, sizeof number);
  return number;
}

// The sort order of a built index: key, then second key.
int compare_nodes(int idxtype, const INDEX_NODE& left, const INDEX_NODE& right) {
  const int order = qel::compare_keys(idxtype, left.szIdxval, right.szIdxval);
  if (order != 0) return order;
  if (idxtype == kTimeIndex) return strcmp(left.szAppend, right.szAppend);
  return static_cast<int>(appended_number(left) - appended_number(right));
}

// "time.idx" and "level.idx" keep the order of equal nodes; the others have none, but for two
// records of one server and id, whose order is the quicksort's.
void sort_nodes(INDEX_NODE* nodes, int count, int idxtype) {
  if (idxtype != kTimeIndex && idxtype != kLevelIndex) {
    qsort_indexNode_array(nodes, 0, count - 1, idxtype);
    return;
  }
  std::stable_sort(nodes, nodes + count, [idxtype](const INDEX_NODE& a, const INDEX_NODE& b) {
    return compare_nodes(idxtype, a, b) < 0;
  });
}

void insert_record(INDEX_NODE* nodes, int line, const ALERT_RECORD_INFO& record, int idxtype) {
  const void* append = &line;
  if (idxtype == kTimeIndex) append = record.szServer;
  if (idxtype == kServerIdIndex) append = &record.alert_id;
  insert_node_by_key(-1, idxtype, nodes, qel::key_of(record, idxtype), append, line);
}

int index_type_of(const char* name) {
  const auto found = std::find_if(idx_name, idx_name + ALERT_INDEX_COUNT,
                                  [&](const char* other) { return strcmp(other, name) == 0; });
  return found == idx_name + ALERT_INDEX_COUNT ? -1 : static_cast<int>(found - idx_name);
}

// Reads the log into sorted nodes. 0 or -1.
int collect_nodes(int log_fd, int count, int idxtype, Nodes* nodes) {
  const size_t size = static_cast<size_t>(std::max(count, 1));
  nodes->reset(static_cast<INDEX_NODE*>(calloc(size, sizeof(INDEX_NODE))));
  const std::unique_ptr<int[]> lines(new (std::nothrow) int[size]);
  if (*nodes == nullptr || lines == nullptr) return -1;
  std::iota(lines.get(), lines.get() + count, 0);
  qel::RecordRange log;
  int read = 0;
  if (count > 0 && log.open(log_fd) == 0) {
    read = log.read(lines.get(), count, [&](int line, const ALERT_RECORD_INFO& record) {
      insert_record(nodes->get(), line, record, idxtype);
      return true;
    });
  }
  if (read != count) {
    ALERT_LOG(kFailure, "read alert record(No. %d) failed", read);
    return -1;
  }
  sort_nodes(nodes->get(), count, idxtype);
  return 0;
}

int make_directory(const char* path) {
  if (mkdir_path(path) == 0) return 0;
  ALERT_LOG(kFailure, "call mkdir_path(%s) failed", path);
  return -1;
}

void remove_index(const char* path) {
  if (remove(path) != 0) ALERT_LOG(kFailure, "remove file(%s) failed", path);
}

// Gets and takes the semaphore that guards creation.
int take_creation(qel::SemaphoreLock* semaphore) {
  const int id = get_semaphore(qel::semaphore_path("/semcreate").text);
  if (id == -1) {
    ALERT_LOG(kFailure, "get semaphore failed");
    return -1;
  }
  if (semaphore->take(id) != 0) {
    ALERT_LOG(kFailure, "call lock_semaphore failed");
    return -1;
  }
  return 0;
}

int write_header(int fd, const char* idx, int count) {
  INDEX_HEADER header = {};
  init_index_header(&header, idx);
  header.nCurCount = static_cast<unsigned>(count);
  if (write_index_header(fd, header, 0) == 0) return 0;
  ALERT_LOG(kFailure, "write index file(%s) header failed", idx);
  return -1;
}

enum class Creation { kMade, kNotNeeded, kFailed };

// Creates the file with its header under the semaphore; *fd is then open behind the header.
Creation create_headed(const char* path, const char* idx, int count, int* fd) {
  qel::SemaphoreLock semaphore;
  if (take_creation(&semaphore) != 0) return Creation::kFailed;
  *fd = creat(path, 0644);
  if (*fd == -1) {
    const bool made_elsewhere = errno == EEXIST;
    if (!made_elsewhere) ALERT_LOG(kFailure, "create file(%s) failed", path);
    if (semaphore.release() != 0) ALERT_LOG(kFailure, "unlock semaphore failed");
    return made_elsewhere ? Creation::kNotNeeded : Creation::kFailed;
  }
  if (write_header(*fd, idx, count) != 0) {
    remove_index(path);
    return Creation::kFailed;
  }
  if (semaphore.release() == 0) return Creation::kMade;
  // The index is simply absent and will be built on its next open.
  ALERT_LOG(kFailure, "unlock semaphore failed");
  remove_index(path);
  return Creation::kNotNeeded;
}

// Writes the entries behind the header while readers wait.
int fill_index(int fd, INDEX_NODE* nodes, int idxtype, int count) {
  if (lock_reg(fd, F_SETLKW, F_WRLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "lock file failed: %d", errno);
    return -1;
  }
  int result = output_index_file(nodes, fd, idxtype, count);
  if (result != 0) ALERT_LOG(kFailure, "call output_index_file failed");
  if (lock_reg(fd, F_SETLK, F_UNLCK, 0, SEEK_SET, 0) == -1) {
    ALERT_LOG(kFailure, "unlock file failed: %d", errno);
    result = -1;
  }
  return result;
}

// Formats one entry and returns its size.
size_t format_node(char* text, const INDEX_NODE& node, int idxtype) {
  if (idxtype == kServerIdIndex) {
    qel::format_long(text, node.szIdxval, appended_number(node),
                     static_cast<unsigned>(node.nLineNo));
  } else {
    qel::format_short(text, node.szIdxval, node.nLineNo);
  }
  return qel::index_record_size(idxtype);
}

// Room for up to `count` entries, fewer when memory is short; *batch is how many fit.
std::unique_ptr<char, Free> allocate_batch(int count, size_t entry_size, int* batch) {
  for (*batch = count; *batch > 0; *batch /= 2) {
    void* memory = malloc(static_cast<size_t>(*batch) * entry_size);
    if (memory != nullptr) return std::unique_ptr<char, Free>(static_cast<char*>(memory));
  }
  return nullptr;
}

}  // namespace

int create_index_content(const char* idx) {
  ALERT_TRACE_FUNCTION();
  const int idxtype = idx == nullptr ? -1 : index_type_of(idx);
  if (idxtype == -1) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  const Descriptor log(open_file(alt_name_only, O_RDWR));
  if (!log.valid()) {
    ALERT_LOG(kFailure, "open alert file failed");
    return -1;
  }
  ALERT_FILE_HEADER header = {};
  const int header_read = read_alert_header(log.get(), &header);
  if (header_read < 0) {
    ALERT_LOG(kFailure, "read alert file header failed");
    return header_read;
  }
  const int count = static_cast<int>(header.nCurCount);
  Nodes nodes;
  if (collect_nodes(log.get(), count, idxtype, &nodes) != 0) return -1;
  if (make_directory(alt_path_only) != 0 || make_directory(alt_cmd_path) != 0) return -1;
  const Path path = qel::join_path(qel::store_path("/").text, idx);
  int fd = -1;
  const Creation creation = create_headed(path.text, idx, count, &fd);
  const Descriptor index(fd);
  if (creation != Creation::kMade) return creation == Creation::kNotNeeded ? 0 : -1;
  if (count > 0 && fill_index(fd, nodes.get(), idxtype, count) != 0) return -1;
  header.isChanged &= ~(1 << idxtype);
  qel::put_header_numbers(log.get(), header);
  return 0;
}

int insert_node_by_key(int /*fd*/, int idxtype, LPINDEX_NODE pIndexNode, const char* szKeyval,
                       const void* append, int line) {
  INDEX_NODE& node = pIndexNode[line];
  node.nLineNo = line;
  snprintf(node.szIdxval, sizeof node.szIdxval, "%s", szKeyval);
  if (idxtype == kTimeIndex) {
    snprintf(node.szAppend, sizeof node.szAppend, "%s", static_cast<const char*>(append));
  } else {
    memcpy(node.szAppend, append, sizeof(unsigned));
  }
  return 0;
}

// A quicksort with a moving hole. Its exact steps decide the order of nodes that are equal in both
// keys; only the deeper recursion is replaced by the loop.
void qsort_indexNode_array(LPINDEX_NODE pIndexNode, int low, int high, int idxtype) {
  while (pIndexNode != nullptr && low < high) {
    const int middle = (low + high) / 2;
    const INDEX_NODE pivot = pIndexNode[middle];
    pIndexNode[middle] = pIndexNode[low];
    int i = low;
    int j = high;
    while (i < j) {
      while (i < j && compare_nodes(idxtype, pIndexNode[j], pivot) > 0) --j;
      if (i == j) break;
      pIndexNode[i++] = pIndexNode[j];
      if (i == j) break;
      while (i < j && compare_nodes(idxtype, pIndexNode[i], pivot) < 0) ++i;
      if (i == j) break;
      pIndexNode[j--] = pIndexNode[i];
    }
    pIndexNode[i] = pivot;
    if (i - low < high - i) {
      qsort_indexNode_array(pIndexNode, low, i - 1, idxtype);
      low = i + 1;
    } else {
      qsort_indexNode_array(pIndexNode, i + 1, high, idxtype);
      high = i - 1;
    }
  }
}

int output_index_file(LPINDEX_NODE nodePtr, int fd, int file, int count) {
  ALERT_TRACE_FUNCTION();
  if (nodePtr == nullptr || fd < 0 || file < 0 || count < 1) {
    ALERT_LOG(kFailure, "parameter error");
    return -1;
  }
  int batch;
  const auto buffer = allocate_batch(count, qel::index_record_size(file), &batch);
  if (buffer == nullptr) {
    ALERT_LOG(kFailure, "call malloc() error no free space");
    return -1;
  }
  for (int first = 0; first < count; first += batch) {
    const int last = std::min(first + batch, count);
    size_t size = 0;
    for (int i = first; i < last; ++i) size += format_node(buffer.get() + size, nodePtr[i], file);
    if (write_line(fd, buffer.get(), size) <= 0) {
      ALERT_LOG(kFailure, "write data failed");
      return -1;
    }
  }
  return 0;
}
