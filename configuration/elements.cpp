#include "configuration/elements.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "configuration/keys.h"
#include "configuration/rules.h"

namespace qel::configuration {

namespace {

constexpr size_t kShownNameMax = 64;  // bytes of an unknown name

using Names = std::vector<std::string_view>;

const Key* find_key(const std::string& path) {
  const Key* const key = std::find_if(std::begin(kKeys), std::end(kKeys),
                                      [&](const Key& row) { return row.path == path; });
  return key != std::end(kKeys) ? key : nullptr;
}

// How many elements of that path count; those above the keys have no row of their own.
int most_of(const std::string& path) {
  const Key* const key = find_key(path);
  return key != nullptr && key->kind == Kind::kElements ? key->highest : 1;
}

// A key that a file leaves out is looked for in cluster.xml.
bool may_hold(std::string_view section, const Key& key) {
  return section == "cluster" || section == section_of(key.path);
}

class Walk {
 public:
  Walk(CheckedFile* file, const NearestName& nearest)
      : file_(file), section_(file->section()), nearest_(nearest) {}

  // `key` leads to the element and `path` is the same without positions. Goes no deeper than the
  // keys do.
  void check(const XmlElement& element, const std::string& key, const std::string& path) {
    const Names known = names_below(path);
    if (!known.empty()) check_text(element, key);
    std::map<std::string_view, XmlElement> firsts;
    std::map<std::string_view, int> counts;
    for (const XmlElement& child : element.children()) {
      const std::string_view name = child.name();
      if (std::find(known.begin(), known.end(), name) == known.end()) {
        warn_of_unknown(child, key, known);
        continue;
      }
      const std::string below = "/" + std::string(name);
      const int most = most_of(path + below);
      const int count = ++counts[name];
      const auto first = firsts.emplace(name, child).first;
      if (count <= most) {
        check(child, key + below + position(count, most), path + below);
      } else if (most == 1) {
        warn_of_another(child, key + below, first->second);
      }
    }
  }

 private:
  Names names_below(const std::string& path) const {
    Names names;
    for (const Key& key : kKeys) {
      std::string_view rest = key.path;
      if (!may_hold(section_, key) || !rest.starts_with(path + "/")) continue;
      rest.remove_prefix(path.size() + 1);
      const std::string_view name = rest.substr(0, rest.find('/'));
      if (names.empty() || names.back() != name) names.push_back(name);
    }
    return names;
  }

  static std::string position(int count, int most) {
    return most > 1 ? "[" + std::to_string(count) + "]" : "";
  }

  void check_text(const XmlElement& element, const std::string& key) {
    const std::string text = element.text();
    if (text.empty()) return;
    file_->add_at(element, Severity::kWarning, key, "the text " + shown(text) + " is not used");
  }

  void warn_of_unknown(const XmlElement& child, const std::string& parent, const Names& known) {
    const std::string_view name = child.name().substr(0, kShownNameMax);
    const std::string_view meant = nearest_(name, known);
    const std::string hint = meant.empty() ? "" : "; did you mean <" + std::string(meant) + ">?";
    file_->add_at(child, Severity::kWarning, parent + "/" + std::string(name),
                  "unknown element" + hint);
  }

  void warn_of_another(const XmlElement& child, const std::string& key, const XmlElement& first) {
    file_->add_at(
        child, Severity::kWarning, key,
        "is there again: only the one in line " + std::to_string(first.place().line) + " counts");
  }

  CheckedFile* const file_;
  const std::string_view section_;
  const NearestName& nearest_;
};

}  // namespace

void check_elements(CheckedFile* file, const NearestName& nearest) {
  Walk(file, nearest).check(file->root(), "/root", "/root");
}

}  // namespace qel::configuration
