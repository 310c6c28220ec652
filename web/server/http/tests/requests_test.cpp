// Requests of every kind, right and wrong, and what all answers have.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "http/problem.h"
#include "service.h"

namespace qel::web_test {
namespace {

using nlohmann::json;
using web::Request;
using web::Response;

// Tells what came to the handler: bytes that are no text show as numbers.
json bytes_of(const std::string& text) {
  const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c >= ' '; });
  return plain ? json(text) : json(std::vector<int>(text.begin(), text.end()));
}

Response echo(const Request& request) {
  if (request.path == "/throw") throw std::runtime_error("the disk is on fire");
  if (request.path == "/bad-header") return {.headers = {{"X-Bad", "a\r\nSet-Cookie: b"}}};
  if (request.path == "/cached") return {.headers = {{"cache-control", "max-age=9"}}};
  json told{{"method", request.method},
            {"path", bytes_of(request.path)},
            {"client", request.client},
            {"x", std::string(request.header("X-Test"))},
            {"parameters", json::array()}};
  for (const auto& [name, value] : request.parameters) {
    told["parameters"].push_back({bytes_of(name), bytes_of(value)});
  }
  return {.type = "application/json", .body = told.dump()};
}

class Requests : public ::testing::Test {
 protected:
  json get(const std::string& target, const std::string& headers = "") const {
    return json::parse(service_.client().get(target, headers).body, nullptr, false);
  }
  static void expect_problem(int status, const std::string& code, const Answer& answer) {
    EXPECT_EQ(status, answer.status);
    EXPECT_EQ("application/problem+json", answer.header("content-type"));
    const json document = json::parse(answer.body, nullptr, false);
    ASSERT_TRUE(document.is_object()) << answer.body;
    EXPECT_EQ(code, document.value("code", ""));
    EXPECT_EQ(status, document.value("status", 0));
    EXPECT_EQ("about:blank", document.value("type", ""));
    EXPECT_FALSE(document.value("title", "").empty());
    EXPECT_FALSE(document.value("detail", "").empty());
  }
  void expect_still_served() const { EXPECT_EQ("/still", get("/still").value("path", "")); }

  Service service_{echo};
};

TEST_F(Requests, HandlerGetsPathParametersHeadersAndClient) {
  const json told = get("/a/b%20c?x=1&y=&z&x=2+3%2B4", "x-tEsT:  value \r\n");
  EXPECT_EQ("GET", told["method"]);
  EXPECT_EQ("/a/b c", told["path"]);
  EXPECT_EQ("127.0.0.1", told["client"]);
  EXPECT_EQ("value", told["x"]);
  EXPECT_EQ(json::array({{"x", "1"}, {"y", ""}, {"z", ""}, {"x", "2 3+4"}}), told["parameters"]);
}

TEST_F(Requests, ManyOnOneConnectionAreAnsweredInOrder) {
  HttpClient client = service_.client();
  std::string all;
  for (int i = 0; i < 50; ++i) {
    all += "GET /" + std::to_string(i) + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
  }
  ASSERT_TRUE(client.send(all));
  for (int i = 0; i < 50; ++i) {
    EXPECT_EQ("/" + std::to_string(i), json::parse(client.receive().body).value("path", ""));
  }
}

TEST_F(Requests, EveryAnswerHasTheHeadersThatProtectThePage) {
  for (const char* target : {"/", "/throw", "/%zz"}) {
    const Answer answer = service_.get(target);
    EXPECT_EQ("nosniff", answer.header("x-content-type-options"));
    EXPECT_EQ("no-referrer", answer.header("referrer-policy"));
    EXPECT_EQ("same-origin", answer.header("cross-origin-resource-policy"));
    EXPECT_EQ("same-origin", answer.header("cross-origin-opener-policy"));
    EXPECT_EQ("DENY", answer.header("x-frame-options"));
    EXPECT_EQ(
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
        "connect-src 'self'; font-src 'self'; base-uri 'none'; form-action 'none'; "
        "frame-ancestors 'none'",
        answer.header("content-security-policy"));
    EXPECT_EQ("no-store", answer.header("cache-control"));
  }
}

TEST_F(Requests, AnswerKeepsItsOwnCacheControl) {
  EXPECT_EQ("max-age=9", service_.get("/cached").header("cache-control"));
}

TEST_F(Requests, EncodedNulReachesTheHandlerWhole) {
  const json told = get("/a%00b?n%00m=v%00w");
  EXPECT_EQ(json({'/', 'a', 0, 'b'}), told["path"]);
  EXPECT_EQ(json::array({{{'n', 0, 'm'}, {'v', 0, 'w'}}}), told["parameters"]);
}

TEST_F(Requests, WrongEncodingIsRefused) {
  for (const char* target :
       {"/%", "/%1", "/%zz", "/%-1", "/?a=%", "/?a=%g0", "/?%0=a", "/%%30%30"}) {
    expect_problem(400, "bad_request", service_.get(target));
  }
}

TEST_F(Requests, TargetThatIsNoPathIsRefused) {
  for (const char* target : {"http://localhost/", "*", "a"}) {
    expect_problem(400, "bad_request", service_.get(target));
  }
}

