#include "daemon_client/answer.h"

#include <vector>

#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kNothing[] = "-";

}  // namespace

std::string member_text(const Json& object, const char* pointer) {
  const Json::json_pointer place{pointer};
  const Json value = object.contains(place) ? object.at(place) : Json();
  if (value.is_null() || value == "") return kNothing;
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return value.get<std::string>();
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Row title_row(std::span<const Member> columns) {
  Row row;
  for (const Member& column : columns) row.emplace_back(column.title);
  return row;
}

Row member_row(std::span<const Member> columns, const Json& object) {
  Row row;
  for (const Member& column : columns) row.push_back(member_text(object, column.pointer));
  return row;
}

std::string member_table(std::span<const Member> columns, const Json& list) {
  std::vector<Row> rows = {title_row(columns)};
  for (const Json& object : list) rows.push_back(member_row(columns, object));
  return align_columns(rows, terminal_width());
}

void for_each_object(const Json& answer, const char* name,
                     const std::function<void(const Json&)>& visit) {
  const Json* list = list_member(answer, name);
  if (list == nullptr) return;
  for (const Json& object : *list) {
    if (object.is_object()) visit(object);
  }
}

const Json* list_member(const Json& answer, const char* name) {
  const auto found = answer.find(name);
  return found != answer.end() && found->is_array() ? &*found : nullptr;
}

std::string catch_up_text(const Json& answer) {
  const std::string step = member_text(answer, "/catch_up/step");
  if (step == kNothing || step == "idle") return {};
  std::string text = step + " from " + member_text(answer, "/catch_up/peer");
  const std::string server = member_text(answer, "/catch_up/server");
  if (server != kNothing) text += ", alerts of " + server;
  if (step == "data") {
    text += ", id " + member_text(answer, "/catch_up/at") + " of " +
            member_text(answer, "/catch_up/to");
  }
  return text;
}

}  // namespace qel::cli
