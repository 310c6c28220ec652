// Mistakes that are made in a configuration, one each.
#pragma once

#include <ostream>
#include <vector>

namespace qel::configuration_test {

enum class Readers {
  kRefuse,           // the daemon, or the programs that raise alerts, do not start with it
  kFrontEndRefuses,  // these do, and the front end does not
  kAccept
};

struct Mistake {
  const char* name;
  const char* file;
  const char* from;  // what stands there when nothing is wrong
  const char* to;
  Readers readers;
  const char* found;  // the lines that tell it, without the directory
};

inline void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.name; }

// In single keys and between them.
std::vector<Mistake> value_mistakes();
// In those of the front end.
std::vector<Mistake> front_end_mistakes();
// In the form of the files.
std::vector<Mistake> element_mistakes();
// In the list of servers.
std::vector<Mistake> server_mistakes();

}  // namespace qel::configuration_test
