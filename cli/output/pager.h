// A pager between a long answer and the terminal.
#pragma once

#include <sys/types.h>

namespace qel::cli {

// As long as it lives, standard output goes through the operator's pager: QELALERT_PAGER, else
// PAGER, else less. There is none when standard output is no terminal, when `wanted` is false, when
// the pager is "cat" or empty, or when it is not there, which a message tells unless it is less.
// The destructor waits until the operator has left the pager.
class Pager {
 public:
  explicit Pager(bool wanted);
  ~Pager();
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

 private:
  void start(const char* program);

  pid_t pid_ = -1;
};

}  // namespace qel::cli
