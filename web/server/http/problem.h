// What went wrong, as programs and people read it: application/problem+json.
#pragma once

#include <string>

#include "message.h"

namespace qel::web {

// Each has its name on the wire, such as "bad_parameter", and its status.
enum class Problem {
  kBadParameter,
  kUnknownParameter,
  kBadRequest,
  kUnauthorized,
  kNotFound,
  kMethodNotAllowed,
  kWrongHost,
  kTooLarge,
  kTooManyRequests,
  kTooManyStreams,
  kLogMissing,
  kLogUnreadable,
  kInternalError,
};

// `parameter` is the one to blame, empty when none is.
Response problem(Problem which, const std::string& detail, const std::string& parameter = "");

// The same for a client that may come again after some seconds.
Response problem_for_now(Problem which, const std::string& detail, unsigned retry_after_seconds);

}  // namespace qel::web
