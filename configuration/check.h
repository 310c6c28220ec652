// Tells every mistake of a configuration at once, with its place. An error is what a program of the
// alert log refuses, or what its documents do not allow; a warning is what is allowed and yet
// hardly meant. The rules are those of the readers: the table of keys, rules.h and servers.h.
//
// The files are read in the form of this system's own XML library. Nothing is changed, and nothing
// but the configuration is opened.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qel::configuration {

enum class Severity { kError, kWarning };

struct Finding {
  std::string file;
  int line;    // from 1
  int column;  // in bytes, from 1
  Severity severity;
  std::string key;  // empty: the file as a whole
  std::string text;
};

// Finds the name that was probably meant among those known at its place; empty when none is near.
using NearestName = std::function<std::string_view(std::string_view wrong,
                                                   std::span<const std::string_view> names)>;

enum class Scope {
  kFiles,    // the files alone, which may be meant for another host
  kThisHost  // also whether the directories they name are there
};

// What is found in the files of a directory, in the order of the files and of their lines.
std::vector<Finding> check_directory(const std::string& directory, Scope scope,
                                     const NearestName& nearest);

// What is found in one file. Its name tells what it is, as in "webalert.xml"; with any other name,
// its first element below the root.
std::vector<Finding> check_file(const std::string& path, const NearestName& nearest);

// "FILE:LINE:COLUMN: error: KEY: TEXT", the form of compilers, from which editors find the place.
std::string line_of(const Finding& finding);

}  // namespace qel::configuration
