#include "configuration/checked_file.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <tuple>

#include "configuration/keys.h"

namespace qel::configuration {

namespace {

// A file with more is another file by mistake.
constexpr size_t kFindingsMax = 1000;

std::string_view as_section(std::string_view name) {
  const auto section = std::find(std::begin(kSections), std::end(kSections), name);
  return section != std::end(kSections) ? *section : std::string_view();
}

}  // namespace

CheckedFile::CheckedFile(const std::string& path) : path_(path) {
  XmlFault fault;
  loaded_ = xml_.load(path, &fault);
  if (!loaded_) file(fault.place, Severity::kError, "", fault.reason);
}

std::string_view CheckedFile::section() const {
  const std::filesystem::path path(path_);
  const std::string_view by_name = as_section(path.stem().native());
  if (!by_name.empty() && path.extension() == ".xml") return by_name;
  const std::vector<XmlElement> children = xml_.root().children();
  return children.empty() ? std::string_view() : as_section(children[0].name());
}

std::optional<std::string> CheckedFile::text(std::string_view key) const {
  if (!loaded_) return std::nullopt;
  const std::optional<XmlElement> element = xml_.element(key);
  return element ? std::optional<std::string>(element->text()) : std::nullopt;
}

void CheckedFile::add(Severity severity, const std::string& key, const std::string& text) {
  if (!is_full()) file(place_of(key), severity, key, text);
}

void CheckedFile::add_at(const XmlElement& element, Severity severity, const std::string& key,
                         const std::string& text) {
  if (!is_full()) file(element.place(), severity, key, text);
}

// Finding a place costs a look at the whole file before it.
bool CheckedFile::is_full() const { return findings_.size() > kFindingsMax; }

// The file as a whole is told at its begin, so that every line has the same form.
void CheckedFile::file(XmlPlace place, Severity severity, const std::string& key,
                       const std::string& text) {
  const bool is_last = findings_.size() == kFindingsMax;
  findings_.push_back({path_, std::max(place.line, 1), std::max(place.column, 1), severity,
                       is_last ? "" : key, is_last ? "more is wrong than is told here" : text});
}

XmlPlace CheckedFile::place_of(std::string_view key) const {
  while (!xml_.element(key)) key = key.substr(0, key.rfind('/'));
  return xml_.element(key)->place();
}

std::vector<Finding> CheckedFile::findings() const {
  std::vector<Finding> sorted = findings_;
  std::stable_sort(sorted.begin(), sorted.end(), [](const Finding& one, const Finding& other) {
    return std::tie(one.line, one.column) < std::tie(other.line, other.column);
  });
  return sorted;
}

}  // namespace qel::configuration
