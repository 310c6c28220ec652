// The files of the page, read once into memory.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "message.h"

namespace qel::web {

// index.html and what lies in assets/, each also as NAME.gz where that is there. A path is only
// looked up among the names that were found, so it leads nowhere else.
class StaticFiles {
 public:
  // Nothing, with the reason in *error, when the directory has no index.html or a file cannot be
  // read or is of a kind that no page has.
  static std::optional<StaticFiles> load(const std::string& directory, std::string* error);

  // Nothing when there is no such file.
  std::optional<Response> serve(const Request& request) const;

 private:
  struct Form {
    std::string content;
    std::string tag;  // strong, with its quotes
  };
  struct File {
    std::string type;
    std::string cache_control;
    Form plain;
    std::optional<Form> packed{};
  };

  bool add(const std::string& directory, const std::string& name, std::string* error);

  std::map<std::string, File, std::less<>> files_;  // by their path
};

}  // namespace qel::web
