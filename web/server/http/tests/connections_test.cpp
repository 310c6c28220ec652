// Connections that are many, idle or broken.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <list>

#include "http/listen.h"
#include "service.h"

namespace qel::web_test {
namespace {

using web::Request;
using web::Response;

Response plain(const Request&) { return {.body = "plain"}; }

std::list<HttpClient> idle_clients(const Service& service, size_t count) {
  std::list<HttpClient> clients;
  for (size_t i = 0; i < count; ++i) {
    clients.push_back(service.client());
    EXPECT_TRUE(clients.back().is_connected());
  }
  return clients;
}

class Connections : public ::testing::Test {
 protected:
  // Both ends are here.
  static void SetUpTestSuite() { web::raise_descriptor_limit(); }
};

TEST_F(Connections, ThousandIdleOnesDoNotKeepOthersOut) {
  Service service(plain);
  auto idle = idle_clients(service, 1000);
  auto half = idle_clients(service, 200);
  for (const HttpClient& client : half) ASSERT_TRUE(client.send("GET / HTTP/1.1\r\nHost: lo"));
  for (int i = 0; i < 50; ++i) EXPECT_EQ("plain", service.get("/").body);
  for (HttpClient& client : half) {
    ASSERT_TRUE(client.send("calhost\r\n\r\n"));
    EXPECT_EQ("plain", client.receive().body);
  }
  for (HttpClient& client : idle) EXPECT_EQ("plain", client.get("/").body);
}

TEST_F(Connections, BeyondTheLimitOnesWaitUntilAnotherEnds) {
  web::Options options = wide_options();
  options.limits.connections = 5;
  Service service(plain, options);
  auto clients = idle_clients(service, 5);
  for (HttpClient& client : clients) EXPECT_EQ("plain", client.get("/").body);
  HttpClient waiting = service.client();
  ASSERT_TRUE(waiting.ask("GET", "/"));
  clients.pop_front();
  EXPECT_EQ("plain", waiting.receive().body);
}

TEST_F(Connections, IdleAndHalfAskedOnesAreClosed) {
  web::Options options = wide_options();
  options.limits.idle_seconds = 1;
  Service service(plain, options);
  HttpClient silent = service.client();
  HttpClient half = service.client();
  HttpClient kept = service.client();
  ASSERT_TRUE(half.send("GET / HTTP/1.1\r\nHost:"));
  EXPECT_EQ("plain", kept.get("/").body);
  EXPECT_TRUE(silent.is_closed_silently());
  EXPECT_FALSE(half.receive_all().starts_with("HTTP/1.1 200"));
  EXPECT_TRUE(kept.is_closed_silently());
}

TEST_F(Connections, ClientsThatGoAtAnyPointDoNoHarm) {
  Service service(plain);
  const std::string request = "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n";
  for (size_t size = 0; size <= request.size(); ++size) {
    HttpClient client = service.client();
    ASSERT_TRUE(client.send(request.substr(0, size)));
    if (size % 2 == 0) client.reset();
  }
  EXPECT_EQ("plain", service.get("/").body);
}

TEST_F(Connections, SeveralSocketsAreServedByOneServer) {
  Service service(plain);
  std::string error;
  UniqueFd second = web::listen_at_address("127.0.0.1:0", &error);
  ASSERT_TRUE(second) << error;
  const std::string where = web::listening_at(second.get());
  service.on_loop([&](web::HttpServer& server) {
    EXPECT_TRUE(server.listen(std::move(second), web::HttpServer::Kind::kPlain, &error)) << error;
  });
  HttpClient client(std::stoi(where.substr(where.rfind(':') + 1)));
  EXPECT_EQ("plain", client.get("/").body);
  EXPECT_EQ("plain", service.get("/").body);
}

TEST_F(Connections, SocketThatDoesNotListenIsAnErrorThatSaysSo) {
  Service service(plain);
  service.on_loop([](web::HttpServer& server) {
    std::string error;
    EXPECT_FALSE(server.listen(UniqueFd(), web::HttpServer::Kind::kPlain, &error));
    EXPECT_NE("", error);
  });
}

TEST_F(Connections, LimitOfDescriptorsIsAsHighAsItMayBe) {
  rlimit limit{};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &limit));
  EXPECT_EQ(limit.rlim_max, limit.rlim_cur);
}

}  // namespace
}  // namespace qel::web_test
