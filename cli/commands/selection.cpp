#include "commands/selection.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "alerts/failure.h"
#include "alerts/record_text.h"
#include "alerts/time_text.h"
#include "alerts/visible_text.h"
#include "commands/options.h"

namespace qel::cli {
namespace {

constexpr char kGroup[] = "Filters";
constexpr char kBoundForms[] =
    "YYYY/MM/DD [HH:MM:SS[.mmm]], HH:MM[:SS], RFC 3339, today, yesterday, now, or a time back such "
    "as -30min, -1h, -2d";
constexpr char kSpanForms[] = "a number and one of s, m, min, h, d, w, such as 2h";

constexpr ALERT_RECORD_INFO kNoAlert{};

using ParseTime = std::optional<std::string> (*)(std::string_view text, Clock::time_point now);

// Takes a time and turns it into the stored form.
ValueCheck stored_form(ParseTime parse, const char* forms) {
  return [parse, forms](std::string& text) {
    const std::optional<std::string> time = parse(text, Clock::now());
    if (!time.has_value()) return in_quotes(text) + " is not a time (" + forms + ")";
    text = *time;
    return std::string();
  };
}

Option add_period_option(CLI::App& app, const char* names, std::string& bound, ParseTime parse,
                         const char* forms, const std::string& help) {
  return add_option(app, names, bound, help)
      .type_name("TIME")
      .transform(stored_form(parse, forms))
      .group(kGroup);
}

void add_period(CLI::App& app, Query& query) {
  Option since = add_period_option(app, "-S,--since", query.since, parse_bound, kBoundForms,
                                   "Raised at this time or later: " + std::string(kBoundForms));
  add_period_option(app, "-U,--until", query.until, parse_bound, kBoundForms,
                    "Raised at this time or earlier; a date means its midnight");
  add_period_option(app, "--last", query.since, parse_span_back, kSpanForms,
                    "Raised in the time up to now: " + std::string(kSpanForms))
      .type_name("SPAN")
      .excludes(since);
}

bool is_refusal(std::string_view text) { return text.starts_with('!'); }

std::string without_mark(const std::string& text) {
  return is_refusal(text) ? text.substr(1) : text;
}

template <typename Value>
void add(Choice<Value>* choice, const std::string& text, const Value& value) {
  (is_refusal(text) ? choice->refused : choice->allowed).push_back(value);
}

// An option that may stand several times; `parse` throws std::invalid_argument with the fault of a
// value.
template <typename Value, typename Parse>
void add_choice_option(CLI::App& app, const char* names, Choice<Value>& choice, const char* type,
                       const std::string& help, Parse parse) {
  const auto fault = [parse](std::string& text) -> std::string {
    try {
      (void)parse(without_mark(text));
      return {};
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
  };
  const auto take = [&choice, parse](const std::vector<std::string>& texts) {
    for (const std::string& text : texts) add(&choice, text, Value(parse(without_mark(text))));
  };
  add_option(app, names, TakeValues(take), help)
      .type_name(type)
      .one_each_time()
      .check(fault)
      .group(kGroup);
}

void add_text_choice(CLI::App& app, const char* names, Choice<std::string>& choice, size_t limit,
                     const char* help) {
  const auto parse = [limit](const std::string& text) {
    const std::string fault = text_fault(text, limit);
    if (!fault.empty()) throw std::invalid_argument(fault);
    return text;
  };
  add_choice_option(app, names, choice, "TEXT", help, parse);
}

Pattern parse_pattern(const std::string& text) {
  if (text.empty()) throw std::invalid_argument("the expression is empty");
  try {
    return Pattern(text);
  } catch (const std::invalid_argument& error) {
    throw std::invalid_argument(in_quotes(text) + " is no regular expression: " + error.what());
  }
}

}  // namespace

void add_server_option(CLI::App& app, Query& query) {
  add_text_choice(app, "-s,--server", query.server, text_limit(kNoAlert.szServer),
                  "Of this server. May be repeated: any of the values fits; with \"!\" before it a "
                  "value is left out");
}

void add_selection_options(CLI::App& app, Query& query) {
  add_period(app, query);
  add_server_option(app, query);
  add_text_choice(app, "-m,--module", query.module, text_limit(kNoAlert.szModType),
                  "Of this module; may be repeated as well");
  add_text_choice(app, "-i,--event", query.event, text_limit(kNoAlert.szEventID),
                  "With this event id; may be repeated");
  add_choice_option(app, "-p,--level", query.level, "LEVEL",
                    "Of this level, 1 to 3, or of a range such as 1..2; may be repeated",
                    parse_levels);
  add_choice_option(app, "-g,--grep", query.message, "REGEX",
                    "With a message that holds this extended regular expression; without capital "
                    "letters it fits both cases",
                    parse_pattern);
}

void check_period(const Query& query) {
  if (query.until.empty() || query.since <= query.until) return;
  throw UsageError("--until", query.until + " is before --since " + query.since);
}

}  // namespace qel::cli
