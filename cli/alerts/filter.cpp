#include "alerts/filter.h"

#include <algorithm>
#include <string_view>

#include "alerts/record_text.h"

namespace qel::cli {
namespace {

bool equals(const std::string& wanted, std::string_view text) {
  return wanted.empty() || wanted == text;
}

// Programs may raise alerts with a shorter time than the full form, such as one without
// milliseconds. It counts as inside as far as it goes: the bound is shortened to it.
bool in_period(const Criteria& criteria, std::string_view raised) {
  const std::string_view since = criteria.since;
  const std::string_view until = criteria.until;
  return raised >= since.substr(0, raised.size()) &&
         (until.empty() || raised <= until.substr(0, raised.size()));
}

}  // namespace

bool matches(const Criteria& criteria, const ALERT_RECORD_INFO& alert) {
  return equals(criteria.level, field_text(alert.szLevel)) &&
         equals(criteria.server, field_text(alert.szServer)) &&
         equals(criteria.module, field_text(alert.szModType)) &&
         equals(criteria.event, field_text(alert.szEventID)) &&
         in_period(criteria, field_text(alert.szServerTime));
}

Page page_of(size_t total, size_t page_size, size_t wanted) {
  if (total == 0) return {0, 0, 0, 0};
  const size_t count = (total - 1) / page_size + 1;
  const size_t number = std::min(wanted, count);
  const size_t first = (number - 1) * page_size;
  return {number, count, first, std::min(page_size, total - first)};
}

}  // namespace qel::cli
