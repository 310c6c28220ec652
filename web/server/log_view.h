// What the front end knows of the alert log: a copy of it, which follows the log.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
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

  // Other work needs its time under a storm of alerts, too. For news the log is left alone after a
  // reading for four times what that took, but not for more than 100 ms unless it took more.
  // Answers shall be exact: for them it is read whenever it has changed, until readings have taken
  // half of a second.
  enum class Pace { kForAnswer, kForNews };

  // Reads the log again if it has changed and the pace allows it; else the copy stays behind until
  // a later look. True when there are new events.
  bool look(Pace pace = Pace::kForAnswer);
  // Whether the log has changed since it was read.
  bool is_behind();
  // How long until it may be read for news.
  std::chrono::steady_clock::duration wait_for_news() const;
  // As look, at once and whatever the log's marks say.
  bool read_again();
  // This program has changed the log's header itself, through a search.
  void has_written() { file_ = file_id(); }

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
  // Alerts that came since the start, by level.
  const std::map<std::string, uint64_t>& new_alerts() const { return new_alerts_; }

  const LogEvent& event(uint64_t number) const { return events_[number - first_event()]; }

  static constexpr size_t kEventsMax = 4096;  // 3 MB

 private:
  struct FileId {
    uint64_t device = 0;
    uint64_t inode = 0;
    int64_t bytes = -1;
    int64_t changed_s = 0;
    int64_t changed_ns = 0;
    bool operator==(const FileId&) const = default;
  };
  static FileId file_id();

  bool has_changed() const;
  void read();
  bool may_read(Pace pace) const;
  void note_reading(std::chrono::steady_clock::time_point begin);
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
  bool behind_ = false;
  bool knows_start_ = false;  // whether the log was read, or known to be missing, at the start
  std::chrono::steady_clock::time_point read_at_{};
  std::chrono::steady_clock::duration reading_time_{};
  std::chrono::steady_clock::time_point second_begin_{};  // a second, and what readings took in it
  std::chrono::steady_clock::duration taken_{};
  std::map<std::string, uint64_t> new_alerts_;
  std::deque<LogEvent> events_;
  uint64_t next_event_ = 1;

 public:
  const std::string& origin() const { return origin_; }
};

}  // namespace qel::web
