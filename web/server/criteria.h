// Which alerts a request asks for.
#pragma once

#include <optional>
#include <string_view>

#include "alert_types.h"
#include "alerts/query.h"
#include "parameters.h"

namespace qel::web {

// The parameters that Criteria takes, and more.
ParameterNames filters_and(const ParameterNames& more);

// Digits without a zero before them.
bool is_plain_number(std::string_view text);

// The filters of a request. Times such as "-1h" count from `now`.
class Criteria {
 public:
  // Throws BadParameter.
  explicit Criteria(const Parameters& parameters);

  const Query& query() const { return query_; }

  // The same without the filter of one field: "server", "module", "event" or "level".
  Query without(std::string_view field) const;

  // In the form of alert_search, where that can express them.
  std::optional<ALERT_SEARCH_INFO> plain() const;

 private:
  Query query_;
};

}  // namespace qel::web
