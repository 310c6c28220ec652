#include "alerts/snapshot.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

#include "alerts/record_text.h"
#include "alerts/store.h"

namespace qel {

bool is_earlier(const ALERT_RECORD_INFO& a, const ALERT_RECORD_INFO& b) {
  if (const auto order = field_text(a.szServerTime) <=> field_text(b.szServerTime); order != 0) {
    return order < 0;
  }
  if (const auto order = field_text(a.szServer) <=> field_text(b.szServer); order != 0) {
    return order < 0;
  }
  return a.alert_id < b.alert_id;
}

Snapshot::Snapshot() : Snapshot(read_all()) {}

Snapshot::Snapshot(std::vector<ALERT_RECORD_INFO> records) : records_(std::move(records)) {
  order_.reserve(records_.size());
  std::transform(records_.rbegin(), records_.rend(), std::back_inserter(order_),
                 [](const ALERT_RECORD_INFO& record) { return &record; });
  std::sort(
      order_.begin(), order_.end(),
      [](const ALERT_RECORD_INFO* a, const ALERT_RECORD_INFO* b) { return is_earlier(*a, *b); });
}

AlertList Snapshot::matching(const Query& query) const {
  AlertList found;
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(found),
               [&](const ALERT_RECORD_INFO* alert) { return matches(query, *alert); });
  return found;
}

}  // namespace qel
