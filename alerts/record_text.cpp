#include "alerts/record_text.h"

#include <algorithm>

#include "alerts/visible_text.h"

namespace qel {
namespace {

bool is_control_byte(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}

}  // namespace

std::string text_fault(std::string_view text, size_t limit) {
  const std::string allowed = " (" + text_range(limit) + ")";
  if (text.find_first_not_of(' ') == std::string_view::npos) {
    return in_quotes(text) + " is empty or blank" + allowed;
  }
  if (std::any_of(text.begin(), text.end(), is_control_byte)) {
    return in_quotes(text) + " holds a control character" + allowed;
  }
  if (text.size() > limit) return in_quotes(text) + " is too long" + allowed;
  return {};
}

std::string text_range(size_t limit) { return "1 to " + std::to_string(limit) + " bytes"; }

}  // namespace qel
