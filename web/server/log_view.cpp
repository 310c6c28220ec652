#include "log_view.h"

#include <sys/stat.h>

#include <cstring>
#include <random>
#include <utility>

#include "alert_log.h"
#include "alerts/failure.h"

namespace qel::web {
namespace {

std::string random_name() {
  constexpr char kDigits[] = "0123456789abcdef";
  std::random_device random;
  std::string name;
  for (int i = 0; i < 12; ++i) name += kDigits[random() % 16];
  return name;
}

bool same_records(const Snapshot& a, const Snapshot& b) {
  return a.records().size() == b.records().size() &&
         (a.records().empty() || memcmp(a.records().data(), b.records().data(),
                                        a.records().size() * sizeof(ALERT_RECORD_INFO)) == 0);
}

}  // namespace

const char* condition_name(LogCondition condition) {
  switch (condition) {
    case LogCondition::kOk:
      return "ok";
    case LogCondition::kMissing:
      return "missing";
    case LogCondition::kUnreadable:
      break;
  }
  return "unreadable";
}

LogView::LogView()
    : snapshot_(std::make_shared<Snapshot>(std::vector<ALERT_RECORD_INFO>())),
      origin_(random_name()),
      revision_(origin_ + "-0") {
  read_again();
  events_.clear();  // nobody followed yet
}

LogView::FileId LogView::file_id() {
  struct stat status {};
  if (stat(log_path().c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size};
}

// The mark tells of each store; a log that was replaced, cut or removed is another file. The
// library is not asked about a log that is just being made, since it deletes an empty one.
bool LogView::has_changed() const {
  const FileId now = file_id();
  const bool marked = now.bytes > 0 && check_is_update() == 1;
  return marked || condition_ != LogCondition::kOk || !(now == file_);
}

bool LogView::look() {
  if (has_changed()) return read_again();
  last_good_ = Clock::now();
  return false;
}

bool LogView::read_again() {
  const uint64_t before = next_event_;
  try {
    // Before the reading: a store that comes meanwhile is met by the next look.
    const FileId file = file_id();
    if (file.bytes > 0) (void)check_is_update();
    state_ = read_log_state();
    adopt(Snapshot(read_lines()));
    file_ = file;
    last_good_ = Clock::now();
    set_condition(LogCondition::kOk, "");
  } catch (const NoLog& missing) {
    set_condition(LogCondition::kMissing, missing.what());
  } catch (const Failure& failure) {
    set_condition(LogCondition::kUnreadable, failure.what());
  }
  return next_event_ != before;
}

void LogView::adopt(Snapshot next) {
  if (last_good_.has_value() && same_records(*snapshot_, next)) return;
  snapshot_ = std::make_shared<const Snapshot>(std::move(next));
  revision_ = origin_ + "-" + std::to_string(++revisions_);
  const AlertList fresh = seen_.take_new(snapshot_->alerts());
  const bool first = !last_good_.has_value();  // what is old to others is not news
  if (fresh.empty() || first) return add_event(LogEvent::Kind::kChanged, nullptr);
  for (const ALERT_RECORD_INFO* alert : fresh) add_event(LogEvent::Kind::kAlert, alert);
}

void LogView::set_condition(LogCondition condition, const std::string& cause) {
  cause_ = cause;
  if (condition == condition_) return;
  condition_ = condition;
  add_event(LogEvent::Kind::kCondition, nullptr);
}

void LogView::add_event(LogEvent::Kind kind, const ALERT_RECORD_INFO* alert) {
  if (events_.size() == kEventsMax) events_.pop_front();
  events_.push_back({.number = next_event_++,
                     .kind = kind,
                     .alert = alert != nullptr ? *alert : ALERT_RECORD_INFO{}});
}

}  // namespace qel::web
