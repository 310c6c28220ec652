// Who comes through the gate: by Host, by rate, by password.
#include "http/gate.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>

#include "service.h"
#include "testing/test_support.h"
#include "user_files.h"

namespace qel::web_test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using web::Gate;
using web::GateOptions;
using web::Instant;
using web::NamedText;
using web::Request;

constexpr Instant kNow = Instant(std::chrono::hours(1000));

Request from(const std::string& client, std::vector<NamedText> headers = {{"Host", "localhost"}}) {
  return {.method = "GET", .path = "/", .headers = std::move(headers), .client = client};
}

// 0 when it passes.
int status(Gate& gate, const Request& request, Instant now = kNow) {
  const auto refusal = gate.refuse(request, now);
  return refusal ? refusal->status : 0;
}

std::string header_of(const web::Response& response, const std::string& name) {
  for (const auto& [held, value] : response.headers) {
    if (held == name) return value;
  }
  return "";
}

TEST(GateHost, OwnNamesPassWithAnyPort) {
  Gate gate({.names = {"Alerts.Example"}});
  for (const char* host : {"localhost", "LOCALHOST", "localhost:80", "127.0.0.1", "127.0.0.1:8080",
                           "[::1]", "[::1]:443", "alerts.example", "ALERTS.example:1"}) {
    EXPECT_EQ(0, status(gate, from("10.0.0.1", {{"hOsT", host}}))) << host;
  }
}

TEST(GateHost, OtherNamesAreRefused) {
  Gate gate({.names = {"alerts.example"}});
  for (const char* host :
       {"", ":80", "evil.example", "localhost.evil.example", "alerts", "alerts.example.",
        "127.0.0.2", "[::2]", "::1", "[::1", "0.0.0.0", "localhost@evil", "localhost/"}) {
    EXPECT_EQ(421, status(gate, from("10.0.0.1", {{"Host", host}}))) << host;
  }
}

TEST(GateHost, NoneOrSeveralAreRefused) {
  Gate gate({});
  EXPECT_EQ(421, status(gate, from("10.0.0.1", {})));
  EXPECT_EQ(421, status(gate, from("10.0.0.1", {{"Host", "localhost"}, {"host", "localhost"}})));
}

TEST(GateHost, AnyPassesOnTheUnixSocket) {
  Gate gate({});
  EXPECT_EQ(0, status(gate, from("unix", {{"Host", "evil.example"}})));
  EXPECT_EQ(0, status(gate, from("unix", {})));
}

TEST(GateHost, OwnNamesAreThoseOfThisServer) {
  char name[256] = {};
  ASSERT_EQ(0, gethostname(name, sizeof name - 1));
  const auto names = web::own_host_names();
  EXPECT_TRUE(std::find(names.begin(), names.end(), name) != names.end());
}

TEST(GateHost, RealRequestWithAnotherNameOrNoneIsRefused) {
  const Service service([](const Request&) { return web::Response{.body = "plain"}; });
  EXPECT_EQ(200, service.get("/").status);
  for (const char* headers :
       {"Host: evil.example\r\n", "", "Host: localhost\r\nHost: localhost\r\n"}) {
    HttpClient client = service.client();
    ASSERT_TRUE(client.send(std::string("GET / HTTP/1.1\r\n") + headers + "\r\n"));
    const Answer answer = client.receive();
    EXPECT_EQ(421, answer.status) << headers;
    EXPECT_NE(std::string::npos, answer.body.find("\"wrong_host\"")) << answer.body;
  }
}

TEST(GateRate, BurstPassesThenTheRate) {
  Gate gate({.client_rate = {10, 3}});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, status(gate, from("10.0.0.1")));
  const auto refusal = gate.refuse(from("10.0.0.1"), kNow);
  ASSERT_TRUE(refusal);
  EXPECT_EQ(429, refusal->status);
  EXPECT_EQ("1", header_of(*refusal, "Retry-After"));
  EXPECT_NE(std::string::npos, refusal->body.find("\"too_many_requests\""));
  EXPECT_EQ(429, status(gate, from("10.0.0.1"), kNow + milliseconds(90)));
  EXPECT_EQ(0, status(gate, from("10.0.0.1"), kNow + milliseconds(110)));
  EXPECT_EQ(429, status(gate, from("10.0.0.1"), kNow + milliseconds(120)));
}

