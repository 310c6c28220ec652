#include "log_view.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <utility>

#include "alert_log.h"
#include "alerts/failure.h"
#include "alerts/record_text.h"

namespace qel::web {
namespace {

constexpr std::chrono::milliseconds kSecond{1000};

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
  knows_start_ = condition_ != LogCondition::kUnreadable;
  events_.clear();  // nobody followed yet
}

LogView::FileId LogView::file_id() {
  struct stat status {};
  if (stat(log_path().c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino, status.st_size, status.st_ctim.tv_sec,
          status.st_ctim.tv_nsec};
}

// The mark tells of each store; a log that was replaced, cut or removed is another file or has
// another time. The library is not asked about a log that is just being made, since it deletes an
// empty one.
bool LogView::has_changed() const {
  if (condition_ != LogCondition::kOk) return true;
  const FileId now = file_id();
  return !(now == file_) || now.bytes <= 0 || check_is_update() != 0;
}

bool LogView::is_behind() {
  behind_ = behind_ || has_changed();
  return behind_;
}

std::chrono::steady_clock::duration LogView::wait_for_news() const {
  constexpr int kPauseFactor = 4;
  constexpr std::chrono::steady_clock::duration kNewsLate = std::chrono::milliseconds(100);
  const auto pause = std::max(reading_time_, std::min(kPauseFactor * reading_time_, kNewsLate));
  return read_at_ + pause - std::chrono::steady_clock::now();
}

bool LogView::may_read(Pace pace) const {
  if (pace == Pace::kForNews) return wait_for_news().count() <= 0;
  return taken_ < kSecond / 2 || std::chrono::steady_clock::now() - second_begin_ >= kSecond;
}

void LogView::note_reading(std::chrono::steady_clock::time_point begin) {
  read_at_ = std::chrono::steady_clock::now();
  reading_time_ = read_at_ - begin;
  if (begin - second_begin_ >= kSecond) {
    second_begin_ = begin;
    taken_ = {};
  }
  taken_ += reading_time_;
}

bool LogView::look(Pace pace) {
  if (!is_behind()) {
    last_good_ = Clock::now();
    return false;
  }
  return may_read(pace) && read_again();
}

bool LogView::read_again() {
  const uint64_t before = next_event_;
  const auto begin = std::chrono::steady_clock::now();
  try {
    read();
    last_good_ = Clock::now();
    behind_ = false;
    set_condition(LogCondition::kOk, "");
  } catch (const NoLog& missing) {
    set_condition(LogCondition::kMissing, missing.what());
  } catch (const Failure& failure) {
    set_condition(LogCondition::kUnreadable, failure.what());
  }
  note_reading(begin);
  return next_event_ != before;
}

void LogView::read() {
  // Nobody waits here for a log that is just being made to become one: the next look is soon.
  if (file_id().bytes == 0) throw Failure(kFailed, log_path() + " is damaged: it is empty");
  if (file_id().bytes > 0) (void)check_is_update();
  // Before the reading: what is stored meanwhile is met by the next look.
  const FileId file = file_id();
  state_ = read_log_state();
  adopt(Snapshot(read_lines()));
  file_ = file;
}

void LogView::adopt(Snapshot next) {
  const bool first = !knows_start_;  // what is old to others is not news
  knows_start_ = true;
  if (last_good_.has_value() && same_records(*snapshot_, next)) return;
  snapshot_ = std::make_shared<const Snapshot>(std::move(next));
  revision_ = origin_ + "-" + std::to_string(++revisions_);
  const AlertList fresh = seen_.take_new(snapshot_->alerts());
  if (fresh.empty() || first) return add_event(LogEvent::Kind::kChanged, nullptr);
  for (const ALERT_RECORD_INFO* alert : fresh) {
    ++new_alerts_[std::string(field_text(alert->szLevel))];
    add_event(LogEvent::Kind::kAlert, alert);
  }
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
