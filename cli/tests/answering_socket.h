// The daemon's side of its socket, with any answer that a test wants.
#pragma once

#include <string>

#include "common/unique_fd.h"
#include "support/process.h"

namespace qel::cli::testing {

// A socket that takes connections and answers none.
UniqueFd listen_at(const std::string& path);

// Answers one client and ends.
class AnsweringSocket {
 public:
  AnsweringSocket(const std::string& path, const std::string& answer);

  // 0 when the request was the right one.
  int result() { return child_.wait(); }

 private:
  int serve(const std::string& answer) const;

  UniqueFd socket_;
  alt_test::Child child_;
};

}  // namespace qel::cli::testing
