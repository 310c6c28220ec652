// A log of the test's making, and what the front end sees of it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "alert_log.h"
#include "criteria.h"
#include "support/records.h"
#include "support/temp_store.h"

namespace qel::web::testing {

using alt_test::make_record;

inline Request request_with(std::vector<NamedText> parameters) {
  return {.method = "GET",
          .path = "/",
          .parameters = std::move(parameters),
          .headers = {},
          .client = "127.0.0.1"};
}

inline Criteria criteria_of(std::vector<NamedText> parameters) {
  const Request request = request_with(std::move(parameters));
  return Criteria(Parameters(request, filters_and({})));
}

inline void store(const ALERT_RECORD_INFO& alert) {
  ASSERT_EQ(0, udp_write_disk(alt_test::image(alert), sizeof alert, 1));
}

inline void store(uint32_t first, uint32_t last) {
  for (uint32_t id = first; id <= last; ++id) store(make_record(id));
}

// The ids of alerts, in their order.
inline std::vector<uint32_t> ids_of(const std::vector<ALERT_RECORD_INFO>& alerts) {
  std::vector<uint32_t> ids;
  for (const ALERT_RECORD_INFO& alert : alerts) ids.push_back(alert.alert_id);
  return ids;
}

}  // namespace qel::web::testing
