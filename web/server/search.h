// Searching the log, newest first, page by page.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "criteria.h"
#include "log_view.h"

namespace qel::web {

// Where an alert stands in the order of all; what a cursor is made of.
struct Position {
  std::string raised;
  std::string server;
  uint32_t id = 0;

  std::string cursor() const;
  // Nothing when the text is no cursor.
  static std::optional<Position> of_cursor(std::string_view cursor);
};

struct PageWanted {
  int64_t page = 0;
  int64_t size = 100;
  std::optional<Position> behind{};  // in place of a page: the alerts after this one
};

struct FoundPage {
  size_t total = 0;  // matches in the whole log
  int64_t page = -1;
  int64_t pages = 0;
  std::vector<ALERT_RECORD_INFO> alerts{};
  std::optional<Position> next{};  // of the last alert here, when more follow
  bool by_index = false;           // the library's search found them
};

// Searches the log as the view has it. Plain criteria go to the library's search, which works by
// the indexes; its answer is held against the copy of the log that the view has, so that a damaged
// index is noticed: then view->indexes() tells, the copy answers, and the indexes are removed, to
// be built again by their next user.
FoundPage search(LogView* view, const Criteria& criteria, const PageWanted& wanted);

// Removes indexes that are damaged still, and searches by them, to learn whether they are sound.
void check_indexes(LogView* view);

}  // namespace qel::web
