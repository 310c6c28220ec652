/* One configuration file in memory: parsed, searched by key, or walked over. The places of what it
 * holds are told as lines and columns of the file, for whoever has to mend it. */
#ifndef QELXML_XML_FILE_H
#define QELXML_XML_FILE_H

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace qel {

/* The directory of the configuration: QEL_CONFIG_DIR, else the system's. */
std::string configuration_directory();

/* Why a value is no int, such as "is not a whole number"; empty when it is one: *number holds it
 * then. One decimal number, with or without a sign. */
std::string int_fault(std::string_view text, int* number);

struct XmlPlace {
  int line;   /* from 1; 0: the file as a whole */
  int column; /* in bytes, from 1; 0 as above */
};

struct XmlFault {
  XmlPlace place;
  std::string reason;
};

struct XmlValue {
  std::string text; /* without the white space around it */
  int line;         /* of the element, from 1 */
};

class XmlFile;

/* One element of a file that is loaded and stays so. */
class XmlElement {
 public:
  std::string_view name() const { return node_.name(); }
  std::string text() const;                 /* without the white space around it */
  XmlPlace place() const;                   /* of its "<" */
  std::vector<XmlElement> children() const; /* its elements, in the order of the file */

 private:
  friend class XmlFile;
  XmlElement(const XmlFile* file, pugi::xml_node node) : file_(file), node_(node) {}

  const XmlFile* file_;
  pugi::xml_node node_;
};

class XmlFile {
 public:
  /* Reads and parses a file. True, or false with the reason; the object is then empty. The text of
   * a reason names file and line. */
  bool load(const std::string& path, XmlFault* fault);
  bool load(const std::string& path, std::string* error);

  /* The root element. Only while a file is loaded. */
  XmlElement root() const { return {this, document_.document_element()}; }

  /* The element that a key such as "/root/log/size" or "/root/list/entry[2]" names; none when there
   * is no such element. */
  std::optional<XmlElement> element(std::string_view key) const;
  std::optional<XmlValue> find(std::string_view key) const;

  const std::string& path() const { return path_; }

 private:
  friend class XmlElement;
  bool read(XmlFault* fault);
  bool parse(XmlFault* fault);
  XmlPlace place_at(ptrdiff_t offset) const;

  std::string path_;
  std::string content_;
  pugi::xml_document document_;
};

}  // namespace qel

#endif
