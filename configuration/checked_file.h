// One file of a configuration while it is checked: its content, and what was found in it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/check.h"
#include "qelxml/xml_file.h"

namespace qel::configuration {

class CheckedFile {
 public:
  // Reads the file; that it cannot be read is a finding.
  explicit CheckedFile(const std::string& path);

  bool loaded() const { return loaded_; }
  // The section that it holds: by its name, else by its content; empty when neither tells.
  std::string_view section() const;
  XmlElement root() const { return xml_.root(); }
  bool has(std::string_view key) const { return loaded_ && xml_.element(key).has_value(); }
  // The value of a key; nothing when there is no such element.
  std::optional<std::string> text(std::string_view key) const;

  // Files a finding at the element of the key, or at the nearest one above it.
  void add(Severity severity, const std::string& key, const std::string& text);
  // The same at an element that no key leads to.
  void add_at(const XmlElement& element, Severity severity, const std::string& key,
              const std::string& text);

  // The findings in the order of the lines.
  std::vector<Finding> findings() const;

 private:
  bool is_full() const;
  void file(XmlPlace place, Severity severity, const std::string& key, const std::string& text);
  XmlPlace place_of(std::string_view key) const;

  const std::string path_;
  XmlFile xml_;
  bool loaded_;
  std::vector<Finding> findings_;
};

}  // namespace qel::configuration
