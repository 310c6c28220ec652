// The four files of a configuration in a directory of their own, and the program that checks them.
#pragma once

#include <string>

#include "testing/test_support.h"

namespace qel::configuration_test {

struct Result {
  int exit_code;
  std::string output;  // of both streams
};

class ConfigurationFiles {
 public:
  // A cluster of this server and "beta" in which nothing is wrong. In the contents as in all texts
  // below, @DIR@ stands for the directory and @LOCAL@ for the name of this server.
  ConfigurationFiles();

  std::string path(const std::string& file) const { return directory_ / file; }
  std::string content(const std::string& file) const;
  void write(const std::string& file, const std::string& content) const;
  void remove(const std::string& file) const;
  // Replaces `from`, which must be there.
  void replace(const std::string& file, const std::string& from, const std::string& to) const;

  // Runs "qelalert config check" with these arguments. The directory is the configured one.
  Result check(const std::string& arguments) const;

  std::string filled_in(std::string text) const;
  // Lines that begin with the name of a file here, the directory put before each.
  std::string at_home(const std::string& lines) const;

 private:
  testing::ScratchDirectory directory_;
};

}  // namespace qel::configuration_test
