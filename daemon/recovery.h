// What a kill in the middle of a write leaves behind, mended at the next start.
//
// A store writes the record line, then the header, then the indexes, then aims the header at the
// next line. A kill between any two of them leaves one of:
//   - a log that is not full: half a line, or a whole one that the header does not count. It is cut
//     off; its alert is still in the intake.
//   - a full log: a line half overwritten, or overwritten while the header still aims at it. The
//     store is carried out to its end from the stamped line of the intake (intake_line.h), or, for
//     an alert of another server, from the record kept aside (redo_record.h).
//   - indexes that do not match the log: all are built again.
//   - the work file of a resize: removed, or it would shine through the next one.
#pragma once

#include <cstdint>

namespace qel::daemon {

// Before the library opens the log.
void mend_files();

// Cuts half a line, or a whole one, off the end of the log that its header does not count.
void cut_surplus_line();

// After the library has opened the log and before the intake is drained. 0 or -1 (logged).
int complete_interrupted_store();

// Ids are never given twice: the header of the log holds at least `alert_id` from now on. A shrunk
// log, for one, counts only the ids that it has kept. 0 or -1 (logged).
int keep_alert_id(uint32_t alert_id);

}  // namespace qel::daemon
