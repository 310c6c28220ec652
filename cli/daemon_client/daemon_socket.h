// Questions to the alert daemon: one line of JSON each way over its Unix socket.
#pragma once

#include <string>

#include "alerts/failure.h"
#include "output/columns.h"

namespace qel::cli {

// The daemon did not answer.
class NotReachable : public Failure {
 public:
  NotReachable(const std::string& text, bool stopped)
      : Failure(kNotReachable, text), stopped_(stopped) {}
  // True when nobody listens, false when it may well run.
  bool stopped() const { return stopped_; }

 private:
  bool stopped_;
};

// Sends a request, such as {"request":"status"}, and gives the object that comes back. Throws
// NotReachable, or another Failure for an answer that is none.
Json ask_daemon(const std::string& socket_path, const Json& request);

}  // namespace qel::cli
