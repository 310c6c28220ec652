// The parameters of a request.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "http/message.h"

namespace qel::web {

// A parameter that cannot be taken: it is named with the reason.
class BadParameter : public std::runtime_error {
 public:
  enum class Kind { kUnknown, kBad };
  BadParameter(Kind kind, std::string name, const std::string& reason)
      : std::runtime_error(reason), kind_(kind), name_(std::move(name)) {}
  Kind kind() const { return kind_; }
  const std::string& name() const { return name_; }

 private:
  Kind kind_;
  std::string name_;
};

using ParameterNames = std::vector<std::string_view>;

// Reads parameters, at most kValuesMax of each. All of it throws BadParameter.
class Parameters {
 public:
  // Refuses parameters that are not among `known`.
  Parameters(const Request& request, const ParameterNames& known);
  Parameters(Request&&, const ParameterNames&) = delete;  // it keeps no copy

  bool has(std::string_view name) const;
  // All values, in their order.
  std::vector<std::string> texts(std::string_view name) const;
  // The one value, not empty and of at most `limit` bytes; nothing when it is not given.
  std::optional<std::string> text(std::string_view name, size_t limit) const;
  // A whole number in decimal digits; `fallback` when it is not given.
  int64_t number(std::string_view name, int64_t lowest, int64_t highest, int64_t fallback) const;

  static constexpr size_t kValuesMax = 64;

 private:
  const std::vector<NamedText>& given_;
};

}  // namespace qel::web
