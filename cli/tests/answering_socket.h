// The daemon's side of its socket, with any answer that a test wants.
#pragma once

#include <string>
#include <vector>

#include "common/unique_fd.h"
#include "support/process.h"

namespace qel::cli::testing {

// A socket that takes connections and answers none.
UniqueFd listen_at(const std::string& path);

// A line that comes, and what is sent then.
struct Exchange {
  std::string request;
  std::string answer;
};

// Answers a client for each of its exchanges, one after the other, and ends.
class AnsweringSocket {
 public:
  // One client, who asks for the status.
  AnsweringSocket(const std::string& path, const std::string& answer);
  AnsweringSocket(const std::string& path, const std::vector<Exchange>& exchanges);

  // 0 when the requests were the right ones.
  int result() { return child_.wait(); }

 private:
  int serve(const std::vector<Exchange>& exchanges) const;

  UniqueFd socket_;
  alt_test::Child child_;
};

}  // namespace qel::cli::testing
