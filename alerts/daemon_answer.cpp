#include "alerts/daemon_answer.h"

namespace qel {

std::optional<nlohmann::ordered_json> parse_daemon_answer(const std::string& text) {
  using Json = nlohmann::ordered_json;
  constexpr int kDepthMax = 16;  // a status is nested five deep; printing a document recurses
  bool too_deep = false;
  const auto watch_depth = [&](int depth, Json::parse_event_t, Json&) {
    too_deep = too_deep || depth > kDepthMax;
    return !too_deep;
  };
  Json answer = Json::parse(text, watch_depth, false);
  if (too_deep || !answer.is_object()) return std::nullopt;
  return answer;
}

uint64_t member_count(const nlohmann::ordered_json& object, const char* pointer) {
  const nlohmann::ordered_json::json_pointer place{pointer};
  if (!object.contains(place) || !object.at(place).is_number_unsigned()) return 0;
  return object.at(place).get<uint64_t>();
}

std::string member_string(const nlohmann::ordered_json& object, const char* pointer) {
  const nlohmann::ordered_json::json_pointer place{pointer};
  if (!object.contains(place) || !object.at(place).is_string()) return {};
  return object.at(place).get<std::string>();
}

}  // namespace qel