TEST_F(Requests, HeadGetsTheHeadersOfGetAndNoBody) {
  HttpClient client = service_.client();
  const size_t size = client.get("/abc").body.size();
  ASSERT_TRUE(client.ask("HEAD", "/abc"));
  const Answer answer = client.receive(true);
  EXPECT_EQ(200, answer.status);
  EXPECT_EQ("application/json", answer.header("content-type"));
  EXPECT_EQ(std::to_string(size + 1), answer.header("content-length"));  // "HEAD" is longer
  EXPECT_EQ("/next", json::parse(client.get("/next").body).value("path", ""));
}

TEST_F(Requests, OtherMethodsAreRefused) {
  for (const char* method :
       {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "get", "QUERY"}) {
    HttpClient client = service_.client();
    ASSERT_TRUE(client.ask(method, "/"));
    const Answer answer = client.receive();
    expect_problem(405, "method_not_allowed", answer);
    EXPECT_EQ("GET, HEAD", answer.header("allow"));
  }
}

TEST_F(Requests, BodyIsRefusedAndNeverTakenForAnotherRequest) {
  const std::string hidden = "GET /hidden HTTP/1.1\r\nHost: localhost\r\n\r\n";
  const std::string length = std::to_string(hidden.size());
  for (const std::string& headers :
       {"Content-Length: " + length + "\r\n", std::string("Transfer-Encoding: chunked\r\n"),
        "Content-Length: " + length + "\r\nContent-Length: 0\r\n",
        "Content-Length: 0\r\nContent-Length: " + length + "\r\n",
        "Transfer-Encoding: chunked\r\nContent-Length: " + length + "\r\n",
        "Expect: 100-continue\r\nContent-Length: " + length + "\r\n"}) {
    HttpClient client = service_.client();
    ASSERT_TRUE(client.ask("GET", "/", headers));
    client.send(hidden);
    const std::string all = client.receive_all();
    EXPECT_TRUE(all.starts_with("HTTP/1.1 4")) << headers << all;
    EXPECT_EQ(std::string::npos, all.find("HTTP/1.1", 1)) << headers << all;
    EXPECT_EQ(std::string::npos, all.find("/hidden")) << headers << all;
  }
}

TEST_F(Requests, AnnouncedBodyGetsTooLargeBeforeItComes) {
  HttpClient client = service_.client();
  ASSERT_TRUE(client.ask("GET", "/", "Content-Length: 10000000000\r\n"));
  expect_problem(413, "too_large", client.receive());
  EXPECT_TRUE(client.is_closed_silently());
}

TEST_F(Requests, OverlongTargetIsRefused) {
  HttpClient client = service_.client();
  client.ask("GET", "/" + std::string(20000, 'a'));
  EXPECT_EQ(414, client.receive().status);
  expect_still_served();
}

TEST_F(Requests, OverlongHeadersAreRefused) {
  HttpClient client = service_.client();
  client.ask("GET", "/", "X-Test: " + std::string(20000, 'a') + "\r\n");
  EXPECT_EQ(431, client.receive().status);
  expect_still_served();
}

TEST_F(Requests, ManySmallHeadersAndParametersAreBoundedToo) {
  std::string headers;
  for (int i = 0; i < 5000; ++i) headers += "X: 1\r\n";
  std::string target = "/?";
  for (int i = 0; i < 5000; ++i) target += "a&";
  HttpClient with_headers = service_.client();
  with_headers.ask("GET", "/", headers);
  EXPECT_EQ(431, with_headers.receive().status);
  HttpClient with_parameters = service_.client();
  with_parameters.ask("GET", target);
  EXPECT_FALSE(with_parameters.receive_all().starts_with("HTTP/1.1 200"));
  expect_still_served();
}

TEST_F(Requests, NonsenseGetsNoAnswerOfTheHandler) {
  web::Options options = wide_options();
  options.limits.idle_seconds = 1;
  const Service impatient(echo, options);
  for (const char* nonsense :
       {"\r\n\r\n\r\n", "GET\r\n\r\n", "\x16\x03\x01\x02", "GET / HTTP/1.1\r\n\n",
        "GET / HTTP/1.1\r\n: x\r\n\r\n", "\xff\xfe\xfd\r\n\r\n"}) {
    HttpClient client = impatient.client();
    ASSERT_TRUE(client.send(nonsense));
    EXPECT_FALSE(client.receive_all().starts_with("HTTP/1.1 200")) << nonsense;
  }
  EXPECT_EQ(200, impatient.get("/").status);
}

TEST_F(Requests, ExceptionBecomesAnAnswerAndIsLogged) {
  expect_problem(500, "internal_error", service_.get("/throw"));
  const auto logged = service_.logged();
  ASSERT_EQ(1u, logged.size());
  EXPECT_EQ("GET of /throw failed: the disk is on fire", logged[0]);
  expect_still_served();
}

TEST_F(Requests, HeaderThatWouldBreakTheAnswerIsNotSent) {
  const Answer answer = service_.get("/bad-header");
  expect_problem(500, "internal_error", answer);
  EXPECT_EQ("", answer.header("set-cookie"));
}

TEST_F(Requests, RequestInSmallPiecesIsPutTogether) {
  HttpClient client = service_.client();
  for (const char byte : std::string("GET /slow HTTP/1.1\r\nHost: localhost\r\n\r\n")) {
    ASSERT_TRUE(client.send(std::string(1, byte)));
  }
  EXPECT_EQ("/slow", json::parse(client.receive().body).value("path", ""));
}

}  // namespace
}  // namespace qel::web_test
