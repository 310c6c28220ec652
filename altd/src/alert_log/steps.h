// Steps of the exported functions, for callers that have done a part of them already.
#pragma once

#include <sys/types.h>

#include "alert_types.h"

namespace qel {

// As read_alert_header and get_header_length in one read; *file_size is the size of the file.
int read_header(int fd, LPALERT_FILE_HEADER header, int* length, off_t* file_size);

// Synchronous writes, as everywhere in the store; and no note of the time of access, which each
// read after a write would cost, unless the file belongs to somebody else.
void set_update_flags(int fd);

inline constexpr int kAllChanged = 255;  // isChanged after a write: indexes behind, both marks set

// Writes the numeric header lines. 0 or -1 (logged).
int put_header_numbers(int fd, const ALERT_FILE_HEADER& header);

// Clears bits of isChanged in the header of an open log; failures are only logged.
void clear_changed_bits(int fd, int bits);

// The line of the oldest record becomes the next to write. 0 or -1 (logged).
int aim_at_oldest(ALERT_FILE_HEADER* header);

// Whether the size of an open log fits its header; false also when that cannot be told. For the one
// writer of records, who needs no lock against himself.
bool fits_header(int fd);

// As read_alert_record, for a header of known length.
int read_record(int fd, int header_length, int line, LPALERT_RECORD_INFO record);

// As write_alert_record, for a header of known length; -1 has it found first.
int store_record(int fd, int header_length, int line, ALERT_RECORD_INFO record,
                 ALERT_FILE_HEADER header, int islocal, int caller);

struct LogHeader {
  ALERT_FILE_HEADER numbers = {};
  int length = 0;
};

// As open_file; *header is that of the alert log, when that is what was opened.
int open_file_with_header(const char* filename, int flags, LogHeader* header);

// The same for a caller that has made the semaphores' directory.
int open_store_file(const char* filename, int flags, LogHeader* header);

}  // namespace qel
