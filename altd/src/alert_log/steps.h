// Steps of reading the log that share what is known already.
#pragma once

#include <sys/types.h>

#include "alert_types.h"

namespace qel {

// As read_alert_header and get_header_length in one read; *file_size is the size of the file.
int read_header(int fd, LPALERT_FILE_HEADER header, int* length, off_t* file_size);

// As read_alert_record, for a header of known length.
int read_record(int fd, int header_length, int line, LPALERT_RECORD_INFO record);

}  // namespace qel
