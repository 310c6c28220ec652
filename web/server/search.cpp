#include "search.h"

#include <algorithm>
#include <charconv>

#include "alert_log.h"
#include "alerts/record_text.h"

namespace qel::web {
namespace {

std::string as_hex(std::string_view bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::optional<std::string> of_hex(std::string_view text) {
  std::string bytes;
  for (size_t i = 0; i + 1 < text.size(); i += 2) {
    unsigned byte = 0;
    const auto read = std::from_chars(text.data() + i, text.data() + i + 2, byte, 16);
    if (read.ec != std::errc{} || read.ptr != text.data() + i + 2) return std::nullopt;
    bytes += static_cast<char>(byte);
  }
  if (text.size() % 2 != 0) return std::nullopt;
  return bytes;
}

Position position_of(const ALERT_RECORD_INFO& alert) {
  return {std::string(field_text(alert.szServerTime)), std::string(field_text(alert.szServer)),
          alert.alert_id};
}

bool is_before(const ALERT_RECORD_INFO& alert, const Position& position) {
  const Position own = position_of(alert);
  return std::tie(own.raised, own.server, own.id) <
         std::tie(position.raised, position.server, position.id);
}

// `matching` is oldest first; `first` counts from the newest.
void deliver(const AlertList& matching, size_t first, size_t size, FoundPage* found) {
  const size_t last = std::min(first + size, matching.size());
  for (size_t i = first; i < last; ++i) {
    found->alerts.push_back(*matching[matching.size() - 1 - i]);
  }
  if (last < matching.size() && !found->alerts.empty()) {
    found->next = position_of(found->alerts.back());
  }
}

FoundPage page_of(const AlertList& matching, const PageWanted& wanted) {
  const auto size = static_cast<size_t>(wanted.size);
  FoundPage found;
  found.total = matching.size();
  found.pages = static_cast<int64_t>((matching.size() + size - 1) / size);
  if (wanted.behind.has_value()) {
    const auto end = std::partition_point(
        matching.begin(), matching.end(),
        [&](const ALERT_RECORD_INFO* alert) { return is_before(*alert, *wanted.behind); });
    deliver(matching, static_cast<size_t>(matching.end() - end), size, &found);
    return found;
  }
  found.page = std::min(wanted.page, found.pages - 1);
  if (found.page >= 0) deliver(matching, static_cast<size_t>(found.page) * size, size, &found);
  return found;
}

struct IndexPage {
  int total = -1;
  std::vector<ALERT_RECORD_INFO> alerts{};
};

IndexPage search_indexes(const ALERT_SEARCH_INFO& info, const PageWanted& wanted) {
  IndexPage found;
  found.alerts.resize(static_cast<size_t>(wanted.size));
  int size = static_cast<int>(wanted.size);
  int page = static_cast<int>(wanted.page);
  found.total = alert_search(info, &size, &page, found.alerts.data());
  found.alerts.resize(found.total > 0 ? static_cast<size_t>(size) : 0);
  // Equal times come in the order of one of the indexes.
  std::sort(
      found.alerts.begin(), found.alerts.end(),
      [](const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) { return is_earlier(b, a); });
  return found;
}

bool same_alert(const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) {
  return !is_earlier(a, b) && !is_earlier(b, a);
}

enum class Agreement { kSame, kOtherOrder, kDifferent };

// Where equal times are cut by an end of the page, index and copy may put others of them on it.
Agreement compare(const IndexPage& index, const FoundPage& copy) {
  if (index.total != static_cast<int>(copy.total) || index.alerts.size() != copy.alerts.size()) {
    return Agreement::kDifferent;
  }
  const auto same_time = [](const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) {
    return field_text(a.szServerTime) == field_text(b.szServerTime);
  };
  if (!std::equal(index.alerts.begin(), index.alerts.end(), copy.alerts.begin(), same_time)) {
    return Agreement::kDifferent;
  }
  const bool same =
      std::equal(index.alerts.begin(), index.alerts.end(), copy.alerts.begin(), same_alert);
  return same ? Agreement::kSame : Agreement::kOtherOrder;
}

// The indexes compare event ids as numbers and times as whole texts. Alerts whose ids are no
// numbers, or whose times are short, are found otherwise by them than by a look at the texts.
bool is_ordinary(const ALERT_RECORD_INFO& alert) {
  return is_plain_number(field_text(alert.szEventID)) &&
         field_text(alert.szServerTime).size() == ALERT_TIME_SIZE - 1;
}

bool all_ordinary(const Snapshot& snapshot) {
  return std::all_of(snapshot.records().begin(), snapshot.records().end(), is_ordinary);
}

// The library keeps its last result for the next search of the same kind; one that finds nothing
// leaves it without.
void drop_kept_result() {
  ALERT_SEARCH_INFO nothing{};
  nothing.szLevel[0] = '\x01';  // no level
  (void)search_indexes(nothing, {.page = 0, .size = 1});
}

// A log that was replaced without a trace is another reason for a difference than damage.
void learn(LogView* view, Agreement agreement) {
  if (agreement != Agreement::kDifferent) return view->indexes().found_sound();
  const std::string revision = view->revision();
  view->read_again();
  if (view->revision() != revision || !all_ordinary(*view->snapshot())) return;
  view->indexes().found_damaged();
  drop_kept_result();
  view->has_written();
}

}  // namespace

std::string Position::cursor() const {
  return as_hex(raised + '\0' + server + '\0' + std::to_string(id));
}

std::optional<Position> Position::of_cursor(std::string_view cursor) {
  const std::optional<std::string> bytes = of_hex(cursor);
  if (!bytes.has_value()) return std::nullopt;
  const size_t first = bytes->find('\0');
  const size_t second = first == std::string::npos ? first : bytes->find('\0', first + 1);
  if (second == std::string::npos) return std::nullopt;
  Position position{bytes->substr(0, first), bytes->substr(first + 1, second - first - 1)};
  const char* const end = bytes->data() + bytes->size();
  const auto read = std::from_chars(bytes->data() + second + 1, end, position.id);
  if (read.ec != std::errc{} || read.ptr != end) return std::nullopt;
  return position;
}

FoundPage search(LogView* view, const Criteria& criteria, const PageWanted& wanted) {
  const auto plain = criteria.plain();
  FoundPage found = page_of(view->snapshot()->matching(criteria.query()), wanted);
  const bool by_index = plain.has_value() && !wanted.behind.has_value() &&
                        view->condition() == LogCondition::kOk && !view->is_behind();
  if (!by_index) return found;
  const IndexPage indexed = search_indexes(*plain, wanted);
  view->has_written();
  // Of a log that has changed meanwhile, the one may have seen an alert and the other not.
  if (view->is_behind()) return found;
  const Agreement agreement = compare(indexed, found);
  learn(view, agreement);
  found.by_index = agreement == Agreement::kSame;
  return found;
}

void check_indexes(LogView* view) {
  view->indexes().repair();
  const Request all;
  const Parameters none(all, {});
  (void)search(view, Criteria(none), {.page = 0, .size = 1});
}

}  // namespace qel::web
