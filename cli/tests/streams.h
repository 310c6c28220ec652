// What a program that a test runs reads and writes.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "common/unique_fd.h"

namespace qel::cli::testing {

struct RunOptions {
  std::string input{};                               // its standard input
  std::map<std::string, std::string> environment{};  // added to the inherited one
  std::string out_path{};           // a file for its standard output; else it is captured
  int terminal_columns = 0;         // above 0: standard output is a terminal
  std::function<void()> prepare{};  // runs in the child before the program
};

// The standard descriptors of a program to be run, with what it has written.
class Streams {
 public:
  // `files`: how the names of its files begin.
  Streams(const std::string& files, const RunOptions& options);

  void take() const;        // in the child
  void leave_to_program();  // in the parent, once the child is there

  // Everything until the program and its children are gone; nothing without a terminal.
  std::string read_terminal();
  // Nothing when it went into a file that the test named: that may be an endless device.
  std::string out() const;
  std::string err() const;

 private:
  void open_terminal(int columns);

  std::string input_;
  bool captured_;
  std::string out_;
  std::string err_;
  UniqueFd master_;
  UniqueFd slave_;
};

}  // namespace qel::cli::testing
