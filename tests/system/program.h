// Programs that a test starts, and waiting for what they do.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/process.h"

namespace qel::system_test {

constexpr std::chrono::seconds kPatience(30);

// Looks until `holds` is true, for at most that long; whether it ever was.
bool eventually(const std::function<bool()>& holds, std::chrono::seconds patience = kPatience);

// A started program. Its output goes into files; the end of the scope kills it.
class Program {
 public:
  // `output` is the path at which its "<output>.out" and "<output>.err" are made. `environment` is
  // added to what the test has itself. `host` is the name of the host to run on; empty: this one.
  Program(const std::vector<std::string>& arguments, const std::string& output,
          const std::map<std::string, std::string>& environment = {}, const std::string& host = "");

  pid_t pid() const { return child_.pid(); }
  void signal(int number) const { child_.kill(number); }
  bool has_ended() const;
  // The exit status, or 1000 and the number of the signal that ended it; nothing when it still
  // runs after half a minute.
  std::optional<int> wait();

  std::string out() const;
  std::string err() const;

 private:
  std::string output_;
  alt_test::Child child_;
};

}  // namespace qel::system_test
