#include "describe/completer.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "alerts/fields.h"
#include "commands/options.h"

namespace qel::cli::describe {
namespace {

struct Row {
  std::string_view word;  // a type, or a name
  std::string_view completer;
};

constexpr Row kOfTypes[] = {{"DIR", "directories"},
                            {"FILE", "files"},
                            {"FILE|DIR", "files"},
                            {"LEVEL", "words 1 2 3 1..2 2..3"},
                            {"TIME", "words now today yesterday -10min -1h -1d"},
                            {"SPAN", "words 10min 1h 2h 1d 1w"},
                            {"TEXT", ""},
                            {"COUNT", ""},
                            {"REGEX", ""},
                            {"SECONDS", ""}};

// Options whose values stand in the log; "live" or "choice" comes before.
constexpr Row kOfFields[] = {
    {"--server", "server"}, {"--module", "module"}, {"--event", "event"}, {"SERVER/ID", "alert"}};

// What the type does not tell.
constexpr Row kOfNames[] = {{"PLACE", "files"}, {"N", ""}, {"MESSAGE", ""}, {"--time", ""}};

template <size_t N>
const Row* row_of(const Row (&rows)[N], std::string_view word) {
  const Row* row = std::find_if(std::begin(rows), std::end(rows),
                                [word](const Row& each) { return each.word == word; });
  return row != std::end(rows) ? row : nullptr;
}

std::string words_of(std::string type) {
  std::replace(type.begin(), type.end(), '|', ' ');
  return "words " + type;
}

}  // namespace

std::string completer_of(const OptionFacts& option) {
  const std::string& name = option.names.back();
  if (!option.takes_value()) return {};
  if (const Row* row = row_of(kOfFields, name)) {
    const bool is_filter = option.repeats && !option.is_positional;
    return (is_filter ? "choice " : "live ") + std::string(row->completer);
  }
  if (name == "--fields") return "list " + joined(field_names(), " ");
  if (const Row* row = row_of(kOfNames, name)) return std::string(row->completer);
  if (const Row* row = row_of(kOfTypes, option.type)) return std::string(row->completer);
  if (option.type.find('|') != std::string::npos) return words_of(option.type);
  throw std::logic_error("no completion is known for " + name + " " + option.type);
}

}  // namespace qel::cli::describe