TEST(GateRate, PauseGivesNoMoreThanTheBurst) {
  Gate gate({.client_rate = {10, 3}});
  EXPECT_EQ(0, status(gate, from("10.0.0.1")));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(0, status(gate, from("10.0.0.1"), kNow + seconds(3600)));
  EXPECT_EQ(429, status(gate, from("10.0.0.1"), kNow + seconds(3600)));
}

TEST(GateRate, ClientsDoNotTakeFromEachOther) {
  Gate gate({.client_rate = {10, 1}});
  EXPECT_EQ(0, status(gate, from("10.0.0.1")));
  EXPECT_EQ(429, status(gate, from("10.0.0.1")));
  EXPECT_EQ(0, status(gate, from("10.0.0.2")));
  EXPECT_EQ(0, status(gate, from("::1")));
}

TEST(GateRate, FullTableForgetsWhoWasLongestSilent) {
  Gate gate({.client_rate = {0.001, 1}, .clients_max = 3});
  for (const char* client : {"1", "2", "3"}) EXPECT_EQ(0, status(gate, from(client)));
  EXPECT_EQ(429, status(gate, from("1")));
  EXPECT_EQ(0, status(gate, from("4")));  // "2" is forgotten
  EXPECT_EQ(429, status(gate, from("1")));
  EXPECT_EQ(429, status(gate, from("3")));
  EXPECT_EQ(429, status(gate, from("4")));
  EXPECT_EQ(0, status(gate, from("2")));
}

class GateUsers : public ::testing::Test {
 protected:
  std::shared_ptr<web::Users> users() {
    testing::write_file(directory_ / "users", "anna:" + cheap_hash("a") + "\n");
    std::string error;
    auto loaded = web::Users::load(directory_ / "users", &error);
    EXPECT_TRUE(loaded) << error;
    return std::make_shared<web::Users>(std::move(loaded.value()));
  }
  static Request with_password(const std::string& password) {
    return from("10.0.0.1", {{"Host", "localhost"}, {"authorization", basic("anna:" + password)}});
  }

  testing::ScratchDirectory directory_;
  Gate gate_{{.users = users()}};
};

TEST_F(GateUsers, KnownUserPasses) { EXPECT_EQ(0, status(gate_, with_password("a"))); }

TEST_F(GateUsers, OthersAreAskedForCredentials) {
  for (const Request& request : {from("10.0.0.1"), with_password("b"), from("unix")}) {
    const auto refusal = gate_.refuse(request, kNow);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(401, refusal->status);
    EXPECT_EQ("Basic realm=\"alerts\", charset=\"UTF-8\"", header_of(*refusal, "WWW-Authenticate"));
    EXPECT_NE(std::string::npos, refusal->body.find("\"unauthorized\""));
  }
}

TEST_F(GateUsers, TooManyTriesAreToldToComeAgain) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(401, status(gate_, with_password("b")));
  const auto refusal = gate_.refuse(with_password("b"), kNow);
  ASSERT_TRUE(refusal);
  EXPECT_EQ(429, refusal->status);
  EXPECT_EQ("1", header_of(*refusal, "Retry-After"));
}

TEST_F(GateUsers, WrongHostIsRefusedBeforeThePassword) {
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(421, status(gate_, from("10.0.0.1",
                                      {{"Host", "evil"}, {"Authorization", basic("anna:b")}})));
  }
  EXPECT_EQ(0, status(gate_, with_password("a")));
}

TEST_F(GateUsers, RealRequestNeedsThePassword) {
  web::Options options = wide_options();
  options.gate.users = users();
  Service service([](const Request&) { return web::Response{.body = "plain"}; }, options);
  EXPECT_EQ(401, service.get("/").status);
  HttpClient client = service.client();
  EXPECT_EQ("plain", client.get("/", "Authorization: " + basic("anna:a") + "\r\n").body);
}

}  // namespace
}  // namespace qel::web_test
