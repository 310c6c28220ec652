// Steps of reading an index header.
#pragma once

#include <sys/types.h>

#include "alert_types.h"

namespace qel {

// 0 when the file is long enough for a header; -1 otherwise (logged). A shorter one is judged
// destroyed: fd is closed and all index files are deleted.
int check_index_size(int fd, off_t* size);

// Parses the 148 header bytes. 0 or ALERT_ERR_HEADER_FORMAT (logged).
int parse_index_header(const char* text, LPINDEX_HEADER header);

}  // namespace qel
