// What the front end knows of the alert log: a copy of it, which follows the log.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "alerts/seen_alerts.h"
#include "alerts/snapshot.h"
#include "alerts/store.h"
#include "index_repair.h"

namespace qel::web {

enum class LogCondition { kOk, kMissing, kUnreadable };

// "ok", "missing", "unreadable".
const char* condition_name(LogCondition condition);

// Something that followers of the log are told.
struct LogEvent {
  enum class Kind {
    kAlert,      // a new alert
    kCondition,  // the log can be read again, or no longer
    kChanged     // alerts have gone and none came
  };
  uint64_t number;
  Kind kind;
  ALERT_RECORD_INFO alert;     // of kAlert
  mutable std::string json{};  // of the alert, made by the first who needs it: many may follow
};

// Reads the log through the library while a Session lives, and is the one caller of check_is_update
// on the host. When the log cannot be read, what was read last stays.
//
// Events are numbered from 1 and kept for a while: first_event() is the oldest that is still there.
class LogView {
 public:
  using Clock = std::chrono::system_clock;

  LogView();

  // Reads the log again if it has changed since the last look. True when there are new events.
  bool look();
  // As look, whatever the log's marks say.
  bool read_again();

  // The copy; never null. Whoever holds it keeps it as it was.
  std::shared_ptr<const Snapshot> snapshot() const { return snapshot_; }
  const std::string& revision() const { return revision_; }  // another one after each change
  LogCondition condition() const { return condition_; }
  const std::string& cause() const { return cause_; }  // of a condition that is not kOk
  std::optional<Clock::time_point> last_good() const { return last_good_; }
  const std::optional<LogState>& state() const { return state_; }  // when it was last read

  IndexRepair& indexes() { return indexes_; }
  const IndexRepair& indexes() const { return indexes_; }

  uint64_t first_event() const { return next_event_ - events_.size(); }
  uint64_t next_event() const { return next_event_; }
  const LogEvent& event(uint64_t number) const { return events_[number - first_event()]; }

  static constexpr size_t kEventsMax = 4096;  // 3 MB

 private:
  struct FileId {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t bytes = -1;
    bool operator==(const FileId&) const = default;
  };
  static FileId file_id();

  bool has_changed() const;
  void adopt(Snapshot next);
  void set_condition(LogCondition condition, const std::string& cause);
  void add_event(LogEvent::Kind kind, const ALERT_RECORD_INFO* alert);

  std::shared_ptr<const Snapshot> snapshot_;
  SeenAlerts seen_;
  std::string origin_;  // of this process, so that numbers of an earlier one are not taken for its
  uint64_t revisions_ = 0;
  std::string revision_;
  LogCondition condition_ = LogCondition::kOk;
  std::string cause_;
  IndexRepair indexes_;
  std::optional<Clock::time_point> last_good_;
  std::optional<LogState> state_;
  FileId file_;
  std::deque<LogEvent> events_;
  uint64_t next_event_ = 1;

 public:
  const std::string& origin() const { return origin_; }
};

}  // namespace qel::web
