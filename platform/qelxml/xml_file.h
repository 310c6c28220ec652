/* One configuration file in memory: parsed, and searched by key. The positions of what it holds
 * are told as lines of the file, for whoever has to mend it. */
#ifndef QELXML_XML_FILE_H
#define QELXML_XML_FILE_H

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace qel {

struct XmlValue {
  std::string text; /* without the white space around it */
  int line;         /* of the element, from 1 */
};

class XmlFile {
 public:
  /* Reads and parses a file. True, or false with the reason, which names file and line, in
   * *error; the object is then empty. */
  bool load(const std::string& path, std::string* error);

  /* The element that a key such as "/root/log/size" or "/root/list/entry[2]" names; none when there
   * is no such element. */
  std::optional<XmlValue> find(std::string_view key) const;

  const std::string& path() const { return path_; }

 private:
  bool read(std::string* error);
  bool parse(std::string* error);
  int line_at(ptrdiff_t offset) const;

  std::string path_;
  std::string content_;
  pugi::xml_document document_;
};

}  // namespace qel

#endif
