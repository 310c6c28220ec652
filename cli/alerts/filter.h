// Which alerts a list shows: criteria and pages.
#pragma once

#include <cstddef>
#include <string>

#include "alert_types.h"

namespace qel::cli {

// An empty text restricts nothing.
struct Criteria {
  std::string since{};  // raise times in the stored form, both ends included
  std::string until{};
  std::string server{};  // the others match the whole text
  std::string module{};
  std::string event{};
  std::string level{};
};

bool matches(const Criteria& criteria, const ALERT_RECORD_INFO& alert);

// One page of a list.
struct Page {
  size_t number;  // from 1; 0 when there is none
  size_t count;   // pages in all
  size_t first;   // index of its first entry
  size_t size;    // its entries
};

// The page `wanted` (from 1) of `total` entries; past the end it is the last one.
Page page_of(size_t total, size_t page_size, size_t wanted);

}  // namespace qel::cli
