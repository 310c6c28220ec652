// Which alerts are asked for.
#pragma once

#include <regex.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "alert_types.h"

namespace qel {

// The values that a field may have, and those that it may not have. Without any it may have all;
// without allowed values it may have all but the refused ones.
template <typename Value>
struct Choice {
  std::vector<Value> allowed{};
  std::vector<Value> refused{};

  template <typename Fits>
  bool admits(Fits fits) const {
    for (const Value& value : refused) {
      if (fits(value)) return false;
    }
    for (const Value& value : allowed) {
      if (fits(value)) return true;
    }
    return allowed.empty();
  }
};

// Levels from one to another, both included. They are compared as text: each is one digit.
struct LevelRange {
  std::string first;
  std::string last;
};

// Of "2" or "1..2". Throws std::invalid_argument with the reason.
LevelRange parse_levels(const std::string& text);

// An extended regular expression; capital and small letters are the same to one without capitals.
class Pattern {
 public:
  // Throws std::invalid_argument with the reason.
  explicit Pattern(const std::string& expression);
  // `text` ends with a NUL.
  bool found_in(const char* text) const;

 private:
  struct Compiled;
  std::shared_ptr<const Compiled> compiled_;
};

// A text somewhere in another one; capital and small letters of ASCII are the same.
class Part {
 public:
  explicit Part(std::string_view text);
  bool found_in(std::string_view text) const;

 private:
  std::string small_;
};

struct Query {
  std::string since{};  // raise times in the stored form, both ends included; empty: no bound
  std::string until{};
  Choice<std::string> server{};  // these match the whole text
  Choice<std::string> module{};
  Choice<std::string> event{};
  Choice<LevelRange> level{};
  Choice<Pattern> message{};  // of the message
  Choice<Part> part{};        // as well
};

bool matches(const Query& query, const ALERT_RECORD_INFO& alert);

}  // namespace qel
