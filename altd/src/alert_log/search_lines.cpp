#include "alert_log/search_lines.h"

#include "alert_index/index_reader.h"
#include "alert_log.h"
#include "common/log.h"

using qel::kFailure;

namespace qel {

Lines allocate_lines(int count) {
  Lines lines(static_cast<int*>(malloc(static_cast<size_t>(count) * sizeof(int))));
  if (lines == nullptr) ALERT_LOG(kFailure, "malloc failed");
  return lines;
}

}  // namespace qel

int get_alert_line(int idxfd, int* nbuf, int start, int end) {
  return qel::read_entry_lines(idxfd, start, end, nbuf) >= 0 ? 0 : -1;
}

int get_nounique_field_line(int fd, int idxtype, const char* szkey, int maxc, int* ret,
                            int** pmemory) {
  ALERT_TRACE_FUNCTION();
  *pmemory = nullptr;
  int begin = 0;
  int end = maxc - 1;
  if (szkey[0] != '\0') {
    int below;
    if (search_by_nounique_key(fd, idxtype, szkey, &begin, &end, &below) != 0) return -1;
  }
  *ret = begin == -1 && end == -1 ? 0 : end - begin + 1;
  if (*ret <= 0 || *ret >= maxc) return 0;
  qel::Lines lines = qel::allocate_lines(*ret);
  if (lines == nullptr || get_alert_line(fd, lines.get(), begin, end) != 0) return -1;
  *pmemory = lines.release();
  return 0;
}
