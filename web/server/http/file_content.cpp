#include "file_content.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "unique_fd.h"

namespace qel::web {

std::optional<std::string> file_content(const std::string& file, std::string* error) {
  const UniqueFd input(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  std::string content;
  char piece[16384];
  ssize_t got = input ? 1 : -1;
  while (got > 0) {
    got = read(input.get(), piece, sizeof piece);
    if (got > 0) content.append(piece, static_cast<size_t>(got));
  }
  if (got == 0) return content;
  *error = "the file " + file + " cannot be read: " + strerror(errno);
  return {};
}

}  // namespace qel::web
