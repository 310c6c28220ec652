// Lines of the intake file, as the daemon sees them.
//
// Programs append whole record lines. Before the daemon stores one, it stamps the alert id that it
// has given into the line, in a form that programs never write: "x" and eight hexadecimal digits
// instead of the decimal id. After a kill, a stamped line tells which id its alert has or would
// have got, so that no alert is stored twice and none is skipped.
#pragma once

#include <cstddef>
#include <cstdint>

#include "alert_log/layout.h"
#include "alert_types.h"

namespace qel::daemon {

inline constexpr size_t kIntakeLine = kRecordLine;
inline constexpr size_t kStampSize = kColumnId.width;  // the stamp fills the id column

enum class LineForm { kNew, kStamped, kBroken };

// The form of the kIntakeLine bytes at `text`.
LineForm form_of(const char* text);

// Cuts a line that is not broken into a record. A stamped line gives its stamp as alert id, a new
// one 0, whatever id its program had put in; blank columns become empty texts. Ids count for the
// server that an alert names: where there are other servers, an alert that names one of them is
// given this server's name, or its id would clash with one of theirs.
ALERT_RECORD_INFO parse_line(const char* text);

// Formats the stamp of kStampSize bytes.
void format_stamp(char* column, uint32_t alert_id);

// In `size` bytes that begin with a broken line: the offset at which the next whole line begins;
// `size` when there is none.
size_t next_whole_line(const char* data, size_t size);

// The length of the broken piece at the start of `size` bytes. Unless the file ends with them, a
// line may begin in the last bytes and go on behind them: these are left out.
size_t broken_length(const char* data, size_t size, bool at_file_end);

}  // namespace qel::daemon
