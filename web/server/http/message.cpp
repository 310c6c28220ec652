#include "message.h"

#include "text.h"

namespace qel::web {

std::string_view Request::header(std::string_view name) const {
  for (const auto& [held, value] : headers) {
    if (same_but_for_case(held, name)) return value;
  }
  return {};
}

bool is_head(const Request& request) { return request.method == "HEAD"; }

}  // namespace qel::web
