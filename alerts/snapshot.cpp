#include "alerts/snapshot.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "alerts/record_text.h"
#include "alerts/store.h"

namespace qel {
namespace {

bool earlier(const ALERT_RECORD_INFO* a, const ALERT_RECORD_INFO* b) {
  if (const auto order = field_text(a->szServerTime) <=> field_text(b->szServerTime); order != 0) {
    return order < 0;
  }
  if (const auto order = field_text(a->szServer) <=> field_text(b->szServer); order != 0) {
    return order < 0;
  }
  return a->alert_id < b->alert_id;
}

}  // namespace

Snapshot::Snapshot() : records_(read_all()) {
  order_.reserve(records_.size());
  std::transform(records_.rbegin(), records_.rend(), std::back_inserter(order_),
                 [](const ALERT_RECORD_INFO& record) { return &record; });
  std::sort(order_.begin(), order_.end(), earlier);
}

AlertList Snapshot::matching(const Query& query) const {
  AlertList found;
  std::copy_if(order_.begin(), order_.end(), std::back_inserter(found),
               [&](const ALERT_RECORD_INFO* alert) { return matches(query, *alert); });
  return found;
}

}  // namespace qel
