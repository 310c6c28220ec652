#include "alert_stream.h"

#include <charconv>
#include <utility>

#include "alert_forms.h"

namespace qel::web {

AlertStream::AlertStream(const LogView& view, Query query, const std::string& resume)
    : view_(view), query_(std::move(query)), next_(view.next_event()) {
  const std::optional<uint64_t> last = number_of(resume);
  if (last.has_value()) next_ = *last + 1;
  add_hello();
  if (!resume.empty() && !last.has_value()) add(next_ - 1, "gone", "{}");
}

// Nothing for an id of another process, or of an event that does not exist.
std::optional<uint64_t> AlertStream::number_of(const std::string& id) const {
  const std::string begin = view_.origin() + "-";
  if (!id.starts_with(begin)) return std::nullopt;
  uint64_t number = 0;
  const char* const end = id.data() + id.size();
  const auto read = std::from_chars(id.data() + begin.size(), end, number);
  if (read.ec != std::errc{} || read.ptr != end || number >= view_.next_event()) {
    return std::nullopt;
  }
  return number;
}

std::string AlertStream::id_of(uint64_t number) const {
  return view_.origin() + "-" + std::to_string(number);
}

void AlertStream::add(uint64_t number, const char* event, const std::string& data) {
  waiting_ += "id: " + id_of(number) + "\nevent: " + event + "\ndata: " + data + "\n\n";
}

void AlertStream::add_hello() {
  const Json hello = {{"log", log_json(view_)}, {"position", id_of(next_ - 1)}};
  add(next_ - 1, "hello", json_text(hello));
}

void AlertStream::add_next_event() {
  if (next_ < view_.first_event()) {
    next_ = view_.next_event();
    return add(next_ - 1, "gone", "{}");
  }
  const LogEvent& event = view_.event(next_++);
  switch (event.kind) {
    case LogEvent::Kind::kAlert:
      if (!matches(query_, event.alert)) break;
      if (event.json.empty()) event.json = json_text(alert_json(event.alert));
      add(event.number, "alert", event.json);
      break;
    case LogEvent::Kind::kCondition:
      add(event.number, "log", json_text(log_json(view_)));
      break;
    case LogEvent::Kind::kChanged:
      add(event.number, "changed", json_text(log_json(view_)));
      break;
  }
}

std::string AlertStream::take(size_t size) {
  while (waiting_.size() < size && next_ < view_.next_event()) add_next_event();
  std::string piece = waiting_.substr(0, size);
  waiting_.erase(0, size);
  return piece;
}

}  // namespace qel::web
