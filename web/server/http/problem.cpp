#include "problem.h"

#include <nlohmann/json.hpp>

namespace qel::web {

namespace {

struct Kind {
  int status;
  const char* title;
  const char* code;
};

Kind kind_of(Problem problem) {
  switch (problem) {
    case Problem::kBadParameter:
      return {400, "Bad Request", "bad_parameter"};
    case Problem::kUnknownParameter:
      return {400, "Bad Request", "unknown_parameter"};
    case Problem::kBadRequest:
      return {400, "Bad Request", "bad_request"};
    case Problem::kUnauthorized:
      return {401, "Unauthorized", "unauthorized"};
    case Problem::kNotFound:
      return {404, "Not Found", "not_found"};
    case Problem::kMethodNotAllowed:
      return {405, "Method Not Allowed", "method_not_allowed"};
    case Problem::kWrongHost:
      return {421, "Misdirected Request", "wrong_host"};
    case Problem::kTooLarge:
      return {413, "Content Too Large", "too_large"};
    case Problem::kTooManyRequests:
      return {429, "Too Many Requests", "too_many_requests"};
    case Problem::kTooManyStreams:
      return {429, "Too Many Requests", "too_many_streams"};
    case Problem::kLogMissing:
      return {503, "Service Unavailable", "log_missing"};
    case Problem::kLogUnreadable:
      return {503, "Service Unavailable", "log_unreadable"};
    case Problem::kInternalError:
      break;
  }
  return {500, "Internal Server Error", "internal_error"};
}

}  // namespace

Response problem(Problem which, const std::string& detail, const std::string& parameter) {
  const Kind kind = kind_of(which);
  nlohmann::ordered_json document{{"type", "about:blank"},
                                  {"title", kind.title},
                                  {"status", kind.status},
                                  {"code", kind.code},
                                  {"detail", detail}};
  if (!parameter.empty()) document["parameter"] = parameter;
  Response response{.status = kind.status, .type = "application/problem+json"};
  response.body =
      document.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
  return response;
}

Response problem_for_now(Problem which, const std::string& detail, unsigned retry_after_seconds) {
  Response response = problem(which, detail);
  response.headers.emplace_back("Retry-After", std::to_string(retry_after_seconds));
  return response;
}

}  // namespace qel::web
