// Steps of reading an index header.
#pragma once

#include "alert_types.h"

namespace qel {

// An index too short for its header is judged destroyed (logged): fd is closed and all index files
// are deleted.
void discard_destroyed_index(int fd);

// Parses the 148 header bytes. 0 or ALERT_ERR_HEADER_FORMAT (logged).
int parse_index_header(const char* text, LPINDEX_HEADER header);

}  // namespace qel
