// What a request asks for: "/api/v1/alerts?level=1".
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message.h"

namespace qel::web {

struct Target {
  std::string path{};
  std::vector<NamedText> parameters{};
};

// Takes the percent-encoding apart; "+" is a blank in parameters. Any byte may come out of it, also
// NUL. Nothing when the text is no path or has a "%" without two hexadecimal digits.
std::optional<Target> parse_target(std::string_view text);

}  // namespace qel::web
