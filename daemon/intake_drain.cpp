#include "intake_drain.h"

#include <fcntl.h>
#include <qelipc.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "alert_log.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "cluster/held_ids.h"
#include "common/paths.h"
#include "intake_line.h"
#include "log.h"
#include "log_header.h"
#include "recovery.h"

namespace qel::daemon {

namespace {

constexpr char kAsideFile[] = "alerttmp.bad";
constexpr int kIdTries = 2;  // the second one is above every id that the log holds

int64_t size_of(int fd) {
  struct stat status;
  return fstat(fd, &status) == 0 ? status.st_size : -1;
}

// Hands a local alert to the library: sequence 0.
void forward(const ALERT_RECORD_INFO& record) {
  std::array<char, sizeof(al_msg_header) + sizeof(ALERT_RECORD_INFO)> buffer = {};
  memcpy(buffer.data() + AL_MSG_HEADER_SIZE, &record, sizeof record);
  al_msg_header head = {};
  head.version = 1;
  head.msg_type = AL_MSGTYPE_SYNC_SEND_ALERT;
  head.data_len = ALERT_RECORD_SIZE;
  al_msg msg = {&head, nullptr, nullptr};
  static_cast<void>(recv_send_alert_msg(&msg, buffer.data(), "this server"));
}

// Whether a full log had this alert and no longer has.
bool was_overwritten(const ALERT_RECORD_INFO& record) {
  const std::vector<HeldIds> held = read_held_ids();
  const HeldIds* own = find_held(held, record.szServer);
  return log_is_full() && own != nullptr && record.alert_id < own->lowest();
}

// Whether what the log holds under the id of this alert is this alert.
bool is_the_held_one(const ALERT_RECORD_INFO& record) {
  std::array<char, AL_DATA_SLOT_SIZE> slot = {};
  int count = 1;
  ALERT_RECORD_INFO held;
  if (get_alert_log(record.szServer, record.alert_id, &count, slot.data()) != 0 || count != 1) {
    return false;
  }
  memcpy(&held, slot.data(), sizeof held);
  return held.alert_id == record.alert_id && strcmp(held.szServerTime, record.szServerTime) == 0 &&
         strcmp(held.szAlertMessage, record.szAlertMessage) == 0;
}

}  // namespace

int64_t IntakeDrain::waiting_bytes() const {
  struct stat status;
  if (stat(store_path(alt_name_temp).text, &status) != 0) return 0;
  return std::max<int64_t>(status.st_size - drained_, 0);
}

bool IntakeDrain::take_lock() {
  if (locked_) return true;
  UniqueFd intake(open_file(alt_name_temp, O_RDWR));
  if (!intake || lock_reg(intake.get(), F_SETLKW, F_WRLCK, 0, SEEK_SET, 0) == -1) return false;
  locked_ = std::move(intake);
  return true;
}

IntakeDrain::Outcome IntakeDrain::round() {
  const Outcome outcome = take_lock() ? drain_batch() : Outcome::kTrouble;
  if (outcome != Outcome::kMore) locked_ = UniqueFd();
  return outcome;
}

IntakeDrain::Outcome IntakeDrain::drain_batch() {
  const int64_t size = size_of(locked_.get());
  if (size < drained_) drained_ = 0;  // somebody has emptied the file
  if (drained_ < size) {
    if (!read_batch(size)) return Outcome::kTrouble;
    const bool stored = store_batch();
    if (!log_sync_->sync() || !stored) return Outcome::kTrouble;
    if (drained_ < size) return Outcome::kMore;
  }
  if (!log_sync_->sync()) return Outcome::kTrouble;
  if (size > 0 && ftruncate(locked_.get(), 0) != 0) {
    DAEMON_LOG(kFailure, "emptying the intake failed: %s", strerror(errno));
    return Outcome::kTrouble;
  }
  drained_ = 0;
  return Outcome::kEmpty;
}

// Reads a line more than the batch, so that a line that broken bytes have shifted is seen whole.
bool IntakeDrain::read_batch(int64_t size) {
  const int64_t left = size - drained_;
  const int64_t wanted =
      std::min(left, (int64_t{settings_.intake_batch} + 1) * int64_t{kIntakeLine});
  batch_.resize(static_cast<size_t>(wanted));
  const ssize_t got = pread(locked_.get(), batch_.data(), batch_.size(), drained_);
  if (got < 0) {
    DAEMON_LOG(kFailure, "reading the intake failed: %s", strerror(errno));
    return false;
  }
  batch_.resize(static_cast<size_t>(got));
  batch_ends_file_ = got == left;
  return true;
}

// False when the store failed; drained_ then stands before the line concerned.
bool IntakeDrain::store_batch() {
  last_id_ = std::max({last_id_, current_alert_id(), max_alertid_localserver});
  bool failed = false;
  size_t at = 0;
  for (int lines = 0; lines < settings_.intake_batch && at < batch_.size(); ++lines) {
    const size_t taken =
        take_line(batch_.data() + at, batch_.size() - at, batch_ends_file_, &failed);
    if (taken == 0) break;
    at += taken;
    drained_ += static_cast<int64_t>(taken);
  }
  return !failed;
}

// Deals with the line at `text`; the number of bytes that are dealt with. 0 when the rest has to
// wait: for the next batch, or, with *failed, for a later round.
size_t IntakeDrain::take_line(const char* text, size_t left, bool at_file_end, bool* failed) {
  if (left >= kIntakeLine && form_of(text) != LineForm::kBroken) {
    *failed = !take_whole_line(text);
    return *failed ? 0 : kIntakeLine;
  }
  const size_t broken = broken_length(text, left, at_file_end);
  if (broken == 0) return 0;
  *failed = !set_aside({text, broken}, "it is not a whole record line");
  return *failed ? 0 : broken;
}

// False when the store failed.
bool IntakeDrain::take_whole_line(const char* text) {
  ALERT_RECORD_INFO record = parse_line(text);
  Fate fate = Fate::kClash;
  if (form_of(text) == LineForm::kStamped) {
    fate = record.alert_id > forwarded_id_ ? resume(&record) : store(&record);
  }
  for (int tries = 0; fate == Fate::kClash && tries < kIdTries; ++tries) {
    if (tries > 0) last_id_ = std::max(last_id_, highest_own_id());
    if (!stamp(&record)) return false;
    fate = store(&record);
  }
  if (fate == Fate::kSetAside) {
    return set_aside({text, kIntakeLine}, "a text that it needs is blank");
  }
  return fate == Fate::kDone;
}

// Goes on with a line that was stamped in an earlier life of the daemon. Its alert may be stored
// already, and whether the others got it is not known.
IntakeDrain::Fate IntakeDrain::resume(ALERT_RECORD_INFO* record) {
  const uint32_t id = record->alert_id;
  const Held held = log_sync_->indexes().look_up(*record);
  if (held == Held::kUnknown) return Fate::kRetry;
  if (held == Held::kYes && !is_the_held_one(*record)) return Fate::kClash;
  if (held == Held::kNo && id > current_alert_id()) return store(record);
  if (held == Held::kNo) {
    const bool set_aside_before = check_alert_record_info(record) != 0;
    if (set_aside_before || was_overwritten(*record)) return Fate::kDone;
    if (!store_behind(*record)) return Fate::kRetry;
  }
  forwarded_id_ = std::max(forwarded_id_, id);
  forward(*record);
  return keep_alert_id(id) == 0 ? Fate::kDone : Fate::kRetry;
}

// Stores an alert whose id is not above that of the header: one that the log has lost. The header's
// id must not go down, so it is stored like that of another server.
bool IntakeDrain::store_behind(const ALERT_RECORD_INFO& record) {
  log_sync_->mark();
  if (udp_write_disk(reinterpret_cast<const char*>(&record), sizeof record, 0) != 0) {
    log_sync_->indexes().store_failed();
    return false;
  }
  ++counters_.stored;
  return true;
}

// Gives the next id to the line at drained_.
bool IntakeDrain::stamp(ALERT_RECORD_INFO* record) {
  record->alert_id = last_id_ + 1;
  char column[kStampSize];
  format_stamp(column, record->alert_id);
  if (pwrite(locked_.get(), column, sizeof column, drained_) ==
      static_cast<ssize_t>(sizeof column)) {
    return true;
  }
  DAEMON_LOG(kFailure, "stamping the intake failed: %s", strerror(errno));
  return false;
}

IntakeDrain::Fate IntakeDrain::store(ALERT_RECORD_INFO* record) {
  last_id_ = std::max(last_id_, record->alert_id);
  if (check_alert_record_info(record) != 0) return Fate::kSetAside;
  if (check_string(record->szWriteTime) != 0) {
    get_current_localtime(record->szWriteTime, sizeof record->szWriteTime);
  }
  if (record->alert_id > forwarded_id_) {
    if (hand_to_library(*record)) return Fate::kDone;
    log_sync_->indexes().store_failed();
  }
  const Held held = log_sync_->indexes().look_up(*record);
  if (held == Held::kYes && is_the_held_one(*record)) {
    return keep_alert_id(record->alert_id) == 0 ? Fate::kDone : Fate::kRetry;
  }
  // Somebody has put back an old log, and the alert of that id has come back from the others.
  if (held == Held::kYes) return Fate::kClash;
  if (held == Held::kNo && store_only(*record)) return Fate::kDone;
  log_sync_->indexes().store_failed();
  return Fate::kRetry;
}

// True when the log holds the record afterwards; it is sent to the others in any case.
bool IntakeDrain::hand_to_library(const ALERT_RECORD_INFO& record) {
  forwarded_id_ = record.alert_id;
  log_sync_->mark();
  forward(record);
  if (current_alert_id() < record.alert_id) return false;
  ++counters_.stored;
  return true;
}

bool IntakeDrain::store_only(const ALERT_RECORD_INFO& record) {
  log_sync_->mark();
  if (udp_write_disk(reinterpret_cast<const char*>(&record), sizeof record, 1) != 0) return false;
  ++counters_.stored;
  if (semevt_set_alert() != 0) DAEMON_LOG(kMinor, "raising the new-alert event failed");
  return true;
}

bool IntakeDrain::set_aside(std::string_view bytes, const char* reason) {
  const Path path = store_path(kAsideFile);
  const UniqueFd file(open(path.text, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640));
  const bool written =
      file && write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  if (!written) {
    DAEMON_LOG(kFailure, "writing %s failed: %s", path.text, strerror(errno));
    return false;
  }
  DAEMON_LOG(kFailure, "%d bytes of the intake cannot be stored, since %s: set aside in %s",
             static_cast<int>(bytes.size()), reason, path.text);
  ++counters_.set_aside;
  return true;
}

}  // namespace qel::daemon
