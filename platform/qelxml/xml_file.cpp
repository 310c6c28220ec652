#include "xml_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>

#include "common/environment.h"
#include "common/unique_fd.h"

namespace qel {

namespace {

/* Far above any configuration; keeps a wrong file from filling the memory. */
constexpr off_t kFileSizeMax = 4 << 20;

constexpr const char* kDefaultDirectory = "/etc/qelalert";
constexpr const char* kRootName = "root";
constexpr std::string_view kWhiteSpace = " \t\r\n";

/* All text of the element itself: comments and CDATA sections may divide it into pieces. */
std::string text_of(const pugi::xml_node& element) {
  std::string text;
  for (const pugi::xml_node& child : element.children()) {
    if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      text += child.value();
    }
  }
  const size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

/* The position that stands in brackets behind a name, "[2]", from 1; 0 when it is none. */
size_t position_in(std::string_view brackets) {
  if (!brackets.ends_with(']')) {
    return 0;
  }
  const std::string_view digits = brackets.substr(1, brackets.size() - 2);
  size_t position = 0;
  const auto [end, failure] = std::from_chars(digits.begin(), digits.end(), position);
  return end == digits.end() && failure == std::errc() ? position : 0;
}

/* The child that one step of a key, "name" or "name[2]", leads to; null when there is none. */
pugi::xml_node child_at(const pugi::xml_node& parent, std::string_view step) {
  const std::string name(step.substr(0, step.find('[')));
  size_t position = name.size() == step.size() ? 1 : position_in(step.substr(name.size()));
  if (name.empty() || position == 0) {
    return {};
  }
  pugi::xml_node child = parent.child(name.c_str());
  while (child && --position > 0) {
    child = child.next_sibling(name.c_str());
  }
  return child;
}

/* Reads at most `size` bytes; fewer when the file has become shorter. False: errno tells. */
bool read_all(int fd, size_t size, std::string* content) {
  content->resize(size);
  size_t done = 0;
  while (done < size) {
    const ssize_t part = ::read(fd, content->data() + done, size - done);
    if (part < 0) {
      return false;
    }
    if (part == 0) {
      break;
    }
    done += static_cast<size_t>(part);
  }
  content->resize(done);
  return true;
}

}  // namespace

std::string configuration_directory() {
  return environment_or("QEL_CONFIG_DIR", kDefaultDirectory);
}

std::string int_fault(std::string_view text, int* number) {
  if (text.starts_with('+') && !text.starts_with("+-")) {
    text.remove_prefix(1); /* from_chars knows only the minus */
  }
  int value = 0;
  const auto [end, failure] = std::from_chars(text.begin(), text.end(), value);
  if (failure == std::errc::invalid_argument || end != text.end()) {
    return "is not a whole number";
  }
  if (failure != std::errc()) {
    return "is outside of " + std::to_string(INT_MIN) + " to " + std::to_string(INT_MAX);
  }
  *number = value;
  return {};
}

std::string XmlElement::text() const { return text_of(node_); }

/* What the parser tells is the place of the name. */
XmlPlace XmlElement::place() const { return file_->place_at(node_.offset_debug() - 1); }

std::vector<XmlElement> XmlElement::children() const {
  std::vector<XmlElement> elements;
  for (const pugi::xml_node& child : node_.children()) {
    if (child.type() == pugi::node_element) {
      elements.push_back({file_, child});
    }
  }
  return elements;
}

bool XmlFile::load(const std::string& path, XmlFault* fault) {
  path_ = path;
  if (read(fault) && parse(fault)) {
    return true;
  }
  content_.clear();
  document_.reset();
  return false;
}

bool XmlFile::load(const std::string& path, std::string* error) {
  XmlFault fault;
  if (load(path, &fault)) {
    return true;
  }
  const int line = fault.place.line;
  *error = path + (line > 0 ? ":" + std::to_string(line) : "") + ": " + fault.reason;
  return false;
}

bool XmlFile::read(XmlFault* fault) {
  const auto fail = [&](const std::string& reason) {
    *fault = {{0, 0}, reason};
    return false;
  };
  /* Without O_NONBLOCK a pipe of that name would hold up the process. */
  const UniqueFd file(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0) {
    return fail(std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    return fail("is not a regular file");
  }
  if (status.st_size > kFileSizeMax) {
    return fail("is larger than " + std::to_string(kFileSizeMax) + " bytes");
  }
  if (!read_all(file.get(), static_cast<size_t>(status.st_size), &content_)) {
    return fail(std::string("cannot be read: ") + std::strerror(errno));
  }
  return true;
}

/* The encoding is fixed, so that offsets in the parsed text are offsets in the file. */
bool XmlFile::parse(XmlFault* fault) {
  const pugi::xml_parse_result result = document_.load_buffer(
      content_.data(), content_.size(), pugi::parse_default, pugi::encoding_utf8);
  const auto fail = [&](ptrdiff_t offset, const std::string& reason) {
    *fault = {place_at(offset), reason};
    return false;
  };
  if (!result) {
    return fail(result.offset, std::string("not well-formed XML: ") + result.description());
  }
  const pugi::xml_node root = document_.document_element();
  if (std::strcmp(root.name(), kRootName) != 0) {
    return fail(root.offset_debug() - 1,
                std::string("the root element is <") + root.name() + ">, not <" + kRootName + ">");
  }
  for (pugi::xml_node next = root.next_sibling(); next; next = next.next_sibling()) {
    if (next.type() == pugi::node_element) {
      return fail(next.offset_debug() - 1, std::string("not well-formed XML: element <") +
                                               next.name() + "> after the root element");
    }
  }
  return true;
}

XmlPlace XmlFile::place_at(ptrdiff_t offset) const {
  const auto end = std::min(std::max<ptrdiff_t>(offset, 0), std::ssize(content_));
  const std::string_view before(content_.data(), static_cast<size_t>(end));
  const size_t line_end = before.rfind('\n'); /* npos plus 1: the file's begin */
  return {1 + static_cast<int>(std::count(before.begin(), before.end(), '\n')),
          static_cast<int>(before.size() - (line_end + 1)) + 1};
}

std::optional<XmlElement> XmlFile::element(std::string_view key) const {
  pugi::xml_node node = document_;
  do {
    if (!key.starts_with('/')) {
      return std::nullopt;
    }
    key.remove_prefix(1);
    const std::string_view step = key.substr(0, key.find('/'));
    node = child_at(node, step);
    if (!node) {
      return std::nullopt;
    }
    key.remove_prefix(step.size());
  } while (!key.empty());
  return XmlElement(this, node);
}

std::optional<XmlValue> XmlFile::find(std::string_view key) const {
  const auto found = element(key);
  return found ? std::optional<XmlValue>({found->text(), found->place().line}) : std::nullopt;
}

}  // namespace qel
