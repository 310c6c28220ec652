// What the alert daemon says on its socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace qel {

// The largest cluster's status is far smaller.
inline constexpr size_t kDaemonAnswerMax = 1U << 20U;  // bytes

// The object that an answer is; nothing when it is none or is nested too deep to be printed.
std::optional<nlohmann::ordered_json> parse_daemon_answer(const std::string& text);

// Members of such an object, named by JSON pointers. An older or newer daemon may leave them out or
// give them another type: then 0 and an empty text.
uint64_t member_count(const nlohmann::ordered_json& object, const char* pointer);
std::string member_string(const nlohmann::ordered_json& object, const char* pointer);

}  // namespace qel
