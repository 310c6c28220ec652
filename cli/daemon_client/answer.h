// Members of the alert daemon's answer as text. An older or newer daemon may leave members out, add
// some, or give them another type: all of it has a text.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "alerts/daemon_answer.h"
#include "output/columns.h"

namespace qel::cli {

struct Member {
  const char* title;
  const char* pointer;  // where it stands, as a JSON pointer
};

// The text of a member: "-" when it is missing or empty, "yes" or "no" for a truth value.
std::string member_text(const Json& object, const char* pointer);

// Each object of the list that is the answer's member `name`.
void for_each_object(const Json& answer, const char* name,
                     const std::function<void(const Json&)>& visit);

// A table as wide as the terminal with a row for each object of the list.
std::string member_table(std::span<const Member> columns, const Json& list);

// Its row of titles, and the row of one object, for tables that add to them.
Row title_row(std::span<const Member> columns);
Row member_row(std::span<const Member> columns, const Json& object);

// The array that is the answer's member `name`; null when there is none.
const Json* list_member(const Json& answer, const char* name);

// What a catch-up with another server does at the moment; empty when none runs.
std::string catch_up_text(const Json& answer);

}  // namespace qel::cli
