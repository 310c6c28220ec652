#include "criteria.h"

#include <cstring>
#include <stdexcept>

#include "alerts/record_text.h"
#include "alerts/time_text.h"
#include "alerts/visible_text.h"

namespace qel::web {
namespace {

constexpr size_t kTimeMax = 64;   // bytes
constexpr size_t kTextMax = 256;  // bytes
constexpr ALERT_RECORD_INFO kNoAlert{};

BadParameter bad(std::string_view name, const std::string& reason) {
  return {BadParameter::Kind::kBad, std::string(name), reason};
}

std::string bound(const Parameters& parameters, std::string_view name, Clock::time_point now) {
  const std::optional<std::string> text = parameters.text(name, kTimeMax);
  if (!text.has_value()) return {};
  const std::optional<std::string> time = parse_bound(*text, now);
  if (time.has_value()) return *time;
  throw bad(name, in_quotes(*text) +
                      " is not a time (YYYY/MM/DD [HH:MM:SS[.mmm]], HH:MM[:SS], RFC 3339, today, "
                      "yesterday, now, or a time back such as -30min, -1h, -2d)");
}

// Each value of a parameter; with "!" before it among the refused. `parse` throws
// std::invalid_argument.
template <typename Value, typename Parse>
Choice<Value> choice(const Parameters& parameters, std::string_view name, Parse parse) {
  Choice<Value> chosen;
  for (const std::string& text : parameters.texts(name)) {
    const bool refused = text.starts_with('!');
    try {
      const Value value = parse(refused ? text.substr(1) : text);
      (refused ? chosen.refused : chosen.allowed).push_back(value);
    } catch (const std::invalid_argument& error) {
      throw bad(name, error.what());
    }
  }
  return chosen;
}

Choice<std::string> names(const Parameters& parameters, std::string_view name, size_t limit) {
  return choice<std::string>(parameters, name, [limit](const std::string& text) {
    const std::string fault = text_fault(text, limit);
    if (!fault.empty()) throw std::invalid_argument(fault);
    return text;
  });
}

Part parse_part(const std::string& text) {
  if (text.empty()) throw std::invalid_argument("the text is empty");
  if (text.size() <= kTextMax) return Part(text);
  throw std::invalid_argument(in_quotes(text) + " is longer than " + std::to_string(kTextMax) +
                              " bytes");
}

template <typename Value>
bool is_plain(const Choice<Value>& choice) {
  return choice.refused.empty() && choice.allowed.size() <= 1;
}

// The library compares keys as they are stored, where blanks at the end are lost.
bool is_plain_name(const Choice<std::string>& choice) {
  return is_plain(choice) && (choice.allowed.empty() || !choice.allowed[0].ends_with(' '));
}

// The library compares event ids as numbers, so that "042" and "42x" would be 42.
bool is_plain_event(const Choice<std::string>& choice) {
  return is_plain(choice) && (choice.allowed.empty() || is_plain_number(choice.allowed[0]));
}

template <size_t N>
void copy(const std::string& text, char (&field)[N]) {
  memcpy(field, text.data(), std::min(text.size(), N - 1));
}

template <size_t N>
void copy(const Choice<std::string>& choice, char (&field)[N]) {
  if (!choice.allowed.empty()) copy(choice.allowed[0], field);
}

}  // namespace

bool is_plain_number(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos &&
         (text.size() == 1 || text[0] != '0');
}

ParameterNames filters_and(const ParameterNames& more) {
  ParameterNames names = {"since", "until", "server", "module", "event", "level", "text"};
  names.insert(names.end(), more.begin(), more.end());
  return names;
}

Criteria::Criteria(const Parameters& parameters) {
  const Clock::time_point now = Clock::now();
  query_.since = bound(parameters, "since", now);
  query_.until = bound(parameters, "until", now);
  if (!query_.until.empty() && query_.until < query_.since) {
    throw bad("until", query_.until + " is before since, " + query_.since);
  }
  query_.server = names(parameters, "server", text_limit(kNoAlert.szServer));
  query_.module = names(parameters, "module", text_limit(kNoAlert.szModType));
  query_.event = names(parameters, "event", text_limit(kNoAlert.szEventID));
  query_.level = choice<LevelRange>(parameters, "level", parse_levels);
  query_.part = choice<Part>(parameters, "text", parse_part);
}

Query Criteria::without(std::string_view field) const {
  Query query = query_;
  if (field == "server") query.server = {};
  if (field == "module") query.module = {};
  if (field == "event") query.event = {};
  if (field == "level") query.level = {};
  return query;
}

std::optional<ALERT_SEARCH_INFO> Criteria::plain() const {
  const bool one_level =
      query_.level.allowed.empty() || query_.level.allowed[0].first == query_.level.allowed[0].last;
  const bool no_part = query_.part.allowed.empty() && query_.part.refused.empty();
  if (!is_plain_name(query_.server) || !is_plain_name(query_.module) ||
      !is_plain_event(query_.event) || !is_plain(query_.level) || !one_level || !no_part) {
    return std::nullopt;
  }
  ALERT_SEARCH_INFO info{};
  copy(query_.since, info.startTime);
  copy(query_.until, info.stopTime);
  copy(query_.server, info.szServer);
  copy(query_.module, info.szModule);
  copy(query_.event, info.szEventId);
  if (!query_.level.allowed.empty()) copy(query_.level.allowed[0].first, info.szLevel);
  return info;
}

}  // namespace qel::web
