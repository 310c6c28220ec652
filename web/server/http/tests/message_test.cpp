// Headers of a request and answers about what went wrong.
#include "http/message.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "http/problem.h"
#include "testing/test_support.h"

namespace qel::web_test {
namespace {

using nlohmann::json;
using web::Problem;
using web::Request;

TEST(RequestHeader, FirstOfTheNameInCapitalOrSmallLetters) {
  const Request request{.headers = {{"Accept", "a"}, {"X-ONE", "1"}, {"x-one", "2"}}};
  EXPECT_EQ("1", request.header("x-One"));
  EXPECT_EQ("a", request.header("ACCEPT"));
  EXPECT_EQ("", request.header("Accep"));
  EXPECT_EQ("", request.header(""));
}

TEST(ProblemAnswer, TellsAllItsMembers) {
  const web::Response response = web::problem(Problem::kBadParameter, "no such level", "level");
  EXPECT_EQ(400, response.status);
  EXPECT_EQ("application/problem+json", response.type);
  EXPECT_EQ(json({{"type", "about:blank"},
                  {"title", "Bad Request"},
                  {"status", 400},
                  {"code", "bad_parameter"},
                  {"detail", "no such level"},
                  {"parameter", "level"}}),
            json::parse(response.body));
}

TEST(ProblemAnswer, HasNoParameterWhenNoneIsToBlame) {
  EXPECT_FALSE(json::parse(web::problem(Problem::kNotFound, "nothing").body).contains("parameter"));
}

TEST(ProblemAnswer, BytesThatAreNoTextAreReplaced) {
  const auto document = json::parse(web::problem(Problem::kBadRequest, "a\xff z").body);
  EXPECT_EQ("a\xef\xbf\xbd z", document["detail"]);
}

TEST(ProblemAnswer, ForNowTellsWhenToComeAgain) {
  const web::Response response = web::problem_for_now(Problem::kTooManyRequests, "too fast", 7);
  EXPECT_EQ(429, response.status);
  ASSERT_EQ(1u, response.headers.size());
  EXPECT_EQ(web::NamedText("Retry-After", "7"), response.headers[0]);
}

// The interface's description has the same list.
TEST(ProblemAnswer, CodesAreThoseOfTheInterface) {
  const std::string file = testing::read_file(QEL_OPENAPI_FILE);
  const json schema = json::parse(file)["components"]["schemas"]["Problem"];
  std::set<std::string> told;
  for (int kind = 0; kind <= static_cast<int>(Problem::kInternalError); ++kind) {
    const auto document = json::parse(web::problem(static_cast<Problem>(kind), "").body);
    told.insert(document["code"].get<std::string>());
  }
  const auto listed = schema["properties"]["code"]["enum"].get<std::set<std::string>>();
  EXPECT_EQ(listed, told);
}

}  // namespace
}  // namespace qel::web_test
